#include "app/DefaultsCommand.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    return DefaultsCommand::run(arguments, stdout, stderr);
}
