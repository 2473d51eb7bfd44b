#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

// What every benchmark program needs: timing, medians, running an anchor program, and the one
// line format every figure is printed in.
namespace benchutil {

double median(std::vector<double> values);
double millisecondsOf(const std::function<void()>& work);
// Runs a program (looked up in PATH) with its standard input from /dev/null and its standard
// output thrown away; true on exit 0.
bool runQuietly(const QStringList& command);

// A measured figure: what was measured, its value and unit.
struct Figure {
    QString name;
    double value = 0;
    QString unit;
};

// Prints one line of the table every benchmark prints, the figure beside the anchor measured in
// the same run:
//   name  value unit   anchor-name  value unit   ratio  goal  ok|MISS
// `met` says whether the goal (described by `goal`) is met; returns it.
bool printLine(const Figure& figure, const Figure& anchor, const QString& goal, bool met);
// Hides the program's own info lines (folders found, videos advanced), which would interleave
// with the table; warnings stay.
void hideInfoLogs();
// A heading line above a group of lines (clip sizes, counts).
void printHeading(const QString& text);

} // namespace benchutil
