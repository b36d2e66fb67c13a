// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "Decimal.h"

#include <charconv>

std::optional<std::int64_t> Decimal::parse(const std::string& text)
{
    std::int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::int64_t> Decimal::parseUnsigned(const std::string& text)
{
    if (!text.empty() && text.front() == '-') {
        return std::nullopt;
    }
    return parse(text);
}
