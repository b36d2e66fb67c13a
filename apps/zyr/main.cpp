// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// zyr, the command-line client: one binary with git-style subcommands, a
// view of the controller like the desktop client's.

#include "CommandLine.h"
#include "Dispatcher.h"
#include "Interrupts.h"

#include <QCoreApplication>
#include <QLoggingCategory>

int main(int argc, char** argv)
{
    using namespace Trelan::Oku::ZYRCli;
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("zyr"));
    QCoreApplication::setApplicationVersion(QStringLiteral(ZYR_VERSION));
    // zyr says what went wrong itself; QT_LOGGING_RULES="zyr.*=true" shows
    // the libraries' own account of it.
    QLoggingCategory::setFilterRules(QStringLiteral("zyr.*=false"));

    CommandLine commandLine;
    const int parsed = commandLine.parse(argc, argv);
    if (parsed >= 0)
        return parsed;
    Interrupts::instance().install();
    return Dispatcher::run(commandLine);
}
