// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "DocumentChangeRoutes.h"

#include "ApiError.h"
#include "ApiRequest.h"
#include "FileTree.h"
#include "ObjectJson.h"
#include "Privilege.h"
#include "RemotePath.h"
#include "Router.h"
#include "ServerContext.h"
#include "WorkspaceAccess.h"

using nlohmann::json;

namespace {
void requireValidName(const std::string& name)
{
    if (!RemotePath::isValidName(name)) {
        throw ApiError::badRequest("invalid name");
    }
}
} // namespace

DocumentChangeRoutes::DocumentChangeRoutes(ServerContext& context) : m_context(context) { }

void DocumentChangeRoutes::registerOn(Router& router)
{
    router.post(R"(/api/v1/workspaces/([^/]+)/folders)", [this](ApiRequest& r) { createFolder(r); });
    router.del(R"(/api/v1/workspaces/([^/]+)/files/([^/]*))", [this](ApiRequest& r) { remove(r); });
    router.post(R"(/api/v1/workspaces/([^/]+)/files/([^/]*)/copy)", [this](ApiRequest& r) { copy(r); });
    router.put(R"(/api/v1/workspaces/([^/]+)/files/([^/]*)/name)", [this](ApiRequest& r) { rename(r); });
    router.post(R"(/api/v1/workspaces/([^/]+)/attributes)", [this](ApiRequest& r) { addAttributes(r); });
}

void DocumentChangeRoutes::createFolder(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto body = request.jsonObject();
    const std::string parentId = ApiRequest::stringMember(body, "parentId");
    const std::string name = ApiRequest::stringMember(body, "name");
    requireValidName(name);

    Database::Transaction txn(m_context.db, true);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::Create);
    FileTree tree(m_context, access.workspace);
    const NodeRecord parent = tree.requireById(parentId);
    if (!parent.isFolder) {
        throw ApiError::badRequest("the parent is a file");
    }
    if (m_context.nodes.child(access.workspace.id, parent.id, name)) {
        throw ApiError::conflict("the name is taken in this folder");
    }
    NodeRecord folder;
    folder.id = m_context.nodes.newNodeId();
    folder.workspaceId = access.workspace.id;
    folder.parentId = parent.id;
    folder.name = name;
    folder.isFolder = true;
    folder.createTime = folder.updateTime = nowMs();
    m_context.nodes.insert(folder);
    const std::string path = RemotePath::child(tree.pathOf(parent), name);
    txn.commit();
    request.sendJson(ObjectJson::file(folder, path));
}

void DocumentChangeRoutes::remove(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    std::vector<std::string> uploadIds;
    const std::string id = request.match(2);
    {
        Database::Transaction txn(m_context.db, true);
        const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::Delete);
        FileTree tree(m_context, access.workspace);
        const NodeRecord node = tree.requireById(id);
        if (node.parentId.empty()) {
            throw ApiError::badRequest("the root folder cannot be deleted");
        }
        const auto digests = tree.removeSubtree(node, uploadIds);
        txn.commit();
        // Still under the database lock, so no upload can start using one
        // of these blobs between the check and the removal.
        tree.removeUnreferencedBlobs(digests);
    }
    for (const auto& uploadId : uploadIds) {
        m_context.blobs.removePart(uploadId);
    }
    request.sendJson(json{ { "successItems", json::array({ id }) }, { "failedItems", json::array() } });
}

void DocumentChangeRoutes::copy(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto body = request.jsonObject();
    const std::string targetId = ApiRequest::stringMember(body, "targetFolderId");
    const bool move = ApiRequest::boolMember(body, "move");

    Database::Transaction txn(m_context.db, true);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId,
                                                 move ? Privilege::Delete : Privilege::Create);
    FileTree tree(m_context, access.workspace);
    const NodeRecord source = tree.requireById(request.match(2));
    const NodeRecord target = tree.requireById(targetId);
    if (source.parentId.empty()) {
        throw ApiError::badRequest("the root folder cannot be copied or moved");
    }
    if (!target.isFolder) {
        throw ApiError::badRequest("the target is a file");
    }
    if (tree.isWithin(target, source.id)) {
        throw ApiError::badRequest("the target lies inside the source");
    }
    if (m_context.nodes.child(access.workspace.id, target.id, source.name)) {
        throw ApiError::conflict("the target folder already holds this name");
    }
    const std::int64_t now = nowMs();
    NodeRecord result;
    if (move) {
        m_context.nodes.reparent(source.id, target.id, now);
        result = *m_context.nodes.node(source.id);
    } else {
        result = tree.copySubtree(source, target.id, now);
    }
    const std::string path = tree.pathOf(result);
    txn.commit();
    request.sendJson(ObjectJson::envelope(
            json{ { "success", json::array({ ObjectJson::file(result, path) }) }, { "failed", json::array() } }));
}

void DocumentChangeRoutes::rename(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto body = request.jsonObject();
    const std::string name = ApiRequest::stringMember(body, "name");
    requireValidName(name);

    Database::Transaction txn(m_context.db, true);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::Update);
    FileTree tree(m_context, access.workspace);
    NodeRecord node = tree.requireById(request.match(2));
    if (node.parentId.empty()) {
        throw ApiError::badRequest("the root folder cannot be renamed");
    }
    if (node.name != name) {
        if (m_context.nodes.child(access.workspace.id, node.parentId, name)) {
            throw ApiError::conflict("a sibling has this name");
        }
        node.name = name;
        node.updateTime = nowMs();
        m_context.nodes.rename(node.id, node.name, node.updateTime);
    }
    const std::string path = tree.pathOf(node);
    txn.commit();
    request.sendJson(ObjectJson::envelope(ObjectJson::file(node, path)));
}

std::map<std::string, std::string> DocumentChangeRoutes::readAttributes(const json& body)
{
    auto it = body.find("attributes");
    if (it == body.end() || !it->is_object()) {
        throw ApiError::badRequest("attributes must be an object");
    }
    std::map<std::string, std::string> pairs;
    for (auto entry = it->begin(); entry != it->end(); ++entry) {
        if (entry.key().empty()) {
            throw ApiError::badRequest("attribute keys must not be empty");
        }
        if (!entry.value().is_string()) {
            throw ApiError::badRequest("attribute values must be strings");
        }
        pairs[entry.key()] = entry.value().get<std::string>();
    }
    return pairs;
}

void DocumentChangeRoutes::addAttributes(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto body = request.jsonObject();
    const auto id = ApiRequest::optionalString(body, "id");
    const auto path = ApiRequest::optionalString(body, "path");
    if (id.has_value() == path.has_value()) {
        throw ApiError::badRequest("give exactly one of id and path");
    }
    std::vector<std::string> segments;
    if (path) {
        auto split = RemotePath::split(*path);
        if (!split) {
            throw ApiError::badRequest("invalid path");
        }
        segments = *split;
    }
    const auto pairs = readAttributes(body);

    Database::Transaction txn(m_context.db, true);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::Update);
    FileTree tree(m_context, access.workspace);
    const NodeRecord node = path ? tree.requireByPath(segments) : tree.requireById(*id);
    for (const auto& pair : pairs) {
        m_context.nodes.setAttribute(node.id, pair.first, pair.second);
    }
    txn.commit();
    request.sendJson(ObjectJson::success());
}
