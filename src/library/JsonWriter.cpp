#include "library/JsonWriter.h"

#include <algorithm>

void JsonWriter::grow(qsizetype needed) {
    const qsizetype capacity = std::max(needed, m_out.size() * 2);
    m_out.resize(std::max<qsizetype>(capacity, 64));
    m_data = m_out.data();
}

// Runs of characters that need no escape go out as UTF-8. A lone surrogate (a file-name byte
// that isn't UTF-8, held as U+DC80 to U+DCFF) has no UTF-8 form; it is written as its \u
// escape, which reads back as the same character.
void JsonWriter::escapedString(QStringView text) {
    static const char hex[] = "0123456789abcdef";
    const auto putEscape = [this](char16_t c) {
        const char escaped[] = {
            '\\', 'u', hex[c >> 12], hex[(c >> 8) & 0xf], hex[(c >> 4) & 0xf], hex[c & 0xf]};
        put(std::string_view(escaped, sizeof escaped));
    };
    qsizetype run = 0;
    const auto flush = [&](qsizetype upTo) {
        if (upTo > run) {
            const QByteArray utf8 = text.mid(run, upTo - run).toUtf8();
            put(std::string_view(utf8.constData(), size_t(utf8.size())));
        }
        run = upTo + 1;
    };
    for (qsizetype n = 0; n < text.size(); ++n) {
        const char16_t c = text[n].unicode();
        if (QChar::isHighSurrogate(c) && n + 1 < text.size() && text[n + 1].isLowSurrogate()) {
            ++n;
            continue;
        }
        if (c >= 0x20 && c != '"' && c != '\\' && !QChar::isSurrogate(c))
            continue;
        flush(n);
        switch (c) {
        case '"':
            put("\\\"");
            break;
        case '\\':
            put("\\\\");
            break;
        case '\b':
            put("\\b");
            break;
        case '\f':
            put("\\f");
            break;
        case '\n':
            put("\\n");
            break;
        case '\r':
            put("\\r");
            break;
        case '\t':
            put("\\t");
            break;
        default:
            putEscape(c);
        }
    }
    flush(text.size());
    put('"');
}
