// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

class ApiRequest;
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
    void download(ApiRequest& request);
    void upload(ApiRequest& request);

    ServerContext& m_context;
};
