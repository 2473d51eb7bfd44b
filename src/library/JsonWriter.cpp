#include "library/JsonWriter.h"

#include <algorithm>

void JsonWriter::grow(qsizetype needed) {
    const qsizetype capacity = std::max(needed, m_out.size() * 2);
    m_out.resize(std::max<qsizetype>(capacity, 64));
    m_data = m_out.data();
}

void JsonWriter::escapedString(const QByteArray& utf8) {
    static const char hex[] = "0123456789abcdef";
    for (const char byte : utf8) {
        const auto c = static_cast<unsigned char>(byte);
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
            if (c < 0x20) {
                const char escaped[] = {'\\', 'u', '0', '0', hex[c >> 4], hex[c & 0xf]};
                put(std::string_view(escaped, sizeof escaped));
            } else {
                put(char(c));
            }
        }
    }
    put('"');
}
