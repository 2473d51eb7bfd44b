#pragma once

#include <QString>

// Plain UTF-8 text on standard output (or error), flushed at once: what a user or a driving
// script reads as it comes, kept apart from the log and its formatting.
class StandardOutput {
public:
    // Text as it is, without adding a line end.
    static void print(const QString& text);
    static void printLine(const QString& line);
    static void printErrorLine(const QString& line);
};
