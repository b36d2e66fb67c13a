// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Decimal integers as clients and the command line write them: an optional
// '-' and digits, nothing else (no spaces, no '+'), within 64 bits.
class Decimal {
public:
    static std::optional<std::int64_t> parse(const std::string& text);
    // Digits only, no sign: byte counts, offsets, ports.
    static std::optional<std::int64_t> parseUnsigned(const std::string& text);
};
