// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <string>

// Writes one line per message to stderr; stdout carries only the
// "listening on" line, which test harnesses read.
class Log {
public:
    static void info(const std::string& message);
    static void error(const std::string& message);
    static void setVerbose(bool verbose);
    static bool verbose();
};
