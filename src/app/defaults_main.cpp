#include "app/DefaultsCommand.h"

#include <QCoreApplication>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    return DefaultsCommand::run(arguments);
}
