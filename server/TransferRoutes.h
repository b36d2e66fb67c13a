// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "Records.h"
#include "UploadRegistry.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class ApiRequest;
class FileTree;
class Router;
struct ServerContext;

// File contents: ranged downloads served from the blob store, and
// resumable uploads streamed to disk as they arrive.
class TransferRoutes {
public:
    // A parsed "Range: bytes=a-" / "bytes=a-b"; last = -1 for "to the end".
    struct ByteRange {
        std::int64_t first = 0;
        std::int64_t last = -1;
    };

    explicit TransferRoutes(ServerContext& context);
    void registerOn(Router& router);

    // nullopt for no header; throws 400 for any other form.
    static std::optional<ByteRange> parseRange(const std::string& header, bool present);

private:
    // What an upload request asks for, its parameters checked.
    struct UploadTarget {
        std::string workspaceId;
        std::vector<std::string> segments;
        std::string path; // normal form
        std::int64_t size = 0;
        std::int64_t offset = 0;
    };

    void download(ApiRequest& request);
    void upload(ApiRequest& request);

    static UploadTarget readUploadTarget(ApiRequest& request);
    // Starts a new upload at offset 0 or takes up the unfinished one whose
    // bytes end at the offset, and marks it streaming.
    UploadRecord claimUpload(const UploadTarget& target, const std::string& userId,
                             std::shared_ptr<UploadRegistry::Stream>& stream);
    // Appends the body to the part file; the digest of the whole content
    // once all bytes are held, else throws (the bytes stay for a resume).
    std::string receiveContent(ApiRequest& request, const UploadRecord& upload, std::int64_t offset,
                               UploadRegistry::Stream& stream);
    // The complete upload becomes a file, or the next version of one.
    NodeRecord commitUpload(const UploadTarget& target, const UploadRecord& upload, const std::string& digest,
                            std::string& nodePath);
    NodeRecord makeParentFolders(FileTree& tree, const UploadTarget& target, std::int64_t now);
    // When a file of that name is there, `node` becomes its next version and
    // the old one goes; the old digest, "" when there was none.
    std::string replacePreviousVersion(NodeRecord& node);

    ServerContext& m_context;
};
