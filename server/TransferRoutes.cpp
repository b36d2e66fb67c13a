// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "TransferRoutes.h"

#include "ApiError.h"
#include "ApiRequest.h"
#include "Decimal.h"
#include "FileTree.h"
#include "ObjectJson.h"
#include "Privilege.h"
#include "RemotePath.h"
#include "Router.h"
#include "ServerContext.h"
#include "Sha256Hasher.h"
#include "WorkspaceAccess.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

using nlohmann::json;

namespace {
std::string trim(const std::string& text)
{
    const auto begin = text.find_first_not_of(" \t");
    if (begin == std::string::npos) {
        return {};
    }
    const auto end = text.find_last_not_of(" \t");
    return text.substr(begin, end - begin + 1);
}

bool writeAll(int fd, const char* data, std::size_t length)
{
    std::size_t done = 0;
    while (done < length) {
        const ssize_t n = ::write(fd, data + done, length - done);
        if (n > 0) {
            done += static_cast<std::size_t>(n);
        } else if (n == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

// Ends the "streaming" mark of an upload however the request ends.
class StreamingMark {
public:
    StreamingMark(UploadRegistry& registry, std::string key) : m_registry(registry), m_key(std::move(key)) { }
    ~StreamingMark() { m_registry.end(m_key); }
    StreamingMark(const StreamingMark&) = delete;
    StreamingMark& operator=(const StreamingMark&) = delete;

private:
    UploadRegistry& m_registry;
    std::string m_key;
};

// 409 when the path names a folder or runs through a file.
void checkUploadTarget(ServerContext& context, FileTree& tree, const std::vector<std::string>& segments)
{
    NodeRecord current = tree.root();
    for (std::size_t i = 0; i < segments.size(); ++i) {
        auto next = context.nodes.child(current.workspaceId, current.id, segments[i]);
        if (!next) {
            return;
        }
        const bool last = i + 1 == segments.size();
        if (last && next->isFolder) {
            throw ApiError::conflict("the path names a folder");
        }
        if (!last && !next->isFolder) {
            throw ApiError::conflict("the path runs through a file");
        }
        current = *next;
    }
}
} // namespace

TransferRoutes::TransferRoutes(ServerContext& context) : m_context(context) { }

void TransferRoutes::registerOn(Router& router)
{
    router.get(R"(/api/v1/workspaces/([^/]+)/files/([^/]*)/content)", [this](ApiRequest& r) { download(r); });
    router.put(R"(/api/v1/workspaces/([^/]+)/upload)", [this](ApiRequest& r) { upload(r); },
               Router::Options{ Router::Body::Stream, true });
}

std::optional<TransferRoutes::ByteRange> TransferRoutes::parseRange(const std::string& header, bool present)
{
    if (!present) {
        return std::nullopt;
    }
    const std::string value = trim(header);
    static const std::string unit = "bytes=";
    if (value.compare(0, unit.size(), unit) != 0) {
        throw ApiError::badRequest("unsupported Range header");
    }
    const std::string rangeSet = trim(value.substr(unit.size()));
    const auto dash = rangeSet.find('-');
    if (dash == std::string::npos || rangeSet.find(',') != std::string::npos) {
        throw ApiError::badRequest("unsupported Range header");
    }
    const auto first = Decimal::parseUnsigned(trim(rangeSet.substr(0, dash)));
    if (!first) {
        throw ApiError::badRequest("unsupported Range header"); // suffix ranges included
    }
    const std::string lastText = trim(rangeSet.substr(dash + 1));
    const auto last = lastText.empty() ? std::optional<std::int64_t>(-1) : Decimal::parseUnsigned(lastText);
    if (!last || (*last >= 0 && *last < *first)) {
        throw ApiError::badRequest("unsupported Range header");
    }
    return ByteRange{ *first, *last };
}

void TransferRoutes::download(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto range = parseRange(request.http().get_header_value("Range"), request.http().has_header("Range"));

    NodeRecord node;
    std::int64_t first = 0;
    std::int64_t last = -1;
    int fd = -1;
    {
        Database::Transaction txn(m_context.db, false);
        const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::Download);
        FileTree tree(m_context, access.workspace);
        node = tree.requireById(request.match(2));
        if (node.isFolder) {
            throw ApiError::badRequest("a folder cannot be downloaded");
        }
        if (range && range->first >= node.size) {
            throw ApiError(416, "range starts at or beyond the end of the file")
                    .withHeader("Content-Range", "bytes */" + std::to_string(node.size));
        }
        first = range ? range->first : 0;
        last = range && range->last >= 0 ? std::min(range->last, node.size - 1) : node.size - 1;
        // Opened under the lock: once open, a concurrent delete removing
        // the blob file cannot take the bytes away.
        fd = m_context.blobs.openBlob(node.digest);
        if (fd < 0) {
            throw std::runtime_error("content of " + node.id + " is missing: " + std::strerror(errno));
        }
    }
    auto& response = request.response();
    response.set_header("Accept-Ranges", "bytes");
    response.set_header("X-Digest", node.digest);
    if (range) {
        response.set_header("Content-Range",
                            "bytes " + std::to_string(first) + "-" + std::to_string(last) + "/"
                                    + std::to_string(node.size));
    }
    request.sendFile(range ? 206 : 200, fd, first, last - first + 1, "application/octet-stream");
}

void TransferRoutes::upload(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const UploadTarget target = readUploadTarget(request);
    std::shared_ptr<UploadRegistry::Stream> stream;
    const UploadRecord upload = claimUpload(target, userId, stream);
    // Streaming until committed: no other request may restart the path meanwhile.
    StreamingMark mark(m_context.streams, UploadRegistry::key(target.workspaceId, target.path));
    const std::string digest = receiveContent(request, upload, target.offset, *stream);
    std::string nodePath;
    const NodeRecord node = commitUpload(target, upload, digest, nodePath);
    m_context.blobs.removePart(upload.id);
    request.sendJson(ObjectJson::envelope(ObjectJson::file(node, nodePath)));
}

TransferRoutes::UploadTarget TransferRoutes::readUploadTarget(ApiRequest& request)
{
    UploadTarget target;
    target.workspaceId = request.match(1);
    auto segments = RemotePath::split(request.requiredParam("path"));
    if (!segments) {
        throw ApiError::badRequest("invalid path");
    }
    if (segments->empty()) {
        throw ApiError::badRequest("the root is not a file");
    }
    target.segments = std::move(*segments);
    target.path = RemotePath::join(target.segments);
    target.size = request.intParam("size");
    target.offset = request.intParam("offset");
    if (target.size < 0 || target.offset < 0 || target.offset > target.size) {
        throw ApiError::badRequest("size and offset must satisfy 0 <= offset <= size");
    }
    const auto contentLength = Decimal::parseUnsigned(request.http().get_header_value("Content-Length"));
    if (!contentLength || *contentLength != target.size - target.offset) {
        throw ApiError::badRequest("Content-Length must equal size - offset");
    }
    return target;
}

UploadRecord TransferRoutes::claimUpload(const UploadTarget& target, const std::string& userId,
                                         std::shared_ptr<UploadRegistry::Stream>& stream)
{
    Database::Transaction txn(m_context.db, true);
    const auto access = WorkspaceAccess::require(m_context, target.workspaceId, userId, Privilege::Create);
    const auto usage = m_context.workspaces.usage(target.workspaceId);
    if (target.size > access.workspace.quotaBytes - usage.usedSize) {
        throw ApiError::badRequest("the file does not fit into the workspace's free quota");
    }
    FileTree tree(m_context, access.workspace);
    checkUploadTarget(m_context, tree, target.segments);
    const std::string key = UploadRegistry::key(target.workspaceId, target.path);
    if (m_context.streams.find(key)) {
        throw ApiError::conflict("another upload of this path is streaming");
    }
    auto existing = m_context.uploads.find(target.workspaceId, target.path);
    UploadRecord upload;
    const std::int64_t now = nowMs();
    if (target.offset == 0) {
        if (existing) {
            m_context.uploads.remove(existing->id);
            m_context.blobs.removePart(existing->id);
        }
        upload.id = m_context.uploads.newUploadId();
        upload.workspaceId = target.workspaceId;
        upload.path = target.path;
        upload.size = target.size;
        upload.createTime = upload.updateTime = now;
        m_context.uploads.insert(upload);
        m_context.blobs.resetPart(upload.id);
    } else {
        if (!existing || existing->size != target.size || m_context.blobs.partSize(existing->id) != target.offset) {
            throw ApiError::conflict("offset does not match the bytes held for this upload");
        }
        upload = *existing;
        upload.updateTime = now;
        m_context.uploads.touch(upload.id, now);
    }
    stream = m_context.streams.begin(key, upload.id, target.offset);
    txn.commit();
    return upload;
}

std::string TransferRoutes::receiveContent(ApiRequest& request, const UploadRecord& upload, std::int64_t offset,
                                           UploadRegistry::Stream& stream)
{
    const std::string partPath = m_context.blobs.partPath(upload.id);
    const int fd = ::open(partPath.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (fd < 0) {
        throw std::runtime_error("cannot open part file: " + std::string(std::strerror(errno)));
    }
    // Hashing while the bytes arrive saves reading the file again, which
    // is possible only when this request carries the whole content.
    std::unique_ptr<Sha256Hasher> hasher;
    if (offset == 0) {
        hasher = std::make_unique<Sha256Hasher>();
    }
    bool writeFailed = false;
    const bool complete = request.streamBody([&](const char* data, std::size_t length) {
        if (m_context.stopping || !writeAll(fd, data, length)) {
            writeFailed = !m_context.stopping;
            return false;
        }
        if (hasher) {
            hasher->add(data, length);
        }
        stream.held += static_cast<std::int64_t>(length);
        return true;
    });
    ::close(fd);
    if (writeFailed) {
        throw std::runtime_error("cannot write part file of " + upload.id);
    }
    if (!complete || stream.held.load() != upload.size) {
        throw ApiError::badRequest("the request body ended early");
    }
    const std::string digest = hasher ? hasher->finish() : Sha256Hasher::hashFile(partPath);
    if (digest.empty()) {
        throw std::runtime_error("cannot read part file of " + upload.id);
    }
    return digest;
}

NodeRecord TransferRoutes::commitUpload(const UploadTarget& target, const UploadRecord& upload,
                                        const std::string& digest, std::string& nodePath)
{
    Database::Transaction txn(m_context.db, true);
    if (!m_context.uploads.byId(upload.id)) {
        throw ApiError::conflict("the upload was discarded while it streamed");
    }
    auto workspace = m_context.workspaces.workspace(target.workspaceId);
    if (!workspace) {
        throw ApiError::notFound("unknown workspace");
    }
    FileTree tree(m_context, *workspace);
    checkUploadTarget(m_context, tree, target.segments);
    const std::int64_t now = nowMs();
    const NodeRecord parent = makeParentFolders(tree, target, now);

    m_context.blobs.publishPart(upload.id, digest);
    NodeRecord node;
    node.id = m_context.nodes.newNodeId();
    node.workspaceId = target.workspaceId;
    node.parentId = parent.id;
    node.name = target.segments.back();
    node.size = upload.size;
    node.digest = digest;
    node.revision = 1;
    node.createTime = node.updateTime = now;
    const std::string oldDigest = replacePreviousVersion(node);
    m_context.nodes.insert(node);
    m_context.uploads.remove(upload.id);
    nodePath = tree.pathOf(node);
    txn.commit();
    if (!oldDigest.empty() && oldDigest != digest) {
        tree.removeUnreferencedBlobs({ oldDigest });
    }
    return node;
}

std::string TransferRoutes::replacePreviousVersion(NodeRecord& node)
{
    auto previous = m_context.nodes.child(node.workspaceId, node.parentId, node.name);
    if (!previous) {
        return std::string();
    }
    // A new version: new id, next revision; marks and attributes move over,
    // the old id is gone.
    node.revision = previous->revision + 1;
    m_context.nodes.moveFavorites(previous->id, node.id);
    m_context.nodes.copyAttributes(previous->id, node.id);
    m_context.nodes.remove(previous->id);
    return previous->digest;
}

NodeRecord TransferRoutes::makeParentFolders(FileTree& tree, const UploadTarget& target, std::int64_t now)
{
    NodeRecord parent = tree.root();
    for (std::size_t i = 0; i + 1 < target.segments.size(); ++i) {
        auto next = m_context.nodes.child(target.workspaceId, parent.id, target.segments[i]);
        if (!next) {
            NodeRecord folder;
            folder.id = m_context.nodes.newNodeId();
            folder.workspaceId = target.workspaceId;
            folder.parentId = parent.id;
            folder.name = target.segments[i];
            folder.isFolder = true;
            folder.createTime = folder.updateTime = now;
            m_context.nodes.insert(folder);
            next = folder;
        }
        parent = *next;
    }
    return parent;
}
