#include "library/LocalPath.h"

#include <algorithm>

namespace LocalPath {

namespace {

constexpr char16_t kEscapeBase = 0xDC00;

bool isContinuation(unsigned char byte, unsigned char low = 0x80, unsigned char high = 0xBF) {
    return byte >= low && byte <= high;
}

// The length of the well-formed UTF-8 sequence at p (Unicode's table of well-formed byte
// sequences: no overlong forms, no surrogates, nothing above U+10FFFF), or 0.
int sequenceLength(const unsigned char* p, const unsigned char* end) {
    const unsigned char lead = *p;
    const auto has = [&](int n) {
        return end - p >= n;
    };
    if (lead >= 0xC2 && lead <= 0xDF)
        return has(2) && isContinuation(p[1]) ? 2 : 0;
    if (lead >= 0xE0 && lead <= 0xEF) {
        const unsigned char low = lead == 0xE0 ? 0xA0 : 0x80;
        const unsigned char high = lead == 0xED ? 0x9F : 0xBF;
        return has(3) && isContinuation(p[1], low, high) && isContinuation(p[2]) ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        const unsigned char low = lead == 0xF0 ? 0x90 : 0x80;
        const unsigned char high = lead == 0xF4 ? 0x8F : 0xBF;
        return has(4) && isContinuation(p[1], low, high) && isContinuation(p[2]) &&
                       isContinuation(p[3])
                   ? 4
                   : 0;
    }
    return 0;
}

// A surrogate without its partner: no UTF-8 form.
bool isLoneSurrogate(QStringView text, qsizetype n) {
    const QChar c = text[n];
    if (c.isHighSurrogate())
        return n + 1 == text.size() || !text[n + 1].isLowSurrogate();
    return c.isLowSurrogate() && (n == 0 || !text[n - 1].isHighSurrogate());
}

} // namespace

QString fromBytes(QByteArrayView bytes) {
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    const auto* const end = p + bytes.size();
    if (std::all_of(p, end, [](unsigned char byte) { return byte < 0x80; }))
        return QString::fromLatin1(bytes);
    QString text;
    text.reserve(bytes.size());
    // Runs of well-formed UTF-8 are converted whole.
    const auto* run = p;
    const auto flush = [&] {
        if (p > run)
            text += QString::fromUtf8(reinterpret_cast<const char*>(run), p - run);
    };
    while (p < end) {
        const int length = *p < 0x80 ? 1 : sequenceLength(p, end);
        if (length > 0) {
            p += length;
            continue;
        }
        flush();
        text += QChar(char16_t(kEscapeBase | *p));
        run = ++p;
    }
    flush();
    return text;
}

QByteArray toBytes(QStringView path) {
    QByteArray bytes;
    // Runs without lone surrogates are converted whole.
    qsizetype run = 0;
    for (qsizetype n = 0; n < path.size(); ++n) {
        if (!isLoneSurrogate(path, n))
            continue;
        bytes += path.mid(run, n - run).toUtf8();
        const char16_t c = path[n].unicode();
        if (c >= kEscapeBase + 0x80 && c <= kEscapeBase + 0xFF)
            bytes += char(c & 0xFF);
        else
            bytes += QStringView(u"\uFFFD").toUtf8();
        run = n + 1;
    }
    if (run == 0)
        return path.toUtf8();
    bytes += path.mid(run).toUtf8();
    return bytes;
}

} // namespace LocalPath
