// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The command line of zyr-cloud.
struct ServerOptions {
    static constexpr int DefaultPort = 8080;
    static constexpr std::int64_t DefaultTokenTtlSeconds = 86400;
    // A hundred years: expiry times in milliseconds stay far from overflow.
    static constexpr std::int64_t MaxTokenTtlSeconds = 3155760000;

    int port = DefaultPort;
    std::string dataDir; // empty: a temporary directory, removed on exit
    std::string seedFile;
    std::string host = "127.0.0.1";
    std::int64_t tokenTtlSeconds = DefaultTokenTtlSeconds;
    bool enableAdmin = false;
    bool verbose = false;

    // nullopt with `error` set when the arguments are not usable.
    static std::optional<ServerOptions> parse(const std::vector<std::string>& args, std::string& error);
    static std::string usage();
};
