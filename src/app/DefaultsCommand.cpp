#include "app/DefaultsCommand.h"

#include "app/DefaultsCommandLine.h"
#include "core/Preferences.h"
#include "core/StandardOutput.h"

#include <charconv>
#include <cmath>
#include <memory>

namespace {

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
        "                               -path    a file or folder, stored as data: the bytes\n"
        "                                        of its absolute path (as folder bookmarks are)\n"
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
        "Exit status: 0 done, 1 no such key, 2 bad command line or value, 3 store unusable\n"
        "(locked by another program for over 5 s, read-only, disk full or unreadable).\n");
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

int DefaultsCommand::run(const QStringList& arguments, Preferences* store) {
    const auto fail = [](int code, const QString& message) {
        StandardOutput::printErrorLine(QStringLiteral("orvanta-defaults: ") + message);
        if (code == UsageError)
            StandardOutput::printErrorLine(
                QStringLiteral("Try 'orvanta-defaults help' for more information."));
        return code;
    };
    QString error;
    const std::optional<DefaultsCommandLine> line = DefaultsCommandLine::parse(arguments, &error);
    if (!line)
        return fail(UsageError, error);
    if (line->verb == DefaultsCommandLine::Verb::Help) {
        StandardOutput::print(usage());
        return Success;
    }

    std::unique_ptr<Preferences> owned;
    if (!store) {
        // A command on one key reads only that key. The usage text names the wait.
        static_assert(Preferences::kWaitLimitMs == 5000);
        owned =
            std::make_unique<Preferences>(Preferences::standardFilePath(), nullptr,
                                          Preferences::kWaitLimitMs, line->key.value_or(QString()));
        store = owned.get();
    }
    if (!store->isOpen())
        return fail(StoreError, store->problem());

    const QString key = line->key.value_or(QString());
    const auto noSuchKey = [&] {
        return fail(NoSuchKey, QStringLiteral("the key \"%1\" does not exist").arg(key));
    };
    switch (line->verb) {
    case DefaultsCommandLine::Verb::Help:
        break;
    case DefaultsCommandLine::Verb::Read:
        if (!line->key) {
            for (const QString& k : store->allKeys())
                StandardOutput::printLine(k + QStringLiteral(" = ") +
                                          format(store->objectForKey(k), true));
        } else {
            const QVariant value = store->objectForKey(key);
            if (!value.isValid())
                return noSuchKey();
            StandardOutput::printLine(format(value));
        }
        break;
    case DefaultsCommandLine::Verb::ReadType: {
        const Preferences::Type type = store->typeForKey(key);
        if (type == Preferences::Type::Absent)
            return noSuchKey();
        StandardOutput::printLine(typeName(type));
        break;
    }
    case DefaultsCommandLine::Verb::List:
        for (const QString& k : store->allKeys())
            StandardOutput::printLine(k + QLatin1Char('\t') + typeName(store->typeForKey(k)));
        break;
    case DefaultsCommandLine::Verb::Delete:
        if (!store->objectForKey(key).isValid())
            return noSuchKey();
        if (!store->removeObject(key))
            return fail(StoreError, store->problem());
        break;
    case DefaultsCommandLine::Verb::Write:
        if (!store->setValue(key, line->value))
            return fail(StoreError, store->problem());
        break;
    }
    return Success;
}
