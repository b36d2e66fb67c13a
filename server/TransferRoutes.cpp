// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "TransferRoutes.h"

#include "ApiError.h"
#include "ApiRequest.h"
#include "FileTree.h"
#include "Log.h"
#include "ObjectJson.h"
#include "Privilege.h"
#include "RemotePath.h"
#include "Router.h"
#include "ServerContext.h"
#include "Sha256Hasher.h"
#include "WorkspaceAccess.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using nlohmann::json;

namespace {
constexpr std::size_t DownloadChunkBytes = 512 * 1024;

// An open blob shared by the content provider and the response; closed when
// the last of them is done.
struct OpenBlob {
    explicit OpenBlob(int descriptor) : fd(descriptor), buffer(DownloadChunkBytes) { }
    ~OpenBlob() { ::close(fd); }
    OpenBlob(const OpenBlob&) = delete;
    OpenBlob& operator=(const OpenBlob&) = delete;

    int fd;
    std::vector<char> buffer;
};

bool parseNumber(const std::string& text, std::int64_t& value)
{
    if (text.empty() || text.size() > 18) {
        return false;
    }
    value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
        value = value * 10 + (c - '0');
    }
    return true;
}

std::string trim(const std::string& text)
{
    const auto begin = text.find_first_not_of(" \t");
    if (begin == std::string::npos) {
        return {};
    }
    const auto end = text.find_last_not_of(" \t");
    return text.substr(begin, end - begin + 1);
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
    ByteRange range;
    const std::string first = trim(rangeSet.substr(0, dash));
    const std::string last = trim(rangeSet.substr(dash + 1));
    if (!parseNumber(first, range.first)) {
        throw ApiError::badRequest("unsupported Range header"); // suffix ranges included
    }
    if (!last.empty()) {
        if (!parseNumber(last, range.last) || range.last < range.first) {
            throw ApiError::badRequest("unsupported Range header");
        }
    }
    return range;
}

void TransferRoutes::download(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto range = parseRange(request.http().get_header_value("Range"), request.http().has_header("Range"));

    NodeRecord node;
    std::shared_ptr<OpenBlob> blob;
    {
        Database::Transaction txn(m_context.db, false);
        const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::Download);
        FileTree tree(m_context, access.workspace);
        node = tree.requireById(request.match(2));
        if (node.isFolder) {
            throw ApiError::badRequest("a folder cannot be downloaded");
        }
        // Opened under the lock: once open, a concurrent delete removing
        // the blob file cannot take the bytes away.
        const int fd = m_context.blobs.openBlob(node.digest);
        if (fd < 0) {
            throw std::runtime_error("content of " + node.id + " is missing: " + std::strerror(errno));
        }
        blob = std::make_shared<OpenBlob>(fd);
    }

    const std::int64_t size = node.size;
    std::int64_t first = 0;
    std::int64_t last = size - 1;
    if (range) {
        if (range->first >= size) {
            throw ApiError(416, "range starts at or beyond the end of the file")
                    .withHeader("Content-Range", "bytes */" + std::to_string(size));
        }
        first = range->first;
        if (range->last >= 0 && range->last < last) {
            last = range->last;
        }
    }
    auto& response = request.response();
    response.status = range ? 206 : 200;
    response.set_header("Accept-Ranges", "bytes");
    response.set_header("X-Digest", node.digest);
    if (range) {
        response.set_header("Content-Range",
                            "bytes " + std::to_string(first) + "-" + std::to_string(last) + "/" + std::to_string(size));
    }
    const std::int64_t length = last - first + 1;
    if (length <= 0) {
        response.set_content("", "application/octet-stream");
        return;
    }
    response.set_content_provider(static_cast<std::size_t>(length), "application/octet-stream",
                                  [blob, first](std::size_t offset, std::size_t remaining, httplib::DataSink& sink) {
                                      const std::size_t want = std::min(remaining, blob->buffer.size());
                                      const ssize_t n
                                              = ::pread(blob->fd, blob->buffer.data(), want,
                                                        static_cast<off_t>(first + static_cast<std::int64_t>(offset)));
                                      if (n <= 0) {
                                          return false;
                                      }
                                      return sink.write(blob->buffer.data(), static_cast<std::size_t>(n));
                                  });
}

void TransferRoutes::upload(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    auto segments = RemotePath::split(request.requiredParam("path"));
    if (!segments) {
        throw ApiError::badRequest("invalid path");
    }
    if (segments->empty()) {
        throw ApiError::badRequest("the root is not a file");
    }
    const std::int64_t size = request.intParam("size");
    const std::int64_t offset = request.intParam("offset");
    if (size < 0 || offset < 0 || offset > size) {
        throw ApiError::badRequest("size and offset must satisfy 0 <= offset <= size");
    }
    std::int64_t contentLength = -1;
    if (!parseNumber(request.http().get_header_value("Content-Length"), contentLength)
        || contentLength != size - offset) {
        throw ApiError::badRequest("Content-Length must equal size - offset");
    }

    const std::string workspaceId = request.match(1);
    const std::string path = RemotePath::join(*segments);
    const std::string key = UploadRegistry::key(workspaceId, path);
    UploadRecord upload;
    std::shared_ptr<UploadRegistry::Stream> stream;
    {
        Database::Transaction txn(m_context.db, true);
        const auto access = WorkspaceAccess::require(m_context, workspaceId, userId, Privilege::Create);
        const auto usage = m_context.workspaces.usage(workspaceId);
        if (size > access.workspace.quotaBytes - usage.usedSize) {
            throw ApiError::badRequest("the file does not fit into the workspace's free quota");
        }
        FileTree tree(m_context, access.workspace);
        checkUploadTarget(m_context, tree, *segments);
        if (m_context.streams.find(key)) {
            throw ApiError::conflict("another upload of this path is streaming");
        }
        auto existing = m_context.uploads.find(workspaceId, path);
        const std::int64_t now = nowMs();
        if (offset == 0) {
            if (existing) {
                m_context.uploads.remove(existing->id);
                m_context.blobs.removePart(existing->id);
            }
            upload.id = m_context.uploads.newUploadId();
            upload.workspaceId = workspaceId;
            upload.path = path;
            upload.size = size;
            upload.createTime = upload.updateTime = now;
            m_context.uploads.insert(upload);
            m_context.blobs.resetPart(upload.id);
        } else {
            if (!existing || existing->size != size || m_context.blobs.partSize(existing->id) != offset) {
                throw ApiError::conflict("offset does not match the bytes held for this upload");
            }
            upload = *existing;
            upload.updateTime = now;
            m_context.uploads.touch(upload.id, now);
        }
        stream = m_context.streams.begin(key, upload.id, offset);
        txn.commit();
    }
    StreamingMark mark(m_context.streams, key);

    const int fd = ::open(m_context.blobs.partPath(upload.id).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
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
        std::size_t done = 0;
        while (done < length) {
            const ssize_t n = ::write(fd, data + done, length - done);
            if (n < 0) {
                if (errno == EINTR) {
                    continue;
                }
                writeFailed = true;
                return false;
            }
            done += static_cast<std::size_t>(n);
        }
        if (hasher) {
            hasher->add(data, length);
        }
        stream->held += static_cast<std::int64_t>(length);
        return true;
    });
    ::close(fd);
    if (writeFailed) {
        throw std::runtime_error("cannot write part file of " + upload.id);
    }
    if (!complete || stream->held.load() != size) {
        // The client went away; the bytes received stay for a resume.
        throw ApiError::badRequest("the request body ended early");
    }

    const std::string digest = hasher ? hasher->finish() : Sha256Hasher::hashFile(m_context.blobs.partPath(upload.id));
    if (digest.empty()) {
        throw std::runtime_error("cannot read part file of " + upload.id);
    }

    NodeRecord node;
    std::string nodePath;
    {
        Database::Transaction txn(m_context.db, true);
        auto current = m_context.uploads.byId(upload.id);
        if (!current) {
            throw ApiError::conflict("the upload was discarded while it streamed");
        }
        auto workspace = m_context.workspaces.workspace(workspaceId);
        if (!workspace) {
            throw ApiError::notFound("unknown workspace");
        }
        FileTree tree(m_context, *workspace);
        checkUploadTarget(m_context, tree, *segments);
        const std::int64_t now = nowMs();

        NodeRecord parent = tree.root();
        for (std::size_t i = 0; i + 1 < segments->size(); ++i) {
            auto next = m_context.nodes.child(workspaceId, parent.id, (*segments)[i]);
            if (!next) {
                NodeRecord folder;
                folder.id = m_context.nodes.newNodeId();
                folder.workspaceId = workspaceId;
                folder.parentId = parent.id;
                folder.name = (*segments)[i];
                folder.isFolder = true;
                folder.createTime = folder.updateTime = now;
                m_context.nodes.insert(folder);
                next = folder;
            }
            parent = *next;
        }

        m_context.blobs.publishPart(upload.id, digest);
        node.id = m_context.nodes.newNodeId();
        node.workspaceId = workspaceId;
        node.parentId = parent.id;
        node.name = segments->back();
        node.isFolder = false;
        node.size = size;
        node.digest = digest;
        node.revision = 1;
        node.createTime = node.updateTime = now;
        std::string oldDigest;
        if (auto previous = m_context.nodes.child(workspaceId, parent.id, node.name)) {
            // A new version: new id, next revision; marks and attributes
            // move over, the old id is gone.
            node.revision = previous->revision + 1;
            oldDigest = previous->digest;
            m_context.nodes.moveFavorites(previous->id, node.id);
            m_context.nodes.copyAttributes(previous->id, node.id);
            m_context.nodes.remove(previous->id);
        }
        m_context.nodes.insert(node);
        m_context.uploads.remove(upload.id);
        nodePath = tree.pathOf(node);
        txn.commit();
        if (!oldDigest.empty() && oldDigest != digest) {
            tree.removeUnreferencedBlobs({ oldDigest });
        }
    }
    m_context.blobs.removePart(upload.id);
    request.sendJson(ObjectJson::envelope(ObjectJson::file(node, nodePath)));
}
