// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <cstdint>
#include <string>

// Privilege thresholds: a member holds a privilege when its value is at
// least the threshold (an ordered comparison, not a bit test).
struct Privilege {
    static constexpr std::int64_t Member = 0;
    static constexpr std::int64_t Enter = 1;
    static constexpr std::int64_t View = 7;
    static constexpr std::int64_t Download = 47;
    static constexpr std::int64_t Create = 45359;
    static constexpr std::int64_t Update = 48943;
    static constexpr std::int64_t Delete = 1425199;
    static constexpr std::int64_t Grant = 5619503;

    static bool isManager(const std::string& role) { return role == "CREATOR" || role == "ADMIN"; }

    // The value reported and compared for a member of the given role.
    static std::int64_t effectiveValue(const std::string& role, std::int64_t storedValue)
    {
        return isManager(role) ? Grant : storedValue;
    }
};
