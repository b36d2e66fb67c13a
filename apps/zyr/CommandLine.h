// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "Arguments.h"

#include <QString>

#include <memory>

namespace CLI {
class App;
}

namespace Trelan::Oku::ZYRCli {

/// The command-line grammar of zyr: git-style subcommands, each with its
/// own --help, parsed with CLI11 into an Arguments record.
class CommandLine {
public:
    /// The exit status table, shown in --help, the man page and docs.
    static const char* exitStatusText();

    CommandLine();
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// Parses the command line. Returns -1 when a command is to run, else
    /// the exit status to end with (0 after --help or --version, 2 after a
    /// usage error, whose message is already printed).
    int parse(int argc, char** argv);

    const Arguments& arguments() const { return m_args; }
    /// The subcommand path that was given, such as "ls" or "queue resume".
    QString command() const;
    const CLI::App& app() const { return *m_app; }

private:
    void addAccountCommands();
    void addBrowseCommands();
    void addChangeCommands();
    void addTransferCommands();
    void addSharingCommands();
    void addDesktopCommands();

    Arguments m_args;
    std::unique_ptr<CLI::App> m_app;
};

} // namespace Trelan::Oku::ZYRCli
