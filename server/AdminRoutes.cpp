// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "AdminRoutes.h"

#include "ApiError.h"
#include "ApiRequest.h"
#include "Router.h"
#include "ServerContext.h"

using nlohmann::json;

namespace {
const Router::Options AdminJson{ Router::Body::Json, false };
const Router::Options AdminPlain{ Router::Body::None, false };
} // namespace

AdminRoutes::AdminRoutes(ServerContext& context) : m_context(context) { }

void AdminRoutes::registerOn(Router& router)
{
    router.post(
            "/admin/faults", [this](ApiRequest& r) { addFault(r); }, AdminJson);
    router.del(
            "/admin/faults", [this](ApiRequest& r) { clearFaults(r); }, AdminJson);
    router.get(
            "/admin/faults", [this](ApiRequest& r) { listFaults(r); }, AdminPlain);
    router.get(
            "/admin/install-info", [this](ApiRequest& r) { installInfos(r); }, AdminPlain);
    router.put(R"(/admin/workspaces/([^/]+)/name)", [this](ApiRequest& r) { renameWorkspace(r); }, AdminJson);
}

void AdminRoutes::requireLoopback(ApiRequest& request)
{
    const std::string& address = request.http().remote_addr;
    if (address != "127.0.0.1" && address != "::1" && address != "::ffff:127.0.0.1") {
        throw ApiError::forbidden("admin routes answer loopback callers only");
    }
}

FaultInjector::Fault AdminRoutes::readFault(const json& body)
{
    FaultInjector::Fault fault;
    fault.method = ApiRequest::optionalString(body, "method").value_or("");
    fault.pathPrefix = ApiRequest::stringMember(body, "pathPrefix");
    fault.delayMs = ApiRequest::intMember(body, "delayMs", 0);
    fault.status = static_cast<int>(ApiRequest::intMember(body, "status", 0));
    fault.cutAfterBytes = ApiRequest::intMember(body, "cutAfterBytes", -1);
    fault.hang = ApiRequest::boolMember(body, "hang", false);
    fault.times = ApiRequest::intMember(body, "times", 0);
    if (fault.delayMs < 0 || fault.times < 0 || fault.cutAfterBytes < -1
        || (fault.status != 0 && (fault.status < 100 || fault.status > 599))) {
        throw ApiError::badRequest("fault values out of range");
    }
    return fault;
}

void AdminRoutes::addFault(ApiRequest& request)
{
    requireLoopback(request);
    const std::string id = m_context.faults.add(readFault(request.jsonObject()));
    request.sendJson(json{ { "result", "success" }, { "id", id } });
}

void AdminRoutes::clearFaults(ApiRequest& request)
{
    requireLoopback(request);
    m_context.faults.clear();
    request.sendJson(json{ { "result", "success" } });
}

void AdminRoutes::listFaults(ApiRequest& request)
{
    requireLoopback(request);
    json items = json::array();
    for (const auto& fault : m_context.faults.faults()) {
        json item{
            { "id", fault.id },           { "method", fault.method }, { "pathPrefix", fault.pathPrefix },
            { "delayMs", fault.delayMs }, { "status", fault.status }, { "hang", fault.hang },
            { "times", fault.remaining },
        };
        if (fault.cutAfterBytes >= 0) {
            item["cutAfterBytes"] = fault.cutAfterBytes;
        }
        items.push_back(item);
    }
    request.sendJson(json{ { "items", items } });
}

void AdminRoutes::installInfos(ApiRequest& request)
{
    requireLoopback(request);
    json items = json::array();
    Database::Transaction txn(m_context.db, false);
    for (const auto& entry : m_context.releases.installInfos()) {
        json item = json::parse(entry.first, nullptr, false);
        if (!item.is_object()) {
            item = json::object();
        }
        item["receivedTime"] = entry.second;
        items.push_back(item);
    }
    request.sendJson(json{ { "items", items } });
}

void AdminRoutes::renameWorkspace(ApiRequest& request)
{
    // Workspaces have no rename route of the API; tests of clients that
    // follow a renamed workspace need one.
    requireLoopback(request);
    const std::string name = ApiRequest::stringMember(request.jsonObject(), "name");
    Database::Transaction txn(m_context.db, true);
    if (!m_context.workspaces.workspace(request.match(1))) {
        throw ApiError::notFound("no such workspace");
    }
    m_context.db.prepare("UPDATE workspaces SET name = ? WHERE id = ?").bindAll(name, request.match(1)).run();
    txn.commit();
    request.sendJson(json{ { "result", "success" } });
}
