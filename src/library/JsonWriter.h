#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>

#include <charconv>
#include <cstring>
#include <string_view>

// Compact JSON text written straight into a buffer, without QJsonDocument: a library of 50,000
// videos is an 11 MB document, and building QJsonObject trees for it costs several times what
// the text itself does. Appends go through a raw cursor, since the per-call cost of
// QByteArray::append adds up over the millions of small pieces of a large document. The small
// pieces are defined here so that they inline.
class JsonWriter {
public:
    explicit JsonWriter(qsizetype expectedSize) { grow(expectedSize); }

    QByteArray take() {
        m_out.truncate(m_size);
        return std::move(m_out);
    }
    void put(char c) { *space(1) = c; }
    void put(std::string_view text) {
        std::memcpy(space(qsizetype(text.size())), text.data(), text.size());
    }

    // Member names are plain ASCII chosen by the caller: nothing to escape. The first member
    // of an object follows its opening brace; every other one a comma.
    void key(std::string_view name) {
        const bool first = m_size > 0 && m_data[m_size - 1] == '{';
        char* out = space(qsizetype(name.size()) + (first ? 3 : 4));
        if (!first)
            *out++ = ',';
        *out++ = '"';
        std::memcpy(out, name.data(), name.size());
        out += name.size();
        *out++ = '"';
        *out = ':';
    }
    void boolean(bool value) { put(value ? std::string_view("true") : std::string_view("false")); }
    void integer(qint64 value) {
        char* out = space(24);
        const auto result = std::to_chars(out, out + 24, value);
        m_size -= 24 - qsizetype(result.ptr - out);
    }
    // Shortest text that reads back as the same double; callers ensure it is finite.
    void number(double value) {
        char* out = space(32);
        const auto result = std::to_chars(out, out + 32, value);
        m_size -= 32 - qsizetype(result.ptr - out);
    }
    void string(const QString& text) {
        // Plain ASCII, the common case, is copied as it is; the rest of the text is escaped.
        const qsizetype length = text.size();
        char* out = space(length + 2);
        *out++ = '"';
        const QChar* chars = text.constData();
        for (qsizetype n = 0; n < length; ++n) {
            const char16_t c = chars[n].unicode();
            if (c >= 0x80 || c < 0x20 || c == '"' || c == '\\') {
                m_size -= length + 1 - n;
                escapedString(QStringView(text).mid(n));
                return;
            }
            *out++ = char(c);
        }
        *out = '"';
    }

private:
    void grow(qsizetype needed);
    // Room for n more bytes, counted as written.
    char* space(qsizetype n) {
        if (m_size + n > m_out.size())
            grow(m_size + n);
        char* out = m_data + m_size;
        m_size += n;
        return out;
    }
    void escapedString(QStringView text);

    QByteArray m_out;
    char* m_data = nullptr;
    qsizetype m_size = 0;
};
