// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

// Faults that tests set through the admin routes: delay a route, answer it
// with a chosen status, cut its body off, or hold it without an answer.
class FaultInjector {
public:
    struct Fault {
        std::string id;
        std::string method; // "" = any
        std::string pathPrefix;
        std::int64_t delayMs = 0;
        int status = 0; // 0 = none
        std::int64_t cutAfterBytes = -1; // -1 = none
        bool hang = false;
        std::int64_t times = 0; // 0 = unlimited
        std::int64_t remaining = 0;
    };

    // What to do to one request; `matched` false means nothing.
    struct Action {
        bool matched = false;
        std::int64_t delayMs = 0;
        bool hang = false;
        int status = 0;
        std::int64_t cutAfterBytes = -1;
    };

    std::string add(Fault fault);
    // Removes every fault and releases the held requests.
    void clear();
    std::vector<Fault> faults() const;

    // The first fault matching the request, counted as one of its times.
    Action take(const std::string& method, const std::string& path);

    // Waits `ms`, or less when the server stops.
    void delay(std::int64_t ms);
    // Holds the calling request until the faults are cleared or the server
    // stops.
    void hold();
    // Releases everything for good; called when the server stops.
    void shutdown();

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Fault> m_faults;
    std::int64_t m_nextId = 1;
    std::uint64_t m_generation = 0; // bumped by clear()
    bool m_stopping = false;
};
