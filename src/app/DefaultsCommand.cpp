#include "app/DefaultsCommand.h"

#include "core/Preferences.h"

#include <QByteArray>
#include <QRegularExpression>

#include <charconv>
#include <cmath>
#include <memory>

namespace {

const QStringList kBoolFlags = {QStringLiteral("-bool"), QStringLiteral("-boolean")};
const QStringList kIntFlags = {QStringLiteral("-int"), QStringLiteral("-integer")};
const QStringList kFloatFlags = {QStringLiteral("-float"), QStringLiteral("-double")};
const QStringList kStringFlags = {QStringLiteral("-string")};
const QStringList kDataFlags = {QStringLiteral("-data")};

bool isScalarFlag(const QString& flag) {
    return kBoolFlags.contains(flag) || kIntFlags.contains(flag) || kFloatFlags.contains(flag) ||
           kStringFlags.contains(flag) || kDataFlags.contains(flag);
}

QString formatDouble(double value) {
    if (std::isinf(value))
        return value > 0 ? QStringLiteral("inf") : QStringLiteral("-inf");
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    QString text = QString::fromLatin1(buffer, result.ptr - buffer);
    // Keeps a float that happens to be whole from reading back as an integer.
    if (!text.contains(QLatin1Char('.')) && !text.contains(QLatin1Char('e')))
        text += QStringLiteral(".0");
    return text;
}

QString quoted(const QString& text) {
    QString result = QStringLiteral("\"");
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '"':
            result += QStringLiteral("\\\"");
            break;
        case '\\':
            result += QStringLiteral("\\\\");
            break;
        case '\n':
            result += QStringLiteral("\\n");
            break;
        case '\t':
            result += QStringLiteral("\\t");
            break;
        default:
            result += c;
        }
    }
    return result + QLatin1Char('"');
}

QString typeName(Preferences::Type type) {
    switch (type) {
    case Preferences::Type::Bool:
        return QStringLiteral("boolean");
    case Preferences::Type::Integer:
        return QStringLiteral("integer");
    case Preferences::Type::Double:
        return QStringLiteral("float");
    case Preferences::Type::String:
        return QStringLiteral("string");
    case Preferences::Type::Data:
        return QStringLiteral("data");
    case Preferences::Type::Array:
        return QStringLiteral("array");
    case Preferences::Type::Absent:
        break;
    }
    return QStringLiteral("absent");
}

std::optional<QByteArray> parseData(QString text) {
    text = text.trimmed();
    if (text.startsWith(QLatin1String("base64:"))) {
        const auto decoded = QByteArray::fromBase64Encoding(
            text.mid(7).toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded)
            return std::nullopt;
        return *decoded;
    }
    QString hex = text;
    if (hex.startsWith(QLatin1Char('<')) && hex.endsWith(QLatin1Char('>')))
        hex = hex.mid(1, hex.size() - 2);
    if (hex.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        hex = hex.mid(2);
    hex.remove(QLatin1Char(' '));
    static const QRegularExpression hexDigits(QStringLiteral("^([0-9A-Fa-f]{2})*$"));
    if (hexDigits.match(hex).hasMatch())
        return QByteArray::fromHex(hex.toLatin1());
    // Not hex: base64 written without its prefix, accepted only when whole (padded to a
    // multiple of four), so a mistyped hex string is refused rather than misread.
    if (text.isEmpty() || text.size() % 4 != 0)
        return std::nullopt;
    const auto decoded =
        QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    return *decoded;
}

} // namespace

QString DefaultsCommand::usage() {
    return QStringLiteral(
        "Usage: orvanta-defaults COMMAND [ARGUMENTS]\n"
        "\n"
        "Reads and writes Orvanta's preferences. A running Orvanta sees every change at once.\n"
        "\n"
        "Commands:\n"
        "  read [KEY]                 print the value of KEY, or every key with its value\n"
        "  read-type KEY              print the type of KEY's value\n"
        "  write KEY VALUE            store VALUE as a string\n"
        "  write KEY -TYPE VALUE      store a typed value; -TYPE is one of\n"
        "                               -bool    true, false, yes, no, 1 or 0\n"
        "                               -int     a 64-bit integer\n"
        "                               -float   a decimal number\n"
        "                               -string  any text\n"
        "                               -data    bytes as hex (0a1b2c) or base64 (base64:ChsC)\n"
        "  write KEY -array [ELEMENT ...]\n"
        "                             store a list; an element is a string unless preceded\n"
        "                             by one of the type flags above\n"
        "  delete KEY                 remove KEY\n"
        "  list                       print every key with the type of its value\n"
        "  help                       print this text\n"
        "\n"
        "Values print as: booleans true/false, integers as digits, floats always with a point\n"
        "or an exponent (1.0, 2.5e-07), strings as they are, data as <hex>, lists as\n"
        "( element, ... ) with strings in quotes.\n"
        "\n"
        "Exit status: 0 done, 1 no such key, 2 bad command line or value, 3 store unusable.\n");
}

QString DefaultsCommand::format(const QVariant& value, bool quoteStrings) {
    switch (Preferences::typeOf(value)) {
    case Preferences::Type::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case Preferences::Type::Integer:
        return QString::number(value.toLongLong());
    case Preferences::Type::Double:
        return formatDouble(value.toDouble());
    case Preferences::Type::String:
        return quoteStrings ? quoted(value.toString()) : value.toString();
    case Preferences::Type::Data:
        return QLatin1Char('<') + QString::fromLatin1(value.toByteArray().toHex()) +
               QLatin1Char('>');
    case Preferences::Type::Array: {
        const QVariantList list = value.toList();
        if (list.isEmpty())
            return QStringLiteral("()");
        QStringList elements;
        for (const QVariant& element : list)
            elements.append(format(element, true));
        return QStringLiteral("( ") + elements.join(QStringLiteral(", ")) + QStringLiteral(" )");
    }
    case Preferences::Type::Absent:
        break;
    }
    return {};
}

std::optional<QVariant> DefaultsCommand::parseValue(const QString& flag, const QString& text,
                                                    QString* error) {
    if (kBoolFlags.contains(flag)) {
        const QString lower = text.trimmed().toLower();
        if (lower == QLatin1String("true") || lower == QLatin1String("yes") ||
            lower == QLatin1String("1"))
            return QVariant(true);
        if (lower == QLatin1String("false") || lower == QLatin1String("no") ||
            lower == QLatin1String("0"))
            return QVariant(false);
        *error = QStringLiteral("not a boolean (true, false, yes, no, 1, 0): \"%1\"").arg(text);
        return std::nullopt;
    }
    if (kIntFlags.contains(flag)) {
        bool ok = false;
        const qint64 value = text.trimmed().toLongLong(&ok, 10);
        if (!ok) {
            *error = QStringLiteral("not a 64-bit integer: \"%1\"").arg(text);
            return std::nullopt;
        }
        return QVariant(value);
    }
    if (kFloatFlags.contains(flag)) {
        bool ok = false;
        const double value = text.trimmed().toDouble(&ok);
        if (!ok || std::isnan(value)) {
            *error = QStringLiteral("not a number: \"%1\"").arg(text);
            return std::nullopt;
        }
        return QVariant(value);
    }
    if (kStringFlags.contains(flag))
        return QVariant(text);
    if (kDataFlags.contains(flag)) {
        const auto bytes = parseData(text);
        if (!bytes) {
            *error = QStringLiteral("not hex or base64 data: \"%1\"").arg(text);
            return std::nullopt;
        }
        return QVariant(*bytes);
    }
    *error = QStringLiteral("unknown type flag \"%1\"").arg(flag);
    return std::nullopt;
}

int DefaultsCommand::run(const QStringList& arguments, FILE* out, FILE* err) {
    QTextStream outStream(out);
    QTextStream errStream(err);
    return run(arguments, outStream, errStream);
}

int DefaultsCommand::run(const QStringList& arguments, QTextStream& out, QTextStream& err,
                         Preferences* store) {
    const auto fail = [&err](int code, const QString& message) {
        err << "orvanta-defaults: " << message << '\n';
        if (code == UsageError)
            err << "Try 'orvanta-defaults help' for more information.\n";
        err.flush();
        return code;
    };
    if (arguments.isEmpty())
        return fail(UsageError, QStringLiteral("missing command"));

    const QString command = arguments.first();
    const QStringList rest = arguments.mid(1);
    if (command == QLatin1String("help") || command == QLatin1String("--help") ||
        command == QLatin1String("-h")) {
        out << usage();
        out.flush();
        return Success;
    }

    const auto needKey = [&](qsizetype maxArguments) -> std::optional<QString> {
        if (rest.isEmpty() || rest.first().isEmpty())
            return std::nullopt;
        if (rest.size() > maxArguments)
            return std::nullopt;
        return rest.first();
    };

    // Everything is parsed before the store is touched, so bad input never half-writes.
    QString key;
    QVariant valueToWrite;
    if (command == QLatin1String("read")) {
        if (rest.size() > 1)
            return fail(UsageError, QStringLiteral("read takes at most one key"));
    } else if (command == QLatin1String("read-type") || command == QLatin1String("delete")) {
        const auto k = needKey(1);
        if (!k)
            return fail(UsageError, QStringLiteral("%1 takes exactly one key").arg(command));
        key = *k;
    } else if (command == QLatin1String("list")) {
        if (!rest.isEmpty())
            return fail(UsageError, QStringLiteral("list takes no arguments"));
    } else if (command == QLatin1String("write")) {
        if (rest.size() < 2 || rest.first().isEmpty())
            return fail(UsageError, QStringLiteral("write needs a key and a value"));
        key = rest.first();
        if (key.startsWith(QLatin1Char('-')))
            return fail(UsageError, QStringLiteral("a key cannot start with '-': \"%1\"").arg(key));
        const QString flag = rest.at(1);
        QString error;
        if (flag == QLatin1String("-array")) {
            QVariantList list;
            for (qsizetype i = 2; i < rest.size(); ++i) {
                const QString& element = rest.at(i);
                if (isScalarFlag(element)) {
                    if (i + 1 >= rest.size())
                        return fail(UsageError, QStringLiteral("%1 needs a value").arg(element));
                    const auto value = parseValue(element, rest.at(++i), &error);
                    if (!value)
                        return fail(UsageError, error);
                    list.append(*value);
                } else if (element.startsWith(QLatin1Char('-')) && element.size() > 1 &&
                           !element.at(1).isDigit() && element.at(1) != QLatin1Char('.')) {
                    return fail(UsageError, QStringLiteral("unknown type flag \"%1\" in the list; "
                                                           "write -string %1 for that text")
                                                .arg(element));
                } else {
                    list.append(QVariant(element));
                }
            }
            valueToWrite = QVariant(list);
        } else if (flag.startsWith(QLatin1Char('-')) && isScalarFlag(flag)) {
            if (rest.size() != 3)
                return fail(UsageError, QStringLiteral("%1 takes exactly one value").arg(flag));
            const auto value = parseValue(flag, rest.at(2), &error);
            if (!value)
                return fail(UsageError, error);
            valueToWrite = *value;
        } else if (flag.startsWith(QLatin1Char('-')) && flag.size() > 1 && !flag.at(1).isDigit() &&
                   flag.at(1) != QLatin1Char('.')) {
            return fail(UsageError, QStringLiteral("unknown type flag \"%1\"").arg(flag));
        } else {
            if (rest.size() != 2)
                return fail(UsageError,
                            QStringLiteral("write takes one value; use -array for a list"));
            valueToWrite = QVariant(flag);
        }
    } else {
        return fail(UsageError, QStringLiteral("unknown command \"%1\"").arg(command));
    }

    std::unique_ptr<Preferences> owned;
    if (!store) {
        owned = std::make_unique<Preferences>(Preferences::standardFilePath());
        store = owned.get();
    }
    if (!store->isOpen())
        return fail(StoreError,
                    QStringLiteral("cannot open the preferences store %1").arg(store->filePath()));

    if (command == QLatin1String("read")) {
        if (rest.isEmpty()) {
            for (const QString& k : store->allKeys())
                out << k << " = " << format(store->objectForKey(k), true) << '\n';
        } else {
            key = rest.first();
            const QVariant value = store->objectForKey(key);
            if (!value.isValid())
                return fail(NoSuchKey, QStringLiteral("the key \"%1\" does not exist").arg(key));
            out << format(value) << '\n';
        }
    } else if (command == QLatin1String("read-type")) {
        const Preferences::Type type = store->typeForKey(key);
        if (type == Preferences::Type::Absent)
            return fail(NoSuchKey, QStringLiteral("the key \"%1\" does not exist").arg(key));
        out << typeName(type) << '\n';
    } else if (command == QLatin1String("list")) {
        for (const QString& k : store->allKeys())
            out << k << '\t' << typeName(store->typeForKey(k)) << '\n';
    } else if (command == QLatin1String("delete")) {
        if (!store->objectForKey(key).isValid())
            return fail(NoSuchKey, QStringLiteral("the key \"%1\" does not exist").arg(key));
        store->removeObject(key);
        if (store->objectForKey(key).isValid())
            return fail(StoreError, QStringLiteral("could not delete \"%1\"").arg(key));
    } else if (command == QLatin1String("write")) {
        if (!store->setValue(key, valueToWrite))
            return fail(StoreError, QStringLiteral("could not write \"%1\"").arg(key));
    }
    out.flush();
    return Success;
}
