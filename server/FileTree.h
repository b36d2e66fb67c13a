// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "Records.h"

#include <optional>
#include <string>
#include <vector>

struct ServerContext;

// Tree operations of one workspace over the node store: lookups by id and
// path, paths of nodes, and the changes that touch whole subtrees. Callers
// hold a Database::Transaction.
class FileTree {
public:
    FileTree(ServerContext& context, const WorkspaceRecord& workspace);

    NodeRecord root();
    // An empty id means the root; a node of another workspace is unknown.
    std::optional<NodeRecord> byId(const std::string& id);
    std::optional<NodeRecord> byPath(const std::vector<std::string>& segments);
    // 404 when unknown.
    NodeRecord requireById(const std::string& id);
    NodeRecord requireByPath(const std::vector<std::string>& segments);

    std::string pathOf(const NodeRecord& node);
    // From the root down to the node itself.
    std::vector<NodeRecord> chain(const NodeRecord& node);
    // True when `node` is `ancestorId` or lies below it.
    bool isWithin(const NodeRecord& node, const std::string& ancestorId);

    // Deletes the node, its subtree and the unfinished uploads below its
    // path; returns the digests that may now be unreferenced.
    std::vector<std::string> removeSubtree(const NodeRecord& node, std::vector<std::string>& removedUploadIds);
    // Deep copy with new ids under `parentId` (name kept); returns the copy.
    NodeRecord copySubtree(const NodeRecord& node, const std::string& parentId, std::int64_t now);
    // Removes the blobs of `digests` that no node or installer uses any more.
    void removeUnreferencedBlobs(const std::vector<std::string>& digests);

private:
    ServerContext& m_context;
    WorkspaceRecord m_workspace;
};
