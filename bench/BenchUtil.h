#pragma once

#include <QStringList>

#include <functional>
#include <vector>

// What every benchmark program needs: timing, medians and running an anchor program.
namespace benchutil {

double median(std::vector<double> values);
double millisecondsOf(const std::function<void()>& work);
// Runs a program (looked up in PATH) with its standard output thrown away; true on exit 0.
bool runQuietly(const QStringList& command);

} // namespace benchutil
