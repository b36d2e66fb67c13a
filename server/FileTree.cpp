// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "FileTree.h"

#include "ApiError.h"
#include "RemotePath.h"
#include "ServerContext.h"

#include <algorithm>
#include <stdexcept>

FileTree::FileTree(ServerContext& context, const WorkspaceRecord& workspace)
    : m_context(context), m_workspace(workspace)
{
}

NodeRecord FileTree::root()
{
    auto node = m_context.nodes.node(m_workspace.rootId);
    if (!node) {
        throw std::runtime_error("workspace " + m_workspace.id + " has no root folder");
    }
    return *node;
}

std::optional<NodeRecord> FileTree::byId(const std::string& id)
{
    if (id.empty()) {
        return root();
    }
    auto node = m_context.nodes.node(id);
    if (!node || node->workspaceId != m_workspace.id) {
        return std::nullopt;
    }
    return node;
}

std::optional<NodeRecord> FileTree::byPath(const std::vector<std::string>& segments)
{
    NodeRecord current = root();
    for (const auto& name : segments) {
        if (!current.isFolder) {
            return std::nullopt;
        }
        auto next = m_context.nodes.child(m_workspace.id, current.id, name);
        if (!next) {
            return std::nullopt;
        }
        current = *next;
    }
    return current;
}

NodeRecord FileTree::requireById(const std::string& id)
{
    auto node = byId(id);
    if (!node) {
        throw ApiError::notFound("unknown file or folder id");
    }
    return *node;
}

NodeRecord FileTree::requireByPath(const std::vector<std::string>& segments)
{
    auto node = byPath(segments);
    if (!node) {
        throw ApiError::notFound("no file or folder at this path");
    }
    return *node;
}

std::vector<NodeRecord> FileTree::chain(const NodeRecord& node)
{
    std::vector<NodeRecord> result{ node };
    NodeRecord current = node;
    // The depth bound guards against a cycle in a damaged database.
    for (int depth = 0; !current.parentId.empty() && depth < 10000; ++depth) {
        auto parent = m_context.nodes.node(current.parentId);
        if (!parent) {
            throw std::runtime_error("node " + current.id + " has a missing parent");
        }
        current = *parent;
        result.push_back(current);
    }
    std::reverse(result.begin(), result.end());
    return result;
}

std::string FileTree::pathOf(const NodeRecord& node)
{
    std::vector<std::string> segments;
    const auto nodes = chain(node);
    for (std::size_t i = 1; i < nodes.size(); ++i) {
        segments.push_back(nodes[i].name);
    }
    return RemotePath::join(segments);
}

bool FileTree::isWithin(const NodeRecord& node, const std::string& ancestorId)
{
    for (const auto& entry : chain(node)) {
        if (entry.id == ancestorId) {
            return true;
        }
    }
    return false;
}

std::vector<std::string> FileTree::removeSubtree(const NodeRecord& node, std::vector<std::string>& removedUploadIds)
{
    std::vector<std::string> digests;
    for (const auto& upload : m_context.uploads.under(m_workspace.id, pathOf(node))) {
        m_context.uploads.remove(upload.id);
        removedUploadIds.push_back(upload.id);
    }
    std::vector<NodeRecord> pending{ node };
    while (!pending.empty()) {
        NodeRecord current = pending.back();
        pending.pop_back();
        if (current.isFolder) {
            for (const auto& child : m_context.nodes.children(m_workspace.id, current.id)) {
                pending.push_back(child);
            }
        } else {
            digests.push_back(current.digest);
        }
        m_context.nodes.remove(current.id);
    }
    return digests;
}

NodeRecord FileTree::copySubtree(const NodeRecord& node, const std::string& parentId, std::int64_t now)
{
    NodeRecord copy = node;
    copy.id = m_context.nodes.newNodeId();
    copy.parentId = parentId;
    copy.createTime = now;
    copy.updateTime = now;
    copy.revision = node.isFolder ? 0 : 1;
    copy.hasThumbnail = false;
    m_context.nodes.insert(copy);
    if (node.hasThumbnail) {
        m_context.nodes.copyThumbnail(node.id, copy.id);
        copy.hasThumbnail = true;
    }
    m_context.nodes.copyAttributes(node.id, copy.id);
    if (node.isFolder) {
        for (const auto& child : m_context.nodes.children(m_workspace.id, node.id)) {
            copySubtree(child, copy.id, now);
        }
    }
    return copy;
}

void FileTree::removeUnreferencedBlobs(const std::vector<std::string>& digests)
{
    for (const auto& digest : digests) {
        if (!digest.empty() && !m_context.nodes.isDigestReferenced(digest)) {
            m_context.blobs.removeBlob(digest);
        }
    }
}
