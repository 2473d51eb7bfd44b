// Writes key "k<n>" = n for n = 0, 1, 2, ... and prints n once each write has been committed,
// until it is killed.
#include "core/Preferences.h"
#include "core/StandardOutput.h"

#include <QString>

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    Preferences store(QString::fromLocal8Bit(argv[1]));
    if (!store.isOpen())
        return 3;
    for (qint64 n = 0;; ++n) {
        const QString key = QStringLiteral("k%1").arg(n);
        const bool ok = (n % 2 == 0)
                            ? store.set(key, n)
                            : store.set(key, QVariantList{QVariant(n), QVariant(QString(64, 'x'))});
        if (!ok)
            return 4;
        StandardOutput::printLine(QString::number(n));
    }
}
