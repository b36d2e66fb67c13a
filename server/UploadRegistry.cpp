// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "UploadRegistry.h"

std::string UploadRegistry::key(const std::string& workspaceId, const std::string& path)
{
    // Workspace ids never contain a newline; paths are validated names.
    return workspaceId + '\n' + path;
}

std::shared_ptr<UploadRegistry::Stream> UploadRegistry::begin(const std::string& key, const std::string& uploadId,
                                                              std::int64_t held)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_streams.count(key)) {
        return nullptr;
    }
    auto stream = std::make_shared<Stream>();
    stream->uploadId = uploadId;
    stream->held = held;
    m_streams.emplace(key, stream);
    return stream;
}

void UploadRegistry::end(const std::string& key)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_streams.erase(key);
}

std::shared_ptr<UploadRegistry::Stream> UploadRegistry::find(const std::string& key) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_streams.find(key);
    return it == m_streams.end() ? nullptr : it->second;
}
