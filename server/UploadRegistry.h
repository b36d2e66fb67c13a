// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

// Which unfinished uploads have a request streaming right now, and how many
// bytes each holds. Kept in memory only: after a restart nothing streams.
class UploadRegistry {
public:
    struct Stream {
        std::string uploadId;
        std::atomic<std::int64_t> held{ 0 };
    };

    static std::string key(const std::string& workspaceId, const std::string& path);

    // Marks the path streaming; nullptr when a request already streams it.
    std::shared_ptr<Stream> begin(const std::string& key, const std::string& uploadId, std::int64_t held);
    void end(const std::string& key);
    std::shared_ptr<Stream> find(const std::string& key) const;

private:
    mutable std::mutex m_mutex;
    std::map<std::string, std::shared_ptr<Stream>> m_streams;
};
