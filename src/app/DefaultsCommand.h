#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>
#include <QVariant>

#include <optional>

class Preferences;

// The orvanta-defaults command: reads, writes, deletes and lists the preferences from a shell.
class DefaultsCommand {
public:
    enum ExitCode { Success = 0, NoSuchKey = 1, UsageError = 2, StoreError = 3 };

    // Runs one command line (without the program name) against store, or against the user's
    // store when none is given.
    static int run(const QStringList& arguments, QTextStream& out, QTextStream& err,
                   Preferences* store = nullptr);
    static int run(const QStringList& arguments, FILE* out, FILE* err);

    static QString usage();

    // A value as `read` prints it: booleans true/false, numbers as written (a float always
    // with a point or an exponent), strings as they are, data as <hex>, lists in parentheses.
    // Inside a list, or with quoteStrings, strings are double-quoted with escapes.
    static QString format(const QVariant& value, bool quoteStrings = false);

    // Parses one typed value; flag is "-bool", "-int", "-float", "-string" or "-data" (with
    // aliases). Returns nothing and sets error for bad input.
    static std::optional<QVariant> parseValue(const QString& flag, const QString& text,
                                              QString* error);
};
