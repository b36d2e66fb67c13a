// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ServerOptions.h"

namespace {
bool parseInteger(const std::string& text, std::int64_t& value)
{
    if (text.empty() || text.size() > 18) {
        return false;
    }
    std::int64_t result = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
        result = result * 10 + (c - '0');
    }
    value = result;
    return true;
}
} // namespace

std::optional<ServerOptions> ServerOptions::parse(const std::vector<std::string>& args, std::string& error)
{
    ServerOptions options;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        auto value = [&](std::string& out) {
            if (i + 1 >= args.size()) {
                error = arg + " needs a value";
                return false;
            }
            out = args[++i];
            return true;
        };
        std::string text;
        if (arg == "--port") {
            std::int64_t port = 0;
            if (!value(text) || !parseInteger(text, port) || port > 65535) {
                if (error.empty()) {
                    error = "--port needs a number from 0 to 65535";
                }
                return std::nullopt;
            }
            options.port = static_cast<int>(port);
        } else if (arg == "--data") {
            if (!value(options.dataDir)) {
                return std::nullopt;
            }
        } else if (arg == "--seed") {
            if (!value(options.seedFile)) {
                return std::nullopt;
            }
        } else if (arg == "--host") {
            if (!value(options.host)) {
                return std::nullopt;
            }
        } else if (arg == "--token-ttl") {
            std::int64_t ttl = 0;
            if (!value(text) || !parseInteger(text, ttl) || ttl <= 0) {
                if (error.empty()) {
                    error = "--token-ttl needs a positive number of seconds";
                }
                return std::nullopt;
            }
            options.tokenTtlSeconds = ttl;
        } else if (arg == "--enable-admin") {
            options.enableAdmin = true;
        } else if (arg == "--verbose") {
            options.verbose = true;
        } else {
            error = "unknown option " + arg;
            return std::nullopt;
        }
    }
    if (options.host.empty()) {
        error = "--host needs an address";
        return std::nullopt;
    }
    return options;
}

std::string ServerOptions::usage()
{
    return "usage: zyr-cloud --port N [--data DIR] --seed FILE [--host 127.0.0.1] [--token-ttl SECONDS] "
           "[--enable-admin] [--verbose]";
}
