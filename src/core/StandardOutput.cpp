#include "core/StandardOutput.h"

#include <QByteArray>

#include <cstdio>

namespace {

void write(std::FILE* stream, const QString& text) {
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

} // namespace

void StandardOutput::print(const QString& text) {
    write(stdout, text);
}

void StandardOutput::printLine(const QString& line) {
    write(stdout, line + QLatin1Char('\n'));
}

void StandardOutput::printErrorLine(const QString& line) {
    write(stderr, line + QLatin1Char('\n'));
}
