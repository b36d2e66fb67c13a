// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "VersionRoutes.h"

#include "ApiError.h"
#include "ApiRequest.h"
#include "Router.h"
#include "ServerContext.h"

#include <cerrno>
#include <cstring>

using nlohmann::json;

namespace {
json versions(ServerContext& context)
{
    std::string text;
    {
        Database::Transaction txn(context.db, false);
        text = context.releases.versionsJson();
    }
    if (text.empty()) {
        throw ApiError::notFound("no version list");
    }
    return json::parse(text);
}

std::string installerUrl(const std::string& host, const std::string& name)
{
    return "http://" + host + "/downloads/" + name;
}
} // namespace

VersionRoutes::VersionRoutes(ServerContext& context) : m_context(context) { }

void VersionRoutes::registerOn(Router& router)
{
    router.get("/downloads/versions.xml", [this](ApiRequest& r) { versionList(r); });
    router.get("/downloads/latest", [this](ApiRequest& r) { latest(r); });
    router.get(R"(/downloads/([^/]+))", [this](ApiRequest& r) { installer(r); });
}

std::string VersionRoutes::xmlEscape(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&apos;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

void VersionRoutes::versionList(ApiRequest& request)
{
    const json list = versions(m_context);
    const json& latest = list["latest"];
    auto flag = [](const json& entry) { return entry.value("forceUpdate", false) ? "true" : "false"; };
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<versionList>\n";
    xml += "  <latest version=\"" + xmlEscape(latest["version"].get<std::string>()) + "\" path=\""
            + xmlEscape(installerUrl(request.host(), latest["installer"].get<std::string>())) + "\" forceUpdate=\""
            + flag(latest) + "\"/>\n";
    xml += "  <histories>\n";
    for (const auto& history : list["histories"]) {
        xml += "    <historyRelease version=\"" + xmlEscape(history["version"].get<std::string>()) + "\" forceUpdate=\""
                + flag(history) + "\"/>\n";
    }
    xml += "  </histories>\n</versionList>\n";
    request.response().status = 200;
    request.response().set_content(xml, "application/xml; charset=utf-8");
}

void VersionRoutes::latest(ApiRequest& request)
{
    const json list = versions(m_context);
    auto& response = request.response();
    response.status = 302;
    response.set_header("Location", installerUrl(request.host(), list["latest"]["installer"].get<std::string>()));
}

void VersionRoutes::installer(ApiRequest& request)
{
    std::optional<ReleaseStore::Installer> installer;
    int fd = -1;
    {
        Database::Transaction txn(m_context.db, false);
        installer = m_context.releases.installer(request.match(1));
        if (!installer) {
            throw ApiError::notFound("no such installer");
        }
        fd = m_context.blobs.openBlob(installer->digest);
    }
    if (fd < 0) {
        throw std::runtime_error("installer " + installer->name + " is missing: " + std::strerror(errno));
    }
    request.sendFile(200, fd, 0, installer->size, "application/octet-stream");
}
