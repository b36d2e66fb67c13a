// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

// Plain rows of the metadata store, as the stores read and write them.

struct UserRecord {
    std::string id;
    std::string account;
    std::string displayName;
    std::string fullName;
    std::string email;
    std::string passwordSalt;
    std::string passwordHash;
    int passwordIterations = 0;
    bool hasAvatar = false;
    std::string avatarType;
};

struct WorkspaceRecord {
    std::string id;
    std::string name;
    bool isDefault = false;
    std::string rootId;
    std::int64_t createTime = 0;
    std::int64_t quotaBytes = 0;
    bool hasLogo = false;
    std::string logoType;
};

struct MemberRecord {
    std::string workspaceId;
    std::string userId;
    std::string role; // CREATOR, ADMIN or MEMBER
    std::int64_t maxPrivilege = 0;
};

struct NodeRecord {
    std::string id;
    std::string workspaceId;
    std::string parentId; // "" for a workspace root
    std::string name;
    bool isFolder = false;
    std::int64_t size = 0;
    std::string digest;
    std::int64_t revision = 0;
    std::int64_t createTime = 0;
    std::int64_t updateTime = 0;
    bool hasThumbnail = false;
};

// An upload that has not received all its bytes yet; the bytes live in the
// blob store's part file named after `id`.
struct UploadRecord {
    std::string id;
    std::string workspaceId;
    std::string path; // normal form
    std::int64_t size = 0;
    std::int64_t createTime = 0;
    std::int64_t updateTime = 0;
};

struct ShareLinkRecord {
    std::string id;
    std::string token;
    std::string workspaceId;
    std::string creatorId;
    std::vector<std::string> fileIds;
    bool encrypt = false;
    std::string password;
    std::int64_t expireTime = 0;
    bool preview = false;
    bool download = false;
    std::int64_t createTime = 0;
};

inline std::int64_t nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}
