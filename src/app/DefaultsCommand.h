#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

class Preferences;

// The orvanta-defaults command: reads, writes, deletes and lists the preferences from a shell.
// DefaultsCommandLine parses the command line; this runs it against the store.
class DefaultsCommand {
public:
    enum ExitCode { Success = 0, NoSuchKey = 1, UsageError = 2, StoreError = 3 };

    // Runs one command line (without the program name) against store, or against the user's
    // store when none is given; what it prints goes to standard output, mistakes to standard
    // error.
    static int run(const QStringList& arguments, Preferences* store = nullptr);

    static QString usage();

    // A value as `read` prints it: booleans true/false, numbers as written (a float always
    // with a point or an exponent), strings as they are, data as <hex>, lists in parentheses.
    // Inside a list, or with quoteStrings, strings are double-quoted with escapes.
    static QString format(const QVariant& value, bool quoteStrings = false);
};
