// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "WorkerPool.h"

WorkerPool::WorkerPool(std::size_t minThreads, std::size_t maxThreads)
    : m_maxThreads(maxThreads < minThreads ? minThreads : maxThreads)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (std::size_t i = 0; i < minThreads; ++i) {
        spawnLocked();
    }
}

WorkerPool::~WorkerPool()
{
    shutdown();
}

void WorkerPool::enqueue(std::function<void()> job)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_shutdown) {
            return;
        }
        m_jobs.push_back(std::move(job));
        if (m_jobs.size() > m_idle && m_threads.size() < m_maxThreads) {
            spawnLocked();
        }
    }
    m_wake.notify_one();
}

void WorkerPool::shutdown()
{
    std::vector<std::thread> threads;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_shutdown = true;
        threads.swap(m_threads);
    }
    m_wake.notify_all();
    for (auto& thread : threads) {
        thread.join();
    }
}

void WorkerPool::spawnLocked()
{
    m_threads.emplace_back([this] { run(); });
}

void WorkerPool::run()
{
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            ++m_idle;
            m_wake.wait(lock, [this] { return m_shutdown || !m_jobs.empty(); });
            --m_idle;
            if (m_jobs.empty()) {
                return; // shutting down with nothing left to do
            }
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        job();
    }
}
