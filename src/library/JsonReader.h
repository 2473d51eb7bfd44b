#pragma once

#include <QByteArray>
#include <QString>

#include <string_view>

// JSON text read in place, without QJsonDocument: the caller walks the document and reads the
// values it knows, so that no tree is built for a large one. The first problem met is kept in
// problem(); every reading call returns false from then on up the caller's chain.
class JsonReader {
public:
    // A value as read: scalars keep their content; arrays and objects are skipped, only their
    // kind is kept (a known key holding one is of the wrong type).
    struct Value {
        enum class Kind { Null, Bool, Number, String, Array, Object };
        Kind kind = Kind::Null;
        bool boolean = false;
        double number = 0.0;
        bool isInteger = false;
        qint64 integer = 0;
        QString string;

        // The value as a whole number, when it is one that fits.
        bool toInteger(qint64* out) const;
    };

    // The summary of every problem with the text itself.
    static const QString kFormatFailure;

    explicit JsonReader(const QByteArray& json)
        : m_begin(json.constData())
        , m_p(m_begin)
        , m_end(m_begin + json.size()) {}

    const QString& problem() const { return m_problem; }
    // Keeps the first problem only; always false.
    bool fail(const QString& summary, const QString& detail);

    // The first character of the next value, or 0 at the end.
    char next() {
        skipSpace();
        return m_p < m_end ? *m_p : '\0';
    }
    // True when only white space is left.
    bool finish();

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

    // The name of the member being read, exactly (key as object() passed it): for names that are
    // data, such as file paths. Call it before reading the member's value.
    QString memberName(std::string_view key) const;

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

    bool value(Value* out, int depth = 0);
    bool skip(int depth = 0);

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
    bool syntax(const char* what);
    bool literal(std::string_view word);
    bool number(Value* out);
    bool string(QString* out);
    bool escapedString(const char* start, QString* out);
    bool keyText(std::string_view* out, QByteArray* scratch);

    const char* m_begin;
    const char* m_p;
    const char* m_end;
    QString m_problem;
    // The last member name that was not plain ASCII, as text.
    QString m_name;
    bool m_nameRead = false;
};
