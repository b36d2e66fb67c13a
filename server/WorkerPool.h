// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

// The server's connection threads. cpp-httplib keeps one thread per open
// connection, idle keep-alive ones included, so a fixed pool of N threads
// stalls the (N+1)th client; this pool starts with `minThreads` and adds a
// thread whenever a connection would otherwise wait, up to `maxThreads`.
class WorkerPool : public httplib::TaskQueue {
public:
    WorkerPool(std::size_t minThreads, std::size_t maxThreads);
    ~WorkerPool() override;

    void enqueue(std::function<void()> job) override;
    void shutdown() override;

private:
    void spawnLocked();
    void run();

    const std::size_t m_maxThreads;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_jobs;
    std::vector<std::thread> m_threads;
    std::size_t m_idle = 0;
    bool m_shutdown = false;
};
