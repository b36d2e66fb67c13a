// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ServerOptions.h"

#include "Decimal.h"

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
            if (!value(text)) {
                return std::nullopt;
            }
            const auto port = Decimal::parseUnsigned(text);
            if (!port || *port > 65535) {
                error = "--port needs a number from 0 to 65535";
                return std::nullopt;
            }
            options.port = static_cast<int>(*port);
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
            if (!value(text)) {
                return std::nullopt;
            }
            const auto ttl = Decimal::parseUnsigned(text);
            if (!ttl || *ttl <= 0 || *ttl > MaxTokenTtlSeconds) {
                error = "--token-ttl needs a number of seconds from 1 to " + std::to_string(MaxTokenTtlSeconds);
                return std::nullopt;
            }
            options.tokenTtlSeconds = *ttl;
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
