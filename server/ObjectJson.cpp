// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ObjectJson.h"

using nlohmann::json;

json ObjectJson::file(const NodeRecord& node, const std::optional<std::string>& path)
{
    json j = {
        { "id", node.id },
        { "name", node.name },
        { "workspaceId", node.workspaceId },
        { "parentId", node.parentId },
        { "isFolder", node.isFolder },
        { "size", node.isFolder ? 0 : node.size },
        { "digest", node.isFolder ? std::string() : node.digest },
        { "revision", node.isFolder ? 0 : node.revision },
        { "createTime", node.createTime },
        { "updateTime", node.updateTime },
        { "uploading", false },
        { "uploadedSize", node.isFolder ? 0 : node.size },
    };
    if (path) {
        j["path"] = *path;
    }
    return j;
}

json ObjectJson::unfinishedUpload(const UploadRecord& upload, const std::string& name, const std::string& parentId,
                                  bool uploading, std::int64_t uploadedSize)
{
    return json{
        { "id", upload.id },
        { "name", name },
        { "workspaceId", upload.workspaceId },
        { "parentId", parentId },
        { "isFolder", false },
        { "size", upload.size },
        { "digest", "" },
        { "revision", 0 },
        { "createTime", upload.createTime },
        { "updateTime", upload.updateTime },
        { "uploading", uploading },
        { "uploadedSize", uploadedSize },
        { "path", upload.path },
    };
}

json ObjectJson::user(const UserRecord& user)
{
    json avatars = json::array();
    if (user.hasAvatar) {
        avatars.push_back("/api/v1/users/" + user.id + "/avatar");
    }
    return json{
        { "id", user.id },
        { "account", user.account },
        { "displayName", user.displayName },
        { "fullName", user.fullName },
        { "email", user.email },
        { "avatarPaths", avatars },
    };
}

json ObjectJson::token(const AuthService::IssuedToken& token)
{
    return json{
        { "accessToken", token.accessToken },
        { "refreshToken", token.refreshToken },
        { "tokenType", "Bearer" },
        { "expiresIn", token.expiresIn },
    };
}

json ObjectJson::workspace(const WorkspaceRecord& workspace, const MemberRecord& member, const std::string& ownerId,
                           const std::string& host)
{
    return json{
        { "id", workspace.id },
        { "name", workspace.name },
        { "isDefault", workspace.isDefault },
        { "logoUrl", workspace.hasLogo ? "//" + host + "/api/v1/workspaces/" + workspace.id + "/logo" : std::string() },
        { "role", member.role },
        { "ownerId", ownerId },
        { "createTime", workspace.createTime },
    };
}

json ObjectJson::shareLink(const ShareLinkRecord& link, const std::string& host)
{
    json privileges = json::array();
    if (link.preview) {
        privileges.push_back("preview");
    }
    if (link.download) {
        privileges.push_back("download");
    }
    return json{
        { "id", link.id },
        { "token", link.token },
        { "workspaceId", link.workspaceId },
        { "url", "http://" + host + "/s/" + link.token },
        { "fileIds", link.fileIds },
        { "encrypt", link.encrypt },
        { "password", link.encrypt ? link.password : std::string() },
        { "expireTime", link.expireTime },
        { "privileges", privileges },
        { "createTime", link.createTime },
    };
}

json ObjectJson::success()
{
    return json{ { "code", 0 }, { "message", "success" } };
}

json ObjectJson::envelope(const json& data)
{
    json j = success();
    j["data"] = data;
    return j;
}

json ObjectJson::error(int status, const std::string& message)
{
    return json{ { "code", status }, { "message", message } };
}
