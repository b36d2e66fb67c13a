// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

namespace Trelan::Oku::ZYRCli {

class CommandLine;

/// Runs the command a parsed command line names and turns its outcome into
/// zyr's exit status, printing the one-line message of a failure.
class Dispatcher {
public:
    static int run(const CommandLine& commandLine);
};

} // namespace Trelan::Oku::ZYRCli
