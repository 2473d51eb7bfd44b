#include "library/JsonReader.h"

#include <QStringDecoder>

#include <charconv>
#include <cmath>
#include <system_error>

namespace {

// Deeper nesting than this (inside values nobody reads) is refused rather than recursed into.
constexpr int kMaxDepth = 512;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Appends bytes that must be well-formed UTF-8 (no overlong forms, no surrogates, nothing above
// U+10FFFF). A leading U+FEFF is text like any other.
bool appendUtf8(const char* bytes, qsizetype size, QString* out) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless |
                                                     QStringDecoder::Flag::ConvertInitialBom);
    *out += decoder(QByteArrayView(bytes, size));
    return !decoder.hasError();
}

} // namespace

const QString JsonReader::kFormatFailure =
    QStringLiteral("The data couldn\u2019t be read because it isn\u2019t in the correct format.");

bool JsonReader::Value::toInteger(qint64* out) const {
    if (kind != Kind::Number)
        return false;
    if (isInteger) {
        *out = integer;
        return true;
    }
    if (std::trunc(number) != number ||
        !(number >= -9223372036854775808.0 && number < 9223372036854775808.0))
        return false;
    *out = qint64(number);
    return true;
}

bool JsonReader::fail(const QString& summary, const QString& detail) {
    if (m_problem.isEmpty())
        m_problem = summary + QStringLiteral(" (") + detail + QLatin1Char(')');
    return false;
}

bool JsonReader::syntax(const char* what) {
    return fail(
        kFormatFailure,
        QStringLiteral("%1 at offset %2").arg(QLatin1String(what)).arg(qint64(m_p - m_begin)));
}

QString JsonReader::memberName(std::string_view key) const {
    return m_nameRead ? m_name : QString::fromLatin1(key.data(), qsizetype(key.size()));
}

bool JsonReader::finish() {
    skipSpace();
    return m_p == m_end || syntax("garbage at the end of the document");
}

bool JsonReader::value(Value* out, int depth) {
    switch (next()) {
    case '{':
        out->kind = Value::Kind::Object;
        return skip(depth);
    case '[':
        out->kind = Value::Kind::Array;
        return skip(depth);
    case '"':
        out->kind = Value::Kind::String;
        return string(&out->string);
    case 't':
    case 'f':
        out->kind = Value::Kind::Bool;
        out->boolean = *m_p == 't';
        return literal(out->boolean ? "true" : "false");
    case 'n':
        out->kind = Value::Kind::Null;
        return literal("null");
    default:
        out->kind = Value::Kind::Number;
        return number(out);
    }
}

bool JsonReader::skip(int depth) {
    if (depth > kMaxDepth)
        return syntax("too deeply nested");
    switch (next()) {
    case '{':
        return object([&](std::string_view) { return skip(depth + 1); });
    case '[':
        return array([&](qsizetype) { return skip(depth + 1); });
    default: {
        Value scalar;
        return value(&scalar, depth);
    }
    }
}

bool JsonReader::string(QString* out) {
    ++m_p; // the opening quote
    const char* const start = m_p;
    bool ascii = true;
    while (m_p < m_end) {
        const auto c = static_cast<unsigned char>(*m_p);
        if (c == '"') {
            if (ascii) {
                *out = QString::fromLatin1(start, m_p - start);
            } else {
                out->clear();
                if (!appendUtf8(start, m_p - start, out))
                    return syntax("invalid UTF-8 in a string");
            }
            ++m_p;
            return true;
        }
        if (c == '\\')
            return escapedString(start, out);
        if (c < 0x20)
            return syntax("control character in a string");
        ascii = ascii && c < 0x80;
        ++m_p;
    }
    return syntax("unterminated string");
}

bool JsonReader::literal(std::string_view word) {
    if (size_t(m_end - m_p) < word.size() || std::string_view(m_p, word.size()) != word)
        return syntax("invalid value");
    m_p += word.size();
    return true;
}

bool JsonReader::number(Value* out) {
    const char* const start = m_p;
    if (m_p < m_end && *m_p == '-')
        ++m_p;
    if (m_p < m_end && *m_p == '0') {
        ++m_p;
    } else if (m_p < m_end && isDigit(*m_p)) {
        while (m_p < m_end && isDigit(*m_p))
            ++m_p;
    } else {
        return syntax("invalid value");
    }
    bool integral = true;
    if (m_p < m_end && *m_p == '.') {
        integral = false;
        ++m_p;
        if (m_p == m_end || !isDigit(*m_p))
            return syntax("invalid number");
        while (m_p < m_end && isDigit(*m_p))
            ++m_p;
    }
    if (m_p < m_end && (*m_p == 'e' || *m_p == 'E')) {
        integral = false;
        ++m_p;
        if (m_p < m_end && (*m_p == '+' || *m_p == '-'))
            ++m_p;
        if (m_p == m_end || !isDigit(*m_p))
            return syntax("invalid number");
        while (m_p < m_end && isDigit(*m_p))
            ++m_p;
    }
    out->isInteger = false;
    if (integral) {
        const auto result = std::from_chars(start, m_p, out->integer);
        if (result.ec == std::errc() && result.ptr == m_p) {
            out->isInteger = true;
            // "-0" keeps its sign as a double, so that it is written back as it was read.
            out->number = out->integer == 0 && *start == '-' ? -0.0 : double(out->integer);
            return true;
        }
    }
    const auto result = std::from_chars(start, m_p, out->number);
    // A number beyond a double's range would come back changed: the document is refused.
    if (result.ec != std::errc() || result.ptr != m_p)
        return syntax("number out of range");
    return true;
}

bool JsonReader::escapedString(const char* start, QString* out) {
    QString text;
    const char* run = start;
    const auto flush = [&](const char* upTo) {
        return appendUtf8(run, upTo - run, &text);
    };
    while (m_p < m_end) {
        const auto c = static_cast<unsigned char>(*m_p);
        if (c == '"') {
            if (!flush(m_p))
                return syntax("invalid UTF-8 in a string");
            ++m_p;
            *out = std::move(text);
            return true;
        }
        if (c < 0x20)
            return syntax("control character in a string");
        if (c != '\\') {
            ++m_p;
            continue;
        }
        if (!flush(m_p))
            return syntax("invalid UTF-8 in a string");
        ++m_p;
        if (m_p == m_end)
            break;
        switch (*m_p++) {
        case '"':
            text += QLatin1Char('"');
            break;
        case '\\':
            text += QLatin1Char('\\');
            break;
        case '/':
            text += QLatin1Char('/');
            break;
        case 'b':
            text += QLatin1Char('\b');
            break;
        case 'f':
            text += QLatin1Char('\f');
            break;
        case 'n':
            text += QLatin1Char('\n');
            break;
        case 'r':
            text += QLatin1Char('\r');
            break;
        case 't':
            text += QLatin1Char('\t');
            break;
        case 'u': {
            unsigned code = 0;
            if (m_end - m_p < 4 || std::from_chars(m_p, m_p + 4, code, 16).ptr != m_p + 4) {
                return syntax("invalid escape sequence");
            }
            m_p += 4;
            text += QChar(char16_t(code));
            break;
        }
        default:
            --m_p;
            return syntax("invalid escape sequence");
        }
        run = m_p;
    }
    return syntax("unterminated string");
}

// A member name: read in place when it is plain ASCII, else through scratch.
bool JsonReader::keyText(std::string_view* out, QByteArray* scratch) {
    const char* const start = m_p + 1;
    for (const char* p = start; p < m_end; ++p) {
        if (*p == '"') {
            *out = std::string_view(start, size_t(p - start));
            m_p = p + 1;
            m_nameRead = false;
            return true;
        }
        const auto c = static_cast<unsigned char>(*p);
        if (c == '\\' || c < 0x20 || c >= 0x80)
            break;
    }
    if (!string(&m_name))
        return false;
    m_nameRead = true;
    *scratch = m_name.toUtf8();
    *out = std::string_view(scratch->constData(), size_t(scratch->size()));
    return true;
}
