// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "FaultInjector.h"

#include <chrono>

std::string FaultInjector::add(Fault fault)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    fault.id = "fault-" + std::to_string(m_nextId++);
    fault.remaining = fault.times;
    m_faults.push_back(fault);
    return fault.id;
}

void FaultInjector::clear()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_faults.clear();
        ++m_generation;
    }
    m_changed.notify_all();
}

std::vector<FaultInjector::Fault> FaultInjector::faults() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_faults;
}

FaultInjector::Action FaultInjector::take(const std::string& method, const std::string& path)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_faults.begin(); it != m_faults.end(); ++it) {
        if (!it->method.empty() && it->method != method) {
            continue;
        }
        if (path.compare(0, it->pathPrefix.size(), it->pathPrefix) != 0) {
            continue;
        }
        Action action;
        action.matched = true;
        action.delayMs = it->delayMs;
        action.hang = it->hang;
        action.status = it->status;
        action.cutAfterBytes = it->cutAfterBytes;
        if (it->times > 0 && --it->remaining <= 0) {
            m_faults.erase(it);
        }
        return action;
    }
    return {};
}

void FaultInjector::delay(std::int64_t ms)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, std::chrono::milliseconds(ms), [this] { return m_stopping; });
}

void FaultInjector::hold()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const std::uint64_t generation = m_generation;
    m_changed.wait(lock, [&] { return m_stopping || m_generation != generation; });
}

void FaultInjector::shutdown()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_changed.notify_all();
}
