// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// A seed file's text: checked whole, refused only with a SeedError.

#include "SeedLoader.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try {
        SeedLoader::check(std::string(reinterpret_cast<const char*>(data), size));
    } catch (const SeedError&) {
    }
    return 0;
}
