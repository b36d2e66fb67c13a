// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "WorkspaceRoutes.h"

#include "ApiError.h"
#include "ApiRequest.h"
#include "ObjectJson.h"
#include "Privilege.h"
#include "Router.h"
#include "ServerContext.h"
#include "WorkspaceAccess.h"

using nlohmann::json;

WorkspaceRoutes::WorkspaceRoutes(ServerContext& context) : m_context(context) { }

void WorkspaceRoutes::registerOn(Router& router)
{
    router.get("/api/v1/workspaces", [this](ApiRequest& r) { list(r); });
    router.get(R"(/api/v1/workspaces/([^/]+)/quota)", [this](ApiRequest& r) { quota(r); });
    router.get(R"(/api/v1/workspaces/([^/]+)/logo)", [this](ApiRequest& r) { logo(r); });
    router.post("/api/v1/install-info", [this](ApiRequest& r) { installInfo(r); });
}

void WorkspaceRoutes::list(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    const std::string host = request.host();
    Database::Transaction txn(m_context.db, false);
    json items = json::array();
    for (const auto& entry : m_context.workspaces.workspacesOf(userId)) {
        items.push_back(
                ObjectJson::workspace(entry.first, entry.second, m_context.workspaces.creatorOf(entry.first.id), host));
    }
    request.sendJson(json{ { "items", items } });
}

void WorkspaceRoutes::quota(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    Database::Transaction txn(m_context.db, false);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::Member);
    const auto usage = m_context.workspaces.usage(access.workspace.id);
    request.sendJson(json{
            { "workspaceId", access.workspace.id },
            { "usedSize", usage.usedSize },
            { "totalSize", access.workspace.quotaBytes },
            { "fileCount", usage.fileCount },
    });
}

void WorkspaceRoutes::logo(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    Database::Transaction txn(m_context.db, false);
    const auto access = WorkspaceAccess::require(m_context, request.match(1), userId, Privilege::Member);
    auto logo = m_context.workspaces.logo(access.workspace.id);
    if (!logo) {
        throw ApiError::notFound("this workspace has no logo");
    }
    request.sendBytes(logo->first, logo->second);
}

void WorkspaceRoutes::installInfo(ApiRequest& request)
{
    const auto body = request.jsonObject();
    {
        Database::Transaction txn(m_context.db, true);
        m_context.releases.addInstallInfo(ApiRequest::dump(body), nowMs());
        txn.commit();
    }
    request.sendJson(json{ { "result", "success" } });
}
