#include "support/StdoutCapture.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

StdoutCapture::StdoutCapture() {
    std::fflush(stdout);
    QByteArray name = QFile::encodeName(QDir::tempPath() + "/stdout-XXXXXX");
    m_file = mkstemp(name.data());
    if (m_file < 0)
        return;
    // Only the descriptor is needed: the file goes when it is closed.
    unlink(name.constData());
    m_savedStdout = dup(STDOUT_FILENO);
    dup2(m_file, STDOUT_FILENO);
}

StdoutCapture::~StdoutCapture() {
    if (m_file < 0)
        return;
    std::fflush(stdout);
    dup2(m_savedStdout, STDOUT_FILENO);
    close(m_savedStdout);
    // Pass everything on, the part before clear() included.
    m_start = 0;
    const QByteArray all = readAll();
    close(m_file);
    std::fwrite(all.constData(), 1, size_t(all.size()), stdout);
    std::fflush(stdout);
}

QByteArray StdoutCapture::readAll() const {
    QByteArray text;
    if (m_file < 0)
        return text;
    std::fflush(stdout);
    char buffer[4096];
    for (off_t offset = off_t(m_start);;) {
        const ssize_t n = pread(m_file, buffer, sizeof buffer, offset);
        if (n <= 0)
            break;
        text.append(buffer, n);
        offset += n;
    }
    return text;
}

QString StdoutCapture::text() const {
    return QString::fromUtf8(readAll());
}

QStringList StdoutCapture::lines() const {
    QStringList result = text().split(QLatin1Char('\n'));
    if (!result.isEmpty() && result.last().isEmpty())
        result.removeLast();
    return result;
}

void StdoutCapture::clear() {
    if (m_file < 0)
        return;
    std::fflush(stdout);
    m_start = lseek(m_file, 0, SEEK_END);
}
