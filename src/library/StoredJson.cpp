#include "library/StoredJson.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>
#include <system_error>

// The documents are written and read directly, without QJsonDocument: a library of 50,000
// videos is an 11 MB document, and building and walking QJsonObject trees for it cost several
// times what the text itself does.

namespace StoredJson {

namespace {

const QString kReadFailure =
    QStringLiteral("The data couldn\u2019t be read because it isn\u2019t in the correct format.");
const QString kMissing = QStringLiteral("The data couldn\u2019t be read because it is missing.");
const QString kWriteFailure = QStringLiteral(
    "The data couldn\u2019t be written because it isn\u2019t in the correct format.");

// Deeper nesting than this (inside values nobody reads) is refused rather than recursed into.
constexpr int kMaxDepth = 512;

// --- Writing -----------------------------------------------------------------------------------

// Appends to a buffer through a raw cursor: the per-call cost of QByteArray::append adds up
// over the millions of small pieces of a large document.
class Writer {
public:
    explicit Writer(qsizetype expectedSize) { grow(expectedSize); }

    QByteArray take() {
        m_out.truncate(m_size);
        return std::move(m_out);
    }
    void put(char c) { *space(1) = c; }
    void put(std::string_view text) {
        std::memcpy(space(qsizetype(text.size())), text.data(), text.size());
    }

    // Member names are plain ASCII written by this file: nothing to escape. The first member of
    // an object follows its opening brace; every other one a comma.
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
    void uuid(const QUuid& id) {
        static const char hex[] = "0123456789ABCDEF";
        const QByteArray bytes = id.toRfc4122();
        char* out = space(38);
        *out++ = '"';
        for (int n = 0; n < 16; ++n) {
            if (n == 4 || n == 6 || n == 8 || n == 10)
                *out++ = '-';
            const auto byte = static_cast<unsigned char>(bytes.at(n));
            *out++ = hex[byte >> 4];
            *out++ = hex[byte & 0xf];
        }
        *out = '"';
    }
    void string(const QString& text) {
        // Plain ASCII, the common case, is copied as it is; anything else goes through UTF-8.
        const qsizetype length = text.size();
        char* out = space(length + 2);
        *out++ = '"';
        const QChar* chars = text.constData();
        for (qsizetype n = 0; n < length; ++n) {
            const char16_t c = chars[n].unicode();
            if (c >= 0x80 || c < 0x20 || c == '"' || c == '\\') {
                m_size -= length + 1 - n;
                escapedString(text.mid(n).toUtf8());
                return;
            }
            *out++ = char(c);
        }
        *out = '"';
    }

private:
    void grow(qsizetype needed) {
        const qsizetype capacity = std::max(needed, m_out.size() * 2);
        m_out.resize(std::max<qsizetype>(capacity, 64));
        m_data = m_out.data();
    }
    // Room for n more bytes, counted as written.
    char* space(qsizetype n) {
        if (m_size + n > m_out.size())
            grow(m_size + n);
        char* out = m_data + m_size;
        m_size += n;
        return out;
    }
    void escapedString(const QByteArray& utf8) {
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

    QByteArray m_out;
    char* m_data = nullptr;
    qsizetype m_size = 0;
};

// JSON has no NaN or infinity; such a number makes the whole document unwritable. The place
// is described (where() is called) only then.
template <typename Where>
bool putFinite(Writer& writer, const char* key, double value, const Where& where,
               QString* problem) {
    if (!std::isfinite(value)) {
        if (problem->isEmpty()) {
            *problem = kWriteFailure + QStringLiteral(" (%1: \"%2\" is not a finite number)")
                                           .arg(where(), QString::fromLatin1(key));
        }
        return false;
    }
    writer.key(key);
    writer.number(value);
    return true;
}

void putOptionalInteger(Writer& writer, const char* key, const std::optional<qint64>& value) {
    if (!value)
        return;
    writer.key(key);
    writer.integer(*value);
}

bool writeItem(Writer& writer, const PlaylistItem& item, QString* problem) {
    const auto where = [&item] {
        return item.lookupKey();
    };
    writer.put('{');
    writer.key("id");
    writer.uuid(item.id);
    writer.key("filename");
    writer.string(item.filename);
    writer.key("folderPath");
    writer.string(item.folderPath);
    writer.key("isExcluded");
    writer.boolean(item.isExcluded);
    putOptionalInteger(writer, "customOrder", item.customOrder);
    if (!putFinite(writer, "addedDate", item.addedDate.secondsSinceReferenceDate, where, problem) ||
        (item.duration && !putFinite(writer, "duration", *item.duration, where, problem)))
        return false;
    putOptionalInteger(writer, "width", item.width);
    putOptionalInteger(writer, "height", item.height);
    writer.put('}');
    return true;
}

bool writeItems(Writer& writer, const QList<PlaylistItem>& items, QString* problem) {
    writer.put('[');
    for (qsizetype n = 0; n < items.size(); ++n) {
        if (n > 0)
            writer.put(',');
        if (!writeItem(writer, items.at(n), problem))
            return false;
    }
    writer.put(']');
    return true;
}

std::optional<QByteArray> written(bool ok, Writer& writer, const QString& problem, QString* error) {
    if (!ok) {
        if (error)
            *error = problem;
        return std::nullopt;
    }
    return writer.take();
}

// About what one item takes as text, so the buffer rarely grows.
constexpr qsizetype kItemSizeEstimate = 256;

// --- Reading -----------------------------------------------------------------------------------

// A value as read: scalars keep their content; arrays and objects are skipped, only their kind
// is kept (a known key holding one is of the wrong type).
struct Value {
    enum class Kind { Null, Bool, Number, String, Array, Object };
    Kind kind = Kind::Null;
    bool boolean = false;
    double number = 0.0;
    bool isInteger = false;
    qint64 integer = 0;
    QString string;
};

// A member seen in an object: absent until seen; a key seen twice keeps its last value.
struct Member {
    bool seen = false;
    Value value;
    bool absent() const { return !seen || value.kind == Value::Kind::Null; }
};

// Where in the document a record is, made into text only when there is a problem to describe.
struct Where {
    std::string_view name;
    qsizetype index = -1;
    const Where* parent = nullptr;
    bool quoted = false; // a member name from the document

    QString text() const {
        QString result = parent ? parent->text() : QString();
        if (!name.empty()) {
            if (!result.isEmpty())
                result += QLatin1Char('.');
            const QString part = QString::fromUtf8(name.data(), qsizetype(name.size()));
            result += quoted ? QLatin1Char('"') + part + QLatin1Char('"') : part;
        }
        if (index >= 0)
            result += QLatin1Char('[') + QString::number(index) + QLatin1Char(']');
        return result;
    }
};

// Well-formed UTF-8 (no overlong forms, no surrogates, nothing above U+10FFFF).
bool isValidUtf8(const unsigned char* p, const unsigned char* end) {
    while (p < end) {
        const unsigned char c = *p;
        if (c < 0x80) {
            ++p;
            continue;
        }
        int length = 0;
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        if (c >= 0xC2 && c <= 0xDF) {
            length = 2;
        } else if (c >= 0xE0 && c <= 0xEF) {
            length = 3;
            if (c == 0xE0)
                low = 0xA0;
            else if (c == 0xED)
                high = 0x9F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            length = 4;
            if (c == 0xF0)
                low = 0x90;
            else if (c == 0xF4)
                high = 0x8F;
        } else {
            return false;
        }
        if (end - p < length || p[1] < low || p[1] > high)
            return false;
        for (int k = 2; k < length; ++k) {
            if (p[k] < 0x80 || p[k] > 0xBF)
                return false;
        }
        p += length;
    }
    return true;
}

class Reader {
public:
    explicit Reader(const QByteArray& json)
        : m_begin(json.constData())
        , m_p(m_begin)
        , m_end(m_begin + json.size()) {}

    QString problem;

    bool fail(const QString& summary, const QString& detail) {
        if (problem.isEmpty())
            problem = summary + QStringLiteral(" (") + detail + QLatin1Char(')');
        return false;
    }
    bool syntax(const char* what) {
        return fail(
            kReadFailure,
            QStringLiteral("%1 at offset %2").arg(QLatin1String(what)).arg(qint64(m_p - m_begin)));
    }
    bool missing(const Where& where, const char* key) {
        return fail(kMissing, QStringLiteral("%1: no value for key \"%2\"")
                                  .arg(where.text(), QString::fromLatin1(key)));
    }
    bool wrongType(const Where& where, const char* key, const char* expected) {
        return fail(kReadFailure, QStringLiteral("%1: \"%2\" is not %3")
                                      .arg(where.text(), QString::fromLatin1(key),
                                           QString::fromLatin1(expected)));
    }
    bool notA(const Where& where, const char* what) {
        return fail(kReadFailure,
                    where.text() + QStringLiteral(" is not ") + QString::fromLatin1(what));
    }

    // The first character of the next value, or 0 at the end.
    char next() {
        skipSpace();
        return m_p < m_end ? *m_p : '\0';
    }
    bool finish() {
        skipSpace();
        return m_p == m_end || syntax("garbage at the end of the document");
    }

    // Calls member(key) for each member, with the reader at the member's value; member must
    // read or skip it.
    template <typename Member> bool object(Member&& member) {
        if (!take('{'))
            return syntax("expected an object");
        if (take('}'))
            return true;
        QByteArray scratch;
        do {
            std::string_view key;
            if (next() != '"')
                return syntax("expected a member name");
            if (!keyText(&key, &scratch))
                return false;
            if (!take(':'))
                return syntax("expected ':'");
            if (!member(key))
                return false;
        } while (take(','));
        return take('}') || syntax("expected ',' or '}'");
    }

    // Calls element(index) for each element, with the reader at it.
    template <typename Element> bool array(Element&& element) {
        if (!take('['))
            return syntax("expected an array");
        if (take(']'))
            return true;
        qsizetype index = 0;
        do {
            if (!element(index++))
                return false;
        } while (take(','));
        return take(']') || syntax("expected ',' or ']'");
    }

    bool value(Value* out, int depth = 0) {
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

    bool skip(int depth = 0) {
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

    bool string(QString* out) {
        ++m_p; // the opening quote
        const char* const start = m_p;
        bool ascii = true;
        while (m_p < m_end) {
            const auto c = static_cast<unsigned char>(*m_p);
            if (c == '"') {
                const auto* bytes = reinterpret_cast<const unsigned char*>(start);
                if (!ascii && !isValidUtf8(bytes, bytes + (m_p - start)))
                    return syntax("invalid UTF-8 in a string");
                *out = QString::fromUtf8(start, m_p - start);
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

private:
    void skipSpace() {
        while (m_p < m_end && (*m_p == ' ' || *m_p == '\n' || *m_p == '\r' || *m_p == '\t'))
            ++m_p;
    }
    bool take(char c) {
        skipSpace();
        if (m_p < m_end && *m_p == c) {
            ++m_p;
            return true;
        }
        return false;
    }
    bool literal(std::string_view word) {
        if (size_t(m_end - m_p) < word.size() || std::string_view(m_p, word.size()) != word)
            return syntax("invalid value");
        m_p += word.size();
        return true;
    }
    static bool isDigit(char c) { return c >= '0' && c <= '9'; }

    bool number(Value* out) {
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
                out->number = double(out->integer);
                return true;
            }
        }
        const auto result = std::from_chars(start, m_p, out->number);
        // A number beyond a double's range would come back changed: the document is refused.
        if (result.ec != std::errc() || result.ptr != m_p)
            return syntax("number out of range");
        return true;
    }

    bool escapedString(const char* start, QString* out) {
        QString text;
        const char* run = start;
        const auto flush = [&](const char* upTo) {
            const auto* bytes = reinterpret_cast<const unsigned char*>(run);
            if (!isValidUtf8(bytes, bytes + (upTo - run)))
                return false;
            text += QString::fromUtf8(run, upTo - run);
            return true;
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

    // A member name: read in place when it needs no unescaping, else through scratch.
    bool keyText(std::string_view* out, QByteArray* scratch) {
        const char* const start = m_p + 1;
        for (const char* p = start; p < m_end; ++p) {
            if (*p == '"') {
                *out = std::string_view(start, size_t(p - start));
                m_p = p + 1;
                return true;
            }
            if (*p == '\\' || static_cast<unsigned char>(*p) < 0x20)
                break;
        }
        QString text;
        if (!string(&text))
            return false;
        *scratch = text.toUtf8();
        *out = std::string_view(scratch->constData(), size_t(scratch->size()));
        return true;
    }

    const char* m_begin;
    const char* m_p;
    const char* m_end;
};

// --- Records -----------------------------------------------------------------------------------

bool requiredString(Reader& reader, const Member& member, const Where& where, const char* key,
                    QString* out) {
    if (member.absent())
        return reader.missing(where, key);
    if (member.value.kind != Value::Kind::String)
        return reader.wrongType(where, key, "a string");
    *out = member.value.string;
    return true;
}

bool requiredBool(Reader& reader, const Member& member, const Where& where, const char* key,
                  bool* out) {
    if (member.absent())
        return reader.missing(where, key);
    if (member.value.kind != Value::Kind::Bool)
        return reader.wrongType(where, key, "a boolean");
    *out = member.value.boolean;
    return true;
}

bool requiredUuid(Reader& reader, const Member& member, const Where& where, const char* key,
                  QUuid* out) {
    QString text;
    if (!requiredString(reader, member, where, key, &text))
        return false;
    const QUuid id = QUuid::fromString(text);
    // Only the bare 36-character form is a stored UUID.
    if (text.size() != 36 || id.isNull())
        return reader.wrongType(where, key, "a UUID");
    *out = id;
    return true;
}

bool requiredDate(Reader& reader, const Member& member, const Where& where, const char* key,
                  Timestamp* out) {
    if (member.absent())
        return reader.missing(where, key);
    if (member.value.kind != Value::Kind::Number)
        return reader.wrongType(where, key, "a date (seconds since 2001-01-01)");
    *out = Timestamp{member.value.number};
    return true;
}

// Absent and null both leave *out empty.
bool optionalDouble(Reader& reader, const Member& member, const Where& where, const char* key,
                    std::optional<double>* out) {
    if (member.absent()) {
        out->reset();
        return true;
    }
    if (member.value.kind != Value::Kind::Number)
        return reader.wrongType(where, key, "a number");
    *out = member.value.number;
    return true;
}

bool integerValue(const Value& value, qint64* out) {
    if (value.kind != Value::Kind::Number)
        return false;
    if (value.isInteger) {
        *out = value.integer;
        return true;
    }
    const double d = value.number;
    if (std::trunc(d) != d || !(d >= -9223372036854775808.0 && d < 9223372036854775808.0))
        return false;
    *out = qint64(d);
    return true;
}

bool optionalInteger(Reader& reader, const Member& member, const Where& where, const char* key,
                     std::optional<qint64>* out) {
    if (member.absent()) {
        out->reset();
        return true;
    }
    qint64 number = 0;
    if (!integerValue(member.value, &number))
        return reader.wrongType(where, key, "an integer");
    *out = number;
    return true;
}

bool readItem(Reader& reader, const Where& where, PlaylistItem* out) {
    if (reader.next() != '{') {
        Value ignored;
        return reader.value(&ignored) && reader.notA(where, "an object");
    }
    Member id, filename, folderPath, isExcluded, addedDate, customOrder, duration, width, height;
    const bool read = reader.object([&](std::string_view key) {
        Member* member = nullptr;
        if (key == "id")
            member = &id;
        else if (key == "filename")
            member = &filename;
        else if (key == "folderPath")
            member = &folderPath;
        else if (key == "isExcluded")
            member = &isExcluded;
        else if (key == "addedDate")
            member = &addedDate;
        else if (key == "customOrder")
            member = &customOrder;
        else if (key == "duration")
            member = &duration;
        else if (key == "width")
            member = &width;
        else if (key == "height")
            member = &height;
        else
            return reader.skip();
        member->seen = true;
        return reader.value(&member->value);
    });
    return read && requiredUuid(reader, id, where, "id", &out->id) &&
           requiredString(reader, filename, where, "filename", &out->filename) &&
           requiredString(reader, folderPath, where, "folderPath", &out->folderPath) &&
           requiredBool(reader, isExcluded, where, "isExcluded", &out->isExcluded) &&
           requiredDate(reader, addedDate, where, "addedDate", &out->addedDate) &&
           optionalInteger(reader, customOrder, where, "customOrder", &out->customOrder) &&
           optionalDouble(reader, duration, where, "duration", &out->duration) &&
           optionalInteger(reader, width, where, "width", &out->width) &&
           optionalInteger(reader, height, where, "height", &out->height);
}

bool readItems(Reader& reader, const Where& where, QList<PlaylistItem>* out) {
    if (reader.next() != '[') {
        Value ignored;
        return reader.value(&ignored) && reader.notA(where, "an array");
    }
    out->clear();
    return reader.array([&](qsizetype index) {
        PlaylistItem item;
        if (!readItem(reader, Where{"", index, &where}, &item))
            return false;
        out->append(std::move(item));
        return true;
    });
}

bool readPlaylist(Reader& reader, const Where& where, NamedPlaylist* out) {
    if (reader.next() != '{') {
        Value ignored;
        return reader.value(&ignored) && reader.notA(where, "an object");
    }
    Member id, name, shuffleEnabled, loopEnabled, sortOrder, createdDate, modifiedDate;
    bool itemsSeen = false;
    bool itemsNull = false;
    const Where itemsWhere{"items", -1, &where};
    const bool read = reader.object([&](std::string_view key) {
        if (key == "items") {
            itemsSeen = true;
            itemsNull = reader.next() == 'n';
            if (itemsNull) {
                Value null;
                return reader.value(&null);
            }
            return readItems(reader, itemsWhere, &out->items);
        }
        Member* member = nullptr;
        if (key == "id")
            member = &id;
        else if (key == "name")
            member = &name;
        else if (key == "shuffleEnabled")
            member = &shuffleEnabled;
        else if (key == "loopEnabled")
            member = &loopEnabled;
        else if (key == "sortOrder")
            member = &sortOrder;
        else if (key == "createdDate")
            member = &createdDate;
        else if (key == "modifiedDate")
            member = &modifiedDate;
        else
            return reader.skip();
        member->seen = true;
        return reader.value(&member->value);
    });
    if (!read || !requiredUuid(reader, id, where, "id", &out->id) ||
        !requiredString(reader, name, where, "name", &out->name))
        return false;
    if (!itemsSeen || itemsNull)
        return reader.missing(where, "items");
    if (!requiredBool(reader, shuffleEnabled, where, "shuffleEnabled", &out->shuffleEnabled) ||
        !requiredBool(reader, loopEnabled, where, "loopEnabled", &out->loopEnabled))
        return false;
    if (sortOrder.absent())
        return reader.missing(where, "sortOrder");
    qint64 order = 0;
    if (!integerValue(sortOrder.value, &order))
        return reader.wrongType(where, "sortOrder", "an integer");
    const auto known = PlaylistSortOrders::fromValue(order);
    if (!known) {
        return reader.fail(
            kReadFailure,
            QStringLiteral("%1: %2 is not a sort order").arg(where.text()).arg(order));
    }
    out->sortOrder = *known;
    return requiredDate(reader, createdDate, where, "createdDate", &out->createdDate) &&
           requiredDate(reader, modifiedDate, where, "modifiedDate", &out->modifiedDate);
}

bool readMetadata(Reader& reader, const Where& where, VideoMetadata* out) {
    if (reader.next() != '{') {
        Value ignored;
        return reader.value(&ignored) && reader.notA(where, "an object");
    }
    Member duration, width, height;
    const bool read = reader.object([&](std::string_view key) {
        Member* member = key == "duration" ? &duration
                         : key == "width"  ? &width
                         : key == "height" ? &height
                                           : nullptr;
        if (!member)
            return reader.skip();
        member->seen = true;
        return reader.value(&member->value);
    });
    return read && optionalDouble(reader, duration, where, "duration", &out->duration) &&
           optionalInteger(reader, width, where, "width", &out->width) &&
           optionalInteger(reader, height, where, "height", &out->height);
}

template <typename T> std::optional<T> finish(Reader& reader, bool ok, T&& value, QString* error) {
    ok = ok && reader.finish();
    if (!ok) {
        if (error)
            *error = reader.problem;
        return std::nullopt;
    }
    return std::forward<T>(value);
}

// A top-level value of the wrong kind: a syntax error in it still counts first.
bool expected(Reader& reader, const char* what) {
    Value ignored;
    return reader.value(&ignored) &&
           reader.fail(kReadFailure, QStringLiteral("expected ") + QLatin1String(what));
}

} // namespace

QString uuidText(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces).toUpper();
}

std::optional<QByteArray> encodeItems(const QList<PlaylistItem>& items, QString* error) {
    Writer writer(items.size() * kItemSizeEstimate + 2);
    QString problem;
    const bool ok = writeItems(writer, items, &problem);
    return written(ok, writer, problem, error);
}

std::optional<QList<PlaylistItem>> decodeItems(const QByteArray& json, QString* error) {
    Reader reader(json);
    QList<PlaylistItem> items;
    const bool ok = reader.next() == '[' ? readItems(reader, Where{"items"}, &items)
                                         : expected(reader, "an array");
    return finish(reader, ok, std::move(items), error);
}

std::optional<QByteArray> encodeMetadataCache(const QHash<QString, VideoMetadata>& cache,
                                              QString* error) {
    Writer writer(cache.size() * 128 + 2);
    QString problem;
    bool ok = true;
    writer.put('{');
    bool first = true;
    for (auto it = cache.cbegin(); ok && it != cache.cend(); ++it) {
        if (!first)
            writer.put(',');
        first = false;
        writer.string(it.key());
        writer.put(":{");
        const VideoMetadata& metadata = it.value();
        const QString& key = it.key();
        if (metadata.duration)
            ok = putFinite(
                writer, "duration", *metadata.duration, [&key] { return key; }, &problem);
        putOptionalInteger(writer, "width", metadata.width);
        putOptionalInteger(writer, "height", metadata.height);
        writer.put('}');
    }
    writer.put('}');
    return written(ok, writer, problem, error);
}

std::optional<QHash<QString, VideoMetadata>> decodeMetadataCache(const QByteArray& json,
                                                                 QString* error) {
    Reader reader(json);
    QHash<QString, VideoMetadata> cache;
    bool ok = false;
    if (reader.next() == '{') {
        // Member names are file paths here, so each is read as text of its own.
        ok = reader.object([&](std::string_view key) {
            const QString path = QString::fromUtf8(key.data(), qsizetype(key.size()));
            VideoMetadata metadata;
            if (!readMetadata(reader, Where{key, -1, nullptr, true}, &metadata))
                return false;
            cache.insert(path, metadata);
            return true;
        });
    } else {
        ok = expected(reader, "an object");
    }
    return finish(reader, ok, std::move(cache), error);
}

std::optional<QByteArray> encodePlaylists(const QList<NamedPlaylist>& playlists, QString* error) {
    qsizetype itemCount = 0;
    for (const NamedPlaylist& playlist : playlists)
        itemCount += playlist.items.size();
    Writer writer(itemCount * kItemSizeEstimate + playlists.size() * 256 + 2);
    QString problem;
    bool ok = true;
    writer.put('[');
    for (qsizetype n = 0; ok && n < playlists.size(); ++n) {
        const NamedPlaylist& playlist = playlists.at(n);
        if (n > 0)
            writer.put(',');
        writer.put('{');
        writer.key("id");
        writer.uuid(playlist.id);
        writer.key("name");
        writer.string(playlist.name);
        writer.key("items");
        ok = writeItems(writer, playlist.items, &problem);
        writer.key("shuffleEnabled");
        writer.boolean(playlist.shuffleEnabled);
        writer.key("loopEnabled");
        writer.boolean(playlist.loopEnabled);
        writer.key("sortOrder");
        writer.integer(int(playlist.sortOrder));
        const auto where = [&playlist] {
            return playlist.name;
        };
        ok = ok &&
             putFinite(writer, "createdDate", playlist.createdDate.secondsSinceReferenceDate, where,
                       &problem) &&
             putFinite(writer, "modifiedDate", playlist.modifiedDate.secondsSinceReferenceDate,
                       where, &problem);
        writer.put('}');
    }
    writer.put(']');
    return written(ok, writer, problem, error);
}

std::optional<QList<NamedPlaylist>> decodePlaylists(const QByteArray& json, QString* error) {
    Reader reader(json);
    QList<NamedPlaylist> playlists;
    bool ok = false;
    if (reader.next() == '[') {
        ok = reader.array([&](qsizetype index) {
            NamedPlaylist playlist;
            if (!readPlaylist(reader, Where{"playlists", index}, &playlist))
                return false;
            playlists.append(std::move(playlist));
            return true;
        });
    } else {
        ok = expected(reader, "an array");
    }
    return finish(reader, ok, std::move(playlists), error);
}

} // namespace StoredJson
