#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

// One orvanta-defaults command line, parsed and checked before the store is touched, so that
// bad input never half-writes.
class DefaultsCommandLine {
public:
    enum class Verb { Help, Read, ReadType, Write, Delete, List };

    Verb verb = Verb::Help;
    // The key the verb works on; none for `read` of every key, `list` and `help`.
    std::optional<QString> key;
    // What `write` stores.
    QVariant value;

    // Parses a command line (without the program name). Returns nothing and sets error, a
    // one-line description of the mistake, for a bad one.
    static std::optional<DefaultsCommandLine> parse(const QStringList& arguments, QString* error);

    // Parses one typed value; flag is "-bool", "-int", "-float", "-string", "-data" or "-path"
    // (with aliases). Returns nothing and sets error for bad input.
    static std::optional<QVariant> parseValue(const QString& flag, const QString& text,
                                              QString* error);
};
