// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "AuthService.h"
#include "Records.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

// The JSON objects of the replies, with exactly the member names the
// client's model readers look for.
class ObjectJson {
public:
    // `path` is left out only when nullopt (metadata asked withPath=false).
    static nlohmann::json file(const NodeRecord& node, const std::optional<std::string>& path);
    static nlohmann::json unfinishedUpload(const UploadRecord& upload, const std::string& name,
                                           const std::string& parentId, bool uploading, std::int64_t uploadedSize);
    static nlohmann::json user(const UserRecord& user);
    static nlohmann::json token(const AuthService::IssuedToken& token);
    static nlohmann::json workspace(const WorkspaceRecord& workspace, const MemberRecord& member,
                                    const std::string& ownerId, const std::string& host);
    static nlohmann::json shareLink(const ShareLinkRecord& link, const std::string& host);

    // {"code":0,"message":"success"} plus `data` when given.
    static nlohmann::json success();
    static nlohmann::json envelope(const nlohmann::json& data);
    static nlohmann::json error(int status, const std::string& message);
};
