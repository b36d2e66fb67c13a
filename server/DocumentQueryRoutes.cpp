// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "DocumentQueryRoutes.h"

#include "ApiError.h"
#include "ApiRequest.h"
#include "CryptoUtil.h"
#include "FileTree.h"
#include "ObjectJson.h"
#include "Privilege.h"
#include "RemotePath.h"
#include "Router.h"
#include "ServerContext.h"
#include "WorkspaceAccess.h"

using nlohmann::json;

namespace {
NodeRecord resolve(FileTree& tree, const ApiRequest::NodeKey& key)
{
    return key.byPath ? tree.requireByPath(key.segments) : tree.requireById(key.id);
}
} // namespace

DocumentQueryRoutes::DocumentQueryRoutes(ServerContext& context) : m_context(context) { }

void DocumentQueryRoutes::registerOn(Router& router)
{
    router.get(R"(/api/v1/workspaces/([^/]+)/children)", [this](ApiRequest& r) { children(r); });
    router.get(R"(/api/v1/workspaces/([^/]+)/attributes)", [this](ApiRequest& r) { attributes(r); });
    router.get(R"(/api/v1/workspaces/([^/]+)/meta)", [this](ApiRequest& r) { meta(r); });
    router.get(R"(/api/v1/workspaces/([^/]+)/parents)", [this](ApiRequest& r) { parents(r); });
    router.get("/api/v1/files/path", [this](ApiRequest& r) { pathById(r); });
    router.get(R"(/api/v1/workspaces/([^/]+)/privileges)", [this](ApiRequest& r) { privileges(r); });
    router.get(R"(/api/v1/workspaces/([^/]+)/thumbnail)", [this](ApiRequest& r) { thumbnail(r); });
    router.get(R"(/api/v1/workspaces/([^/]+)/viewcode)", [this](ApiRequest& r) { viewCode(r); });
}

void DocumentQueryRoutes::children(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto key = request.nodeKey();
    Database::Transaction txn(m_context.db, false);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::View);
    FileTree tree(m_context, access.workspace);
    const NodeRecord folder = resolve(tree, key);
    if (!folder.isFolder) {
        throw ApiError::badRequest("not a folder");
    }
    const std::string folderPath = tree.pathOf(folder);
    json items = json::array();
    for (const auto& child : m_context.nodes.children(access.workspace.id, folder.id)) {
        items.push_back(ObjectJson::file(child, RemotePath::child(folderPath, child.name)));
    }
    // Two client handlers read this reply, one from root "items" and one
    // from "data.items", so the list goes out twice.
    json reply = ObjectJson::success();
    reply["items"] = items;
    reply["data"] = json{ { "folder", ObjectJson::file(folder, folderPath) }, { "items", items } };
    request.sendJson(reply);
}

void DocumentQueryRoutes::attributes(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto key = request.nodeKey();
    const std::string attributeKey = request.param("attributeKey");
    Database::Transaction txn(m_context.db, false);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::View);
    FileTree tree(m_context, access.workspace);
    const NodeRecord node = resolve(tree, key);
    json data = json::array();
    for (const auto& attribute : m_context.nodes.attributes(node.id)) {
        if (attributeKey.empty() || attribute.first == attributeKey) {
            data.push_back(json{ { "key", attribute.first }, { "value", attribute.second } });
        }
    }
    request.sendJson(ObjectJson::envelope(data));
}

void DocumentQueryRoutes::meta(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto key = request.nodeKey();
    const bool withPath = request.boolParam("withPath", true);
    Database::Transaction txn(m_context.db, false);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::View);
    FileTree tree(m_context, access.workspace);

    if (!key.byPath) {
        const NodeRecord node = tree.requireById(key.id);
        request.sendJson(ObjectJson::envelope(
                ObjectJson::file(node, withPath ? std::optional<std::string>(tree.pathOf(node)) : std::nullopt)));
        return;
    }

    // An unfinished upload at the path wins over a node there: that is
    // what a client resuming an upload needs to see.
    const std::string path = RemotePath::join(key.segments);
    if (auto upload = m_context.uploads.find(access.workspace.id, path)) {
        std::vector<std::string> parentSegments(key.segments.begin(), key.segments.end() - 1);
        auto parent = tree.byPath(parentSegments);
        const std::string parentId = parent && parent->isFolder ? parent->id : std::string();
        auto stream = m_context.streams.find(UploadRegistry::key(access.workspace.id, path));
        const bool streaming = stream && stream->uploadId == upload->id;
        const std::int64_t held = streaming ? stream->held.load() : m_context.blobs.partSize(upload->id);
        request.sendJson(ObjectJson::envelope(
                ObjectJson::unfinishedUpload(*upload, key.segments.back(), parentId, streaming, held)));
        return;
    }
    const NodeRecord node = tree.requireByPath(key.segments);
    request.sendJson(ObjectJson::envelope(ObjectJson::file(node, path)));
}

void DocumentQueryRoutes::parents(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const std::string id = request.requiredParam("id");
    Database::Transaction txn(m_context.db, false);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::View);
    FileTree tree(m_context, access.workspace);
    json parents = json::array();
    for (const auto& entry : tree.chain(tree.requireById(id))) {
        parents.push_back(json{ { "fileId", entry.id }, { "name", entry.name } });
    }
    request.sendJson(ObjectJson::envelope(json{ { "parents", parents } }));
}

void DocumentQueryRoutes::pathById(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const std::string id = request.requiredParam("id");
    if (id.empty()) {
        throw ApiError::badRequest("an id is required");
    }
    Database::Transaction txn(m_context.db, false);
    auto node = m_context.nodes.node(id);
    if (!node) {
        throw ApiError::notFound("unknown file or folder id");
    }
    const auto access = WorkspaceAccess::require(m_context, node->workspaceId, userId, Privilege::View);
    FileTree tree(m_context, access.workspace);
    json path = json::array();
    for (const auto& entry : tree.chain(*node)) {
        path.push_back(json{ { "id", entry.id }, { "name", entry.name } });
    }
    request.sendJson(json{ { "path", path } });
}

void DocumentQueryRoutes::privileges(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const std::string id = request.requiredParam("id");
    Database::Transaction txn(m_context.db, false);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::Member);
    FileTree tree(m_context, access.workspace);
    tree.requireById(id);
    json list = json::array();
    for (const auto& member : m_context.workspaces.members(access.workspace.id)) {
        list.push_back(json{
                { "authorityId", member.userId },
                { "role", member.role },
                { "maxPrivilegeValue", Privilege::effectiveValue(member.role, member.maxPrivilege) },
        });
    }
    request.sendJson(json{ { "authorityList", list } });
}

void DocumentQueryRoutes::thumbnail(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const std::string id = request.requiredParam("id");
    Database::Transaction txn(m_context.db, false);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::View);
    FileTree tree(m_context, access.workspace);
    const NodeRecord node = tree.requireById(id);
    auto image = m_context.nodes.thumbnail(node.id);
    if (node.isFolder || !image) {
        throw ApiError::notFound("no thumbnail for this file");
    }
    request.sendBytes(*image, "image/png");
}

void DocumentQueryRoutes::viewCode(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const std::string id = request.requiredParam("id");
    const std::string host = request.host();
    Database::Transaction txn(m_context.db, false);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::View);
    FileTree tree(m_context, access.workspace);
    if (tree.requireById(id).isFolder) {
        throw ApiError::badRequest("a folder has no view code");
    }
    const std::string code = "vc-" + CryptoUtil::randomHex(16);
    request.sendJson(json{ { "viewcode", code }, { "viewURL", "http://" + host + "/view/" + code } });
}
