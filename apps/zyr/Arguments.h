// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <string>
#include <vector>

namespace Trelan::Oku::ZYRCli {

/// What the command line said, as the parser fills it in. Plain standard
/// types, because the parser writes into them; commands turn them into Qt
/// types where they use them.
struct Arguments {
    // Global options.
    std::string server;
    std::string workspace;
    bool json = false;
    bool quiet = false;
    int timeoutSeconds = 30;

    // Shared by several commands.
    std::vector<std::string> paths; ///< positional paths of the command
    std::string path;
    std::string target; ///< the second positional of rename, thumbnail, use
    bool longListing = false;
    bool recursive = false;
    bool all = false;

    // login
    std::string account;
    std::string password;
    bool passwordStdin = false;

    // put, attr set
    std::vector<std::string> attributes; ///< KEY=VALUE

    // share
    std::string expires;
    bool withPassword = false;
    bool noPassword = false;
    bool noPreview = false;
    bool noDownload = false;
    bool preview = false;
    bool download = false;

    // backup config
    std::string backupDir;
    std::vector<std::string> backupWorkspaces;
    std::string backupTime;
    bool autoBackup = false;
    bool noAutoBackup = false;

    // update
    std::string listAddress;
    std::string currentVersion;
    std::string outputDir;

    // completion
    std::string shell = "bash";
};

} // namespace Trelan::Oku::ZYRCli
