#include "app/DefaultsCommandLine.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <cmath>

namespace {

const QStringList kBoolFlags = {QStringLiteral("-bool"), QStringLiteral("-boolean")};
const QStringList kIntFlags = {QStringLiteral("-int"), QStringLiteral("-integer")};
const QStringList kFloatFlags = {QStringLiteral("-float"), QStringLiteral("-double")};
const QStringList kStringFlags = {QStringLiteral("-string")};
const QStringList kDataFlags = {QStringLiteral("-data")};
const QStringList kPathFlags = {QStringLiteral("-path")};

bool isScalarFlag(const QString& flag) {
    return kBoolFlags.contains(flag) || kIntFlags.contains(flag) || kFloatFlags.contains(flag) ||
           kStringFlags.contains(flag) || kDataFlags.contains(flag) || kPathFlags.contains(flag);
}

// A word that looks like a flag rather than a negative number ("-5", "-.5").
bool looksLikeFlag(const QString& word) {
    return word.startsWith(QLatin1Char('-')) && word.size() > 1 && !word.at(1).isDigit() &&
           word.at(1) != QLatin1Char('.');
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

// The list after `write KEY -array`: strings unless a type flag comes first.
std::optional<QVariantList> parseList(const QStringList& words, QString* error) {
    QVariantList list;
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString& element = words.at(i);
        if (isScalarFlag(element)) {
            if (i + 1 >= words.size()) {
                *error = QStringLiteral("%1 needs a value").arg(element);
                return std::nullopt;
            }
            const auto value = DefaultsCommandLine::parseValue(element, words.at(++i), error);
            if (!value)
                return std::nullopt;
            list.append(*value);
        } else if (looksLikeFlag(element)) {
            *error = QStringLiteral("unknown type flag \"%1\" in the list; "
                                    "write -string %1 for that text")
                         .arg(element);
            return std::nullopt;
        } else {
            list.append(QVariant(element));
        }
    }
    return list;
}

// The value after `write KEY`: a list, one typed value or a plain string.
std::optional<QVariant> parseWrittenValue(const QStringList& words, QString* error) {
    const QString& flag = words.first();
    if (flag == QLatin1String("-array")) {
        const auto list = parseList(words.mid(1), error);
        if (!list)
            return std::nullopt;
        return QVariant(*list);
    }
    if (isScalarFlag(flag)) {
        if (words.size() != 2) {
            *error = QStringLiteral("%1 takes exactly one value").arg(flag);
            return std::nullopt;
        }
        return DefaultsCommandLine::parseValue(flag, words.at(1), error);
    }
    if (looksLikeFlag(flag)) {
        *error = QStringLiteral("unknown type flag \"%1\"").arg(flag);
        return std::nullopt;
    }
    if (words.size() != 1) {
        *error = QStringLiteral("write takes one value; use -array for a list");
        return std::nullopt;
    }
    return QVariant(flag);
}

} // namespace

std::optional<DefaultsCommandLine> DefaultsCommandLine::parse(const QStringList& arguments,
                                                              QString* error) {
    const auto refuse = [error](const QString& message) {
        *error = message;
        return std::nullopt;
    };
    if (arguments.isEmpty())
        return refuse(QStringLiteral("missing command"));

    const QString command = arguments.first();
    const QStringList rest = arguments.mid(1);
    DefaultsCommandLine line;
    if (command == QLatin1String("help") || command == QLatin1String("--help") ||
        command == QLatin1String("-h")) {
        line.verb = Verb::Help;
    } else if (command == QLatin1String("read")) {
        if (rest.size() > 1)
            return refuse(QStringLiteral("read takes at most one key"));
        line.verb = Verb::Read;
        if (!rest.isEmpty())
            line.key = rest.first();
    } else if (command == QLatin1String("read-type") || command == QLatin1String("delete")) {
        if (rest.size() != 1 || rest.first().isEmpty())
            return refuse(QStringLiteral("%1 takes exactly one key").arg(command));
        line.verb = command == QLatin1String("delete") ? Verb::Delete : Verb::ReadType;
        line.key = rest.first();
    } else if (command == QLatin1String("list")) {
        if (!rest.isEmpty())
            return refuse(QStringLiteral("list takes no arguments"));
        line.verb = Verb::List;
    } else if (command == QLatin1String("write")) {
        if (rest.size() < 2 || rest.first().isEmpty())
            return refuse(QStringLiteral("write needs a key and a value"));
        if (rest.first().startsWith(QLatin1Char('-')))
            return refuse(QStringLiteral("a key cannot start with '-': \"%1\"").arg(rest.first()));
        const auto value = parseWrittenValue(rest.mid(1), error);
        if (!value)
            return std::nullopt;
        line.verb = Verb::Write;
        line.key = rest.first();
        line.value = *value;
    } else {
        return refuse(QStringLiteral("unknown command \"%1\"").arg(command));
    }
    return line;
}

std::optional<QVariant> DefaultsCommandLine::parseValue(const QString& flag, const QString& text,
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
    if (kPathFlags.contains(flag)) {
        if (text.isEmpty()) {
            *error = QStringLiteral("not a path: \"\"");
            return std::nullopt;
        }
        // Stored as the folder bookmarks are: the absolute, cleaned path in the file system's
        // encoding, a relative one taken from the current folder.
        return QVariant(QFile::encodeName(QDir::cleanPath(QFileInfo(text).absoluteFilePath())));
    }
    *error = QStringLiteral("unknown type flag \"%1\"").arg(flag);
    return std::nullopt;
}
