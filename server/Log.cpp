// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "Log.h"

#include <atomic>
#include <cstdio>
#include <mutex>

namespace {
std::mutex s_mutex;
std::atomic<bool> s_verbose{ false };

void write(const char* level, const std::string& message)
{
    std::lock_guard<std::mutex> lock(s_mutex);
    std::fprintf(stderr, "zyr-cloud: %s%s\n", level, message.c_str());
    std::fflush(stderr);
}
} // namespace

void Log::info(const std::string& message)
{
    write("", message);
}

void Log::error(const std::string& message)
{
    write("error: ", message);
}

void Log::setVerbose(bool verbose)
{
    s_verbose = verbose;
}

bool Log::verbose()
{
    return s_verbose;
}
