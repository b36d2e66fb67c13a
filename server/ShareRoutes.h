// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <vector>

class ApiRequest;
class Router;
struct ServerContext;

// Favourites (per user and workspace) and share links (per workspace, each
// with its creator).
class ShareRoutes {
public:
    explicit ShareRoutes(ServerContext& context);
    void registerOn(Router& router);

    // What a share link's create and update bodies set besides the files.
    struct LinkSettings {
        std::int64_t expireTime = 0;
        bool encrypt = false;
        bool preview = false;
        bool download = false;
    };

    // "a,b,,c" -> {"a","b","c"}
    static std::vector<std::string> splitIds(const std::string& joined);
    // 400 when a member is missing or mistyped, or the expiry has passed.
    static LinkSettings readLinkSettings(const nlohmann::json& body);

private:
    void addFavorites(ApiRequest& request);
    void removeFavorites(ApiRequest& request);
    void listFavorites(ApiRequest& request);
    void listLinks(ApiRequest& request);
    void createLink(ApiRequest& request);
    void updateLink(ApiRequest& request);
    void removeLinks(ApiRequest& request);

    ServerContext& m_context;
};
