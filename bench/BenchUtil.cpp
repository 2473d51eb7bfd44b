#include "BenchUtil.h"

#include <QByteArray>
#include <QFile>
#include <QLoggingCategory>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace benchutil {

double median(std::vector<double> values) {
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double millisecondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

bool runQuietly(const QStringList& command) {
    std::vector<QByteArray> arguments;
    for (const QString& argument : command)
        arguments.push_back(QFile::encodeName(argument));
    std::vector<char*> argv;
    for (QByteArray& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    int status = -1;
    if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0)
        waitpid(pid, &status, 0);
    posix_spawn_file_actions_destroy(&actions);
    return status == 0;
}

bool printLine(const Figure& figure, const Figure& anchor, const QString& goal, bool met) {
    const double ratio = anchor.value != 0 ? figure.value / anchor.value : 0.0;
    std::printf("  %-40s %9.2f %-4s  %-36s %9.2f %-4s  %7.3f  %-18s %s\n", qPrintable(figure.name),
                figure.value, qPrintable(figure.unit), qPrintable(anchor.name), anchor.value,
                qPrintable(anchor.unit), ratio, qPrintable(goal), met ? "ok" : "MISS");
    std::fflush(stdout);
    return met;
}

void hideInfoLogs() {
    QLoggingCategory::setFilterRules(QStringLiteral("com.orvanta.*.info=false"));
}

void printHeading(const QString& text) {
    std::printf("%s\n", qPrintable(text));
    std::fflush(stdout);
}

} // namespace benchutil
