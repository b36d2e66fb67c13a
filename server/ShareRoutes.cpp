// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ShareRoutes.h"

#include "ApiError.h"
#include "ApiRequest.h"
#include "CryptoUtil.h"
#include "FileTree.h"
#include "ObjectJson.h"
#include "Privilege.h"
#include "Router.h"
#include "ServerContext.h"
#include "WorkspaceAccess.h"

using nlohmann::json;

namespace {
const char* const PasswordAlphabet = "abcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::size_t PasswordLength = 4;

void checkExpireTime(std::int64_t expireTime)
{
    if (expireTime < 0) {
        throw ApiError::badRequest("expireTime must not be negative");
    }
    if (expireTime != 0 && expireTime <= nowMs()) {
        throw ApiError::badRequest("expireTime lies in the past");
    }
}
} // namespace

ShareRoutes::ShareRoutes(ServerContext& context) : m_context(context) { }

void ShareRoutes::registerOn(Router& router)
{
    router.post(R"(/api/v1/workspaces/([^/]+)/favorites)", [this](ApiRequest& r) { addFavorites(r); });
    router.del(R"(/api/v1/workspaces/([^/]+)/favorites)", [this](ApiRequest& r) { removeFavorites(r); });
    router.get(R"(/api/v1/workspaces/([^/]+)/favorites)", [this](ApiRequest& r) { listFavorites(r); });
    router.get(R"(/api/v1/workspaces/([^/]+)/share-links)", [this](ApiRequest& r) { listLinks(r); });
    router.post(R"(/api/v1/workspaces/([^/]+)/share-links)", [this](ApiRequest& r) { createLink(r); });
    router.put(R"(/api/v1/workspaces/([^/]+)/share-links/([^/]+))", [this](ApiRequest& r) { updateLink(r); });
    router.del(R"(/api/v1/workspaces/([^/]+)/share-links)", [this](ApiRequest& r) { removeLinks(r); });
}

std::vector<std::string> ShareRoutes::splitIds(const std::string& joined)
{
    std::vector<std::string> ids;
    std::string current;
    for (const char c : joined + ",") {
        if (c == ',') {
            if (!current.empty()) {
                ids.push_back(current);
            }
            current.clear();
        } else {
            current.push_back(c);
        }
    }
    return ids;
}

ShareRoutes::LinkSettings ShareRoutes::readLinkSettings(const json& body)
{
    LinkSettings settings;
    settings.expireTime = ApiRequest::intMember(body, "expireTime");
    settings.encrypt = ApiRequest::boolMember(body, "encrypt");
    settings.preview = ApiRequest::boolMember(body, "preview");
    settings.download = ApiRequest::boolMember(body, "download");
    checkExpireTime(settings.expireTime);
    return settings;
}

void ShareRoutes::addFavorites(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto body = request.jsonObject();
    const auto ids = ApiRequest::stringArrayMember(body, "fileIds");
    if (ids.empty()) {
        throw ApiError::badRequest("fileIds is empty");
    }
    Database::Transaction txn(m_context.db, true);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::View);
    FileTree tree(m_context, access.workspace);
    std::vector<std::string> nodeIds;
    for (const auto& id : ids) {
        nodeIds.push_back(tree.requireById(id).id); // all or nothing
    }
    for (const auto& id : nodeIds) {
        m_context.nodes.addFavorite(userId, access.workspace.id, id);
    }
    txn.commit();
    request.sendJson(ObjectJson::success());
}

void ShareRoutes::removeFavorites(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto ids = splitIds(request.param("fileIds"));
    if (ids.empty()) {
        throw ApiError::badRequest("fileIds is empty");
    }
    Database::Transaction txn(m_context.db, true);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::View);
    for (const auto& id : ids) {
        m_context.nodes.removeFavorite(userId, access.workspace.id, id);
    }
    txn.commit();
    request.sendJson(ObjectJson::success());
}

void ShareRoutes::listFavorites(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    Database::Transaction txn(m_context.db, false);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::View);
    FileTree tree(m_context, access.workspace);
    json items = json::array();
    for (const auto& id : m_context.nodes.favorites(userId, access.workspace.id)) {
        if (auto node = tree.byId(id); node && !id.empty()) {
            items.push_back(ObjectJson::file(*node, tree.pathOf(*node)));
        }
    }
    request.sendJson(json{ { "items", items } });
}

void ShareRoutes::listLinks(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const std::string host = request.host();
    Database::Transaction txn(m_context.db, false);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::View);
    json items = json::array();
    for (const auto& link : m_context.links.createdBy(access.workspace.id, userId)) {
        items.push_back(ObjectJson::shareLink(link, host));
    }
    request.sendJson(json{ { "items", items } });
}

void ShareRoutes::createLink(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto body = request.jsonObject();
    ShareLinkRecord link;
    link.fileIds = ApiRequest::stringArrayMember(body, "fileIds");
    if (link.fileIds.empty()) {
        throw ApiError::badRequest("fileIds is empty");
    }
    const LinkSettings settings = readLinkSettings(body);
    link.expireTime = settings.expireTime;
    link.encrypt = settings.encrypt;
    link.preview = settings.preview;
    link.download = settings.download;
    const std::string host = request.host();

    Database::Transaction txn(m_context.db, true);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::Download);
    FileTree tree(m_context, access.workspace);
    for (const auto& id : link.fileIds) {
        if (id.empty()) {
            throw ApiError::badRequest("empty file id");
        }
        tree.requireById(id);
    }
    link.id = m_context.links.newLinkId();
    link.token = m_context.links.newToken();
    link.workspaceId = access.workspace.id;
    link.creatorId = userId;
    link.password = link.encrypt ? CryptoUtil::randomString(PasswordAlphabet, PasswordLength) : std::string();
    link.createTime = nowMs();
    m_context.links.insert(link);
    txn.commit();
    request.sendJson(ObjectJson::envelope(ObjectJson::shareLink(link, host)));
}

void ShareRoutes::updateLink(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto body = request.jsonObject();
    const LinkSettings settings = readLinkSettings(body);
    const std::string host = request.host();

    Database::Transaction txn(m_context.db, true);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::Member);
    auto link = m_context.links.find(access.workspace.id, request.match(2));
    if (!link) {
        throw ApiError::notFound("unknown share link");
    }
    if (link->creatorId != userId && !access.isManager()) {
        throw ApiError::forbidden("only the link's creator or a workspace manager may change it");
    }
    if (settings.encrypt && !link->encrypt) {
        link->password = CryptoUtil::randomString(PasswordAlphabet, PasswordLength);
    } else if (!settings.encrypt) {
        link->password.clear();
    }
    link->encrypt = settings.encrypt;
    link->expireTime = settings.expireTime;
    link->preview = settings.preview;
    link->download = settings.download;
    m_context.links.update(*link);
    txn.commit();
    request.sendJson(ObjectJson::envelope(ObjectJson::shareLink(*link, host)));
}

void ShareRoutes::removeLinks(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const auto ids = splitIds(request.param("ids"));
    if (ids.empty()) {
        throw ApiError::badRequest("ids is empty");
    }
    Database::Transaction txn(m_context.db, true);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::Member);
    std::vector<std::string> linkIds;
    for (const auto& id : ids) {
        auto link = m_context.links.find(access.workspace.id, id);
        if (!link) {
            continue;
        }
        if (link->creatorId != userId && !access.isManager()) {
            throw ApiError::forbidden("a link of another user");
        }
        linkIds.push_back(link->id);
    }
    for (const auto& id : linkIds) {
        m_context.links.remove(id);
    }
    txn.commit();
    request.sendJson(ObjectJson::success());
}
