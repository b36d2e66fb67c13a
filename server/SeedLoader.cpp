// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "SeedLoader.h"

#include "AccountStore.h"
#include "AuthService.h"
#include "BlobStore.h"
#include "CryptoUtil.h"
#include "Database.h"
#include "NodeStore.h"
#include "Records.h"
#include "ReleaseStore.h"
#include "RemotePath.h"
#include "WorkspaceStore.h"

#include <nlohmann/json.hpp>

#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <vector>

using nlohmann::json;

namespace {
constexpr std::int64_t DefaultQuotaBytes = 10737418240LL;
// Generated content: byte i has the value i mod 251.
constexpr unsigned GeneratedModulus = 251;

struct Content {
    enum class Kind { Bytes, Generated } kind = Kind::Bytes;
    std::string bytes;
    std::int64_t size = 0;
};

struct SeedNode {
    bool isFolder = false;
    std::string name;
    std::string id; // "" = made by the server
    std::int64_t createTime = 0;
    std::int64_t updateTime = 0;
    std::map<std::string, std::string> attributes;
    std::vector<SeedNode> children;
    Content content;
    std::int64_t revision = 1;
    std::optional<std::string> thumbnail;
    std::string digest; // filled when the blob is stored
    std::int64_t storedSize = 0;
};

struct SeedUser {
    UserRecord record;
    std::string password;
    std::string avatar;
};

struct SeedWorkspace {
    WorkspaceRecord record;
    std::string logo;
    std::vector<MemberRecord> members;
    std::vector<SeedNode> tree;
};

struct SeedInstaller {
    std::string name;
    Content content;
    std::string digest;
    std::int64_t size = 0;
};

struct Seed {
    std::vector<SeedUser> users;
    std::vector<SeedWorkspace> workspaces;
    std::string versionsJson;
    std::vector<SeedInstaller> installers;
    std::set<std::string> nodeIds;
};

[[noreturn]] void fail(const std::string& where, const std::string& what)
{
    throw SeedError(where + ": " + what);
}

const json* member(const json& object, const std::string& key, const std::string& where, bool required)
{
    auto it = object.find(key);
    if (it == object.end() || it->is_null()) {
        if (required) {
            fail(where, "missing member \"" + key + "\"");
        }
        return nullptr;
    }
    return &*it;
}

std::optional<std::string> stringAt(const json& object, const std::string& key, const std::string& where, bool required)
{
    const json* value = member(object, key, where, required);
    if (!value) {
        return std::nullopt;
    }
    if (!value->is_string()) {
        fail(where + "." + key, "must be a string");
    }
    return value->get<std::string>();
}

std::optional<std::int64_t> intAt(const json& object, const std::string& key, const std::string& where, bool required)
{
    const json* value = member(object, key, where, required);
    if (!value) {
        return std::nullopt;
    }
    if (!value->is_number_integer()) {
        fail(where + "." + key, "must be an integer");
    }
    return value->get<std::int64_t>();
}

bool boolAt(const json& object, const std::string& key, const std::string& where, bool fallback)
{
    const json* value = member(object, key, where, false);
    if (!value) {
        return fallback;
    }
    if (!value->is_boolean()) {
        fail(where + "." + key, "must be a boolean");
    }
    return value->get<bool>();
}

const json& arrayAt(const json& object, const std::string& key, const std::string& where, bool required)
{
    static const json empty = json::array();
    const json* value = member(object, key, where, required);
    if (!value) {
        return empty;
    }
    if (!value->is_array()) {
        fail(where + "." + key, "must be an array");
    }
    return *value;
}

void requireObject(const json& value, const std::string& where)
{
    if (!value.is_object()) {
        fail(where, "must be an object");
    }
}

// Ids travel in URL paths and comma-joined lists.
void checkId(const std::string& id, const std::string& where)
{
    if (id.empty()) {
        fail(where, "an id must not be empty");
    }
    for (const char c : id) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '/' || c == '\\' || c == ',' || u < 0x20 || u == 0x7f) {
            fail(where, "id \"" + id + "\" contains a character ids cannot hold");
        }
    }
}

std::string decodeBase64(const std::string& text, const std::string& where)
{
    auto bytes = CryptoUtil::base64Decode(text);
    if (!bytes) {
        fail(where, "is not valid base64");
    }
    return *bytes;
}

Content readContent(const json& object, const std::string& where)
{
    const json* text = member(object, "content", where, false);
    const json* base64 = member(object, "contentBase64", where, false);
    const json* size = member(object, "size", where, false);
    if ((text ? 1 : 0) + (base64 ? 1 : 0) + (size ? 1 : 0) > 1) {
        fail(where, "give at most one of content, contentBase64 and size");
    }
    Content content;
    if (text) {
        content.bytes = *stringAt(object, "content", where, true);
    } else if (base64) {
        content.bytes = decodeBase64(*stringAt(object, "contentBase64", where, true), where + ".contentBase64");
    } else if (size) {
        content.kind = Content::Kind::Generated;
        content.size = *intAt(object, "size", where, true);
        if (content.size < 0) {
            fail(where + ".size", "must not be negative");
        }
    }
    return content;
}

// Deeper trees are refused: the readers below recurse once per level.
constexpr std::size_t MaxTreeDepth = 256;

std::vector<SeedNode> readNodes(const json& nodes, const std::string& where, std::int64_t now,
                                std::set<std::string>& ids, std::size_t depth);

std::map<std::string, std::string> readAttributes(const json& value, const std::string& where)
{
    std::map<std::string, std::string> attributes;
    const json* object = member(value, "attributes", where, false);
    if (!object) {
        return attributes;
    }
    if (!object->is_object()) {
        fail(where + ".attributes", "must be an object");
    }
    for (auto it = object->begin(); it != object->end(); ++it) {
        if (!it.value().is_string()) {
            fail(where + ".attributes." + it.key(), "must be a string");
        }
        if (it.key().empty()) {
            fail(where + ".attributes", "keys must not be empty");
        }
        attributes[it.key()] = it.value().get<std::string>();
    }
    return attributes;
}

void readFolderPart(const json& value, const std::string& where, std::int64_t now, std::set<std::string>& ids,
                    std::size_t depth, SeedNode& node)
{
    for (const char* fileOnly : { "content", "contentBase64", "size", "revision", "thumbnail" }) {
        if (member(value, fileOnly, where, false)) {
            fail(where, std::string("a folder cannot have \"") + fileOnly + "\"");
        }
    }
    node.children = readNodes(arrayAt(value, "children", where, false), where + ".children", now, ids, depth + 1);
}

void readFilePart(const json& value, const std::string& where, SeedNode& node)
{
    if (member(value, "children", where, false)) {
        fail(where, "a file cannot have \"children\"");
    }
    node.content = readContent(value, where);
    node.revision = intAt(value, "revision", where, false).value_or(1);
    if (node.revision < 1) {
        fail(where + ".revision", "must be at least 1");
    }
    if (auto thumbnail = stringAt(value, "thumbnail", where, false)) {
        node.thumbnail = decodeBase64(*thumbnail, where + ".thumbnail");
    }
}

SeedNode readNode(const json& value, const std::string& where, std::int64_t now, std::set<std::string>& ids,
                  std::size_t depth)
{
    requireObject(value, where);
    SeedNode node;
    const std::string type = *stringAt(value, "type", where, true);
    if (type != "folder" && type != "file") {
        fail(where + ".type", "must be \"folder\" or \"file\"");
    }
    node.isFolder = type == "folder";
    node.name = *stringAt(value, "name", where, true);
    if (!RemotePath::isValidName(node.name)) {
        fail(where + ".name", "\"" + node.name + "\" is not a valid name");
    }
    if (auto id = stringAt(value, "id", where, false)) {
        checkId(*id, where + ".id");
        if (!ids.insert(*id).second) {
            fail(where + ".id", "duplicate id \"" + *id + "\"");
        }
        node.id = *id;
    }
    node.createTime = intAt(value, "createTime", where, false).value_or(now);
    node.updateTime = intAt(value, "updateTime", where, false).value_or(node.createTime);
    node.attributes = readAttributes(value, where);
    if (node.isFolder) {
        readFolderPart(value, where, now, ids, depth, node);
    } else {
        readFilePart(value, where, node);
    }
    return node;
}

// The nodes of one folder (or of a workspace's root): names unique.
std::vector<SeedNode> readNodes(const json& nodes, const std::string& where, std::int64_t now,
                                std::set<std::string>& ids, std::size_t depth)
{
    if (depth > MaxTreeDepth) {
        fail(where, "folders nested deeper than " + std::to_string(MaxTreeDepth) + " levels");
    }
    std::vector<SeedNode> result;
    std::set<std::string> names;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const std::string nodeWhere = where + "[" + std::to_string(i) + "]";
        result.push_back(readNode(nodes[i], nodeWhere, now, ids, depth));
        if (!names.insert(result.back().name).second) {
            fail(nodeWhere + ".name", "duplicate name \"" + result.back().name + "\"");
        }
    }
    return result;
}

// Returns the user ids, which the workspaces' members refer to.
std::set<std::string> readUsers(const json& root, Seed& seed)
{
    std::set<std::string> userIds;
    std::set<std::string> accounts;
    const json& users = arrayAt(root, "users", "seed", true);
    for (std::size_t i = 0; i < users.size(); ++i) {
        const std::string where = "users[" + std::to_string(i) + "]";
        requireObject(users[i], where);
        SeedUser user;
        user.record.id = *stringAt(users[i], "id", where, true);
        checkId(user.record.id, where + ".id");
        user.record.account = *stringAt(users[i], "account", where, true);
        user.password = *stringAt(users[i], "password", where, true);
        if (!userIds.insert(user.record.id).second) {
            fail(where + ".id", "duplicate user id \"" + user.record.id + "\"");
        }
        if (!accounts.insert(user.record.account).second) {
            fail(where + ".account", "duplicate account \"" + user.record.account + "\"");
        }
        user.record.displayName = stringAt(users[i], "displayName", where, false).value_or(user.record.account);
        user.record.fullName = stringAt(users[i], "fullName", where, false).value_or("");
        user.record.email = stringAt(users[i], "email", where, false).value_or("");
        if (auto avatar = stringAt(users[i], "avatar", where, false)) {
            user.avatar = decodeBase64(*avatar, where + ".avatar");
            user.record.hasAvatar = true;
        }
        user.record.avatarType = stringAt(users[i], "avatarContentType", where, false).value_or("image/png");
        seed.users.push_back(std::move(user));
    }
    return userIds;
}

MemberRecord readMember(const json& value, const std::string& where, const std::string& workspaceId,
                        const std::set<std::string>& userIds)
{
    requireObject(value, where);
    MemberRecord record;
    record.workspaceId = workspaceId;
    record.userId = *stringAt(value, "userId", where, true);
    if (!userIds.count(record.userId)) {
        fail(where + ".userId", "unknown user \"" + record.userId + "\"");
    }
    record.role = *stringAt(value, "role", where, true);
    if (record.role != "CREATOR" && record.role != "ADMIN" && record.role != "MEMBER") {
        fail(where + ".role", "must be CREATOR, ADMIN or MEMBER");
    }
    record.maxPrivilege = intAt(value, "maxPrivilegeValue", where, record.role == "MEMBER").value_or(0);
    if (record.maxPrivilege < 0) {
        fail(where + ".maxPrivilegeValue", "must not be negative");
    }
    return record;
}

std::vector<MemberRecord> readMembers(const json& workspace, const std::string& where, const std::string& workspaceId,
                                      const std::set<std::string>& userIds)
{
    std::vector<MemberRecord> members;
    std::set<std::string> memberIds;
    int creators = 0;
    const json& values = arrayAt(workspace, "members", where, true);
    for (std::size_t m = 0; m < values.size(); ++m) {
        const std::string memberWhere = where + ".members[" + std::to_string(m) + "]";
        members.push_back(readMember(values[m], memberWhere, workspaceId, userIds));
        if (!memberIds.insert(members.back().userId).second) {
            fail(memberWhere + ".userId", "user \"" + members.back().userId + "\" is listed twice");
        }
        creators += members.back().role == "CREATOR" ? 1 : 0;
    }
    if (creators != 1) {
        fail(where + ".members", "needs exactly one CREATOR");
    }
    return members;
}

// The workspace's own fields and its logo.
void readWorkspaceHead(const json& value, const std::string& where, std::int64_t now, SeedWorkspace& ws)
{
    WorkspaceRecord& record = ws.record;
    record.id = *stringAt(value, "id", where, true);
    checkId(record.id, where + ".id");
    record.name = *stringAt(value, "name", where, true);
    record.isDefault = boolAt(value, "isDefault", where, false);
    record.rootId = stringAt(value, "rootId", where, false).value_or(record.id + "-root");
    checkId(record.rootId, where + ".rootId");
    record.createTime = intAt(value, "createTime", where, false).value_or(now);
    record.quotaBytes = intAt(value, "quotaBytes", where, false).value_or(DefaultQuotaBytes);
    if (record.quotaBytes < 0) {
        fail(where + ".quotaBytes", "must not be negative");
    }
    if (auto logo = stringAt(value, "logo", where, false)) {
        ws.logo = decodeBase64(*logo, where + ".logo");
        record.hasLogo = true;
    }
    record.logoType = stringAt(value, "logoContentType", where, false).value_or("image/png");
}

void readWorkspaces(const json& root, const std::set<std::string>& userIds, std::int64_t now, Seed& seed)
{
    std::set<std::string> workspaceIds;
    const json& workspaces = arrayAt(root, "workspaces", "seed", true);
    for (std::size_t i = 0; i < workspaces.size(); ++i) {
        const std::string where = "workspaces[" + std::to_string(i) + "]";
        const json& value = workspaces[i];
        requireObject(value, where);
        SeedWorkspace ws;
        readWorkspaceHead(value, where, now, ws);
        if (!workspaceIds.insert(ws.record.id).second) {
            fail(where + ".id", "duplicate workspace id \"" + ws.record.id + "\"");
        }
        if (!seed.nodeIds.insert(ws.record.rootId).second) {
            fail(where + ".rootId", "duplicate id \"" + ws.record.rootId + "\"");
        }
        ws.members = readMembers(value, where, ws.record.id, userIds);
        ws.tree = readNodes(arrayAt(value, "tree", where, false), where + ".tree", now, seed.nodeIds, 0);
        seed.workspaces.push_back(std::move(ws));
    }
}

// Returns the installer names, which the version list refers to.
std::set<std::string> readInstallers(const json& root, Seed& seed)
{
    std::set<std::string> names;
    const json& installers = arrayAt(root, "installers", "seed", false);
    for (std::size_t i = 0; i < installers.size(); ++i) {
        const std::string where = "installers[" + std::to_string(i) + "]";
        requireObject(installers[i], where);
        SeedInstaller installer;
        installer.name = *stringAt(installers[i], "name", where, true);
        if (!RemotePath::isValidName(installer.name)) {
            fail(where + ".name", "\"" + installer.name + "\" is not a valid name");
        }
        if (!names.insert(installer.name).second) {
            fail(where + ".name", "duplicate installer \"" + installer.name + "\"");
        }
        installer.content = readContent(installers[i], where);
        seed.installers.push_back(std::move(installer));
    }
    return names;
}

// The version list in the normal form the version routes read; "" when the
// seed has none.
std::string readVersions(const json& root, const std::set<std::string>& installerNames)
{
    const json* versions = member(root, "versions", "seed", false);
    if (!versions) {
        return std::string();
    }
    requireObject(*versions, "versions");
    const json* latest = member(*versions, "latest", "versions", true);
    requireObject(*latest, "versions.latest");
    json normal;
    normal["latest"] = {
        { "version", *stringAt(*latest, "version", "versions.latest", true) },
        { "installer", *stringAt(*latest, "installer", "versions.latest", true) },
        { "forceUpdate", boolAt(*latest, "forceUpdate", "versions.latest", false) },
    };
    if (!installerNames.count(normal["latest"]["installer"].get<std::string>())) {
        fail("versions.latest.installer", "names no entry of \"installers\"");
    }
    normal["histories"] = json::array();
    const json& histories = arrayAt(*versions, "histories", "versions", false);
    for (std::size_t i = 0; i < histories.size(); ++i) {
        const std::string where = "versions.histories[" + std::to_string(i) + "]";
        requireObject(histories[i], where);
        normal["histories"].push_back({
                { "version", *stringAt(histories[i], "version", where, true) },
                { "forceUpdate", boolAt(histories[i], "forceUpdate", where, false) },
        });
    }
    return normal.dump();
}

Seed parseSeed(const std::string& text)
{
    const json root = json::parse(text, nullptr, false);
    if (root.is_discarded()) {
        throw SeedError("the seed is not valid JSON");
    }
    requireObject(root, "seed");
    const std::int64_t now = nowMs();
    Seed seed;
    const std::set<std::string> userIds = readUsers(root, seed);
    readWorkspaces(root, userIds, now, seed);
    seed.versionsJson = readVersions(root, readInstallers(root, seed));
    return seed;
}

std::string readSeedFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw SeedError("cannot read seed file " + path + ": " + std::strerror(errno));
    }
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void storeContent(BlobStore& blobs, const Content& content, std::string& digest, std::int64_t& size)
{
    if (content.kind == Content::Kind::Bytes) {
        digest = blobs.storeBytes(content.bytes);
        size = static_cast<std::int64_t>(content.bytes.size());
        return;
    }
    std::int64_t produced = 0;
    const std::int64_t total = content.size;
    digest = blobs.storeGenerated(
            [&](char* buffer, std::size_t capacity) {
                const auto n = static_cast<std::size_t>(std::min<std::int64_t>(capacity, total - produced));
                for (std::size_t i = 0; i < n; ++i) {
                    buffer[i] = static_cast<char>(
                            static_cast<unsigned>((produced + static_cast<std::int64_t>(i)) % GeneratedModulus));
                }
                produced += static_cast<std::int64_t>(n);
                return n;
            },
            size);
}

void storeTreeContent(BlobStore& blobs, std::vector<SeedNode>& nodes)
{
    for (auto& node : nodes) {
        if (node.isFolder) {
            storeTreeContent(blobs, node.children);
        } else {
            storeContent(blobs, node.content, node.digest, node.storedSize);
        }
    }
}

void insertTree(NodeStore& store, const std::set<std::string>& seedIds, const std::string& workspaceId,
                const std::string& parentId, const std::vector<SeedNode>& nodes)
{
    for (const auto& seedNode : nodes) {
        NodeRecord record;
        record.id = seedNode.id;
        while (record.id.empty() || (seedNode.id.empty() && seedIds.count(record.id))) {
            record.id = store.newNodeId();
        }
        record.workspaceId = workspaceId;
        record.parentId = parentId;
        record.name = seedNode.name;
        record.isFolder = seedNode.isFolder;
        record.size = seedNode.isFolder ? 0 : seedNode.storedSize;
        record.digest = seedNode.isFolder ? std::string() : seedNode.digest;
        record.revision = seedNode.isFolder ? 0 : seedNode.revision;
        record.createTime = seedNode.createTime;
        record.updateTime = seedNode.updateTime;
        store.insert(record, seedNode.thumbnail);
        for (const auto& attribute : seedNode.attributes) {
            store.setAttribute(record.id, attribute.first, attribute.second);
        }
        if (seedNode.isFolder) {
            insertTree(store, seedIds, workspaceId, record.id, seedNode.children);
        }
    }
}
// The slow work, before the transaction: contents into the blob store,
// password hashes.
void prepareSeed(Seed& seed, BlobStore& blobs)
{
    for (auto& ws : seed.workspaces) {
        storeTreeContent(blobs, ws.tree);
    }
    for (auto& installer : seed.installers) {
        storeContent(blobs, installer.content, installer.digest, installer.size);
    }
    for (auto& user : seed.users) {
        const auto hash = AuthService::hashPassword(user.password);
        user.record.passwordSalt = hash.salt;
        user.record.passwordHash = hash.hash;
        user.record.passwordIterations = hash.iterations;
    }
}

void writeWorkspace(const SeedWorkspace& ws, const std::set<std::string>& seedIds, WorkspaceStore& workspaces,
                    NodeStore& nodes)
{
    workspaces.insertWorkspace(ws.record, ws.logo);
    for (const auto& member : ws.members) {
        workspaces.insertMember(member);
    }
    NodeRecord root;
    root.id = ws.record.rootId;
    root.workspaceId = ws.record.id;
    root.name = "/";
    root.isFolder = true;
    root.createTime = ws.record.createTime;
    root.updateTime = ws.record.createTime;
    nodes.insert(root);
    insertTree(nodes, seedIds, ws.record.id, root.id, ws.tree);
}

// All metadata in one transaction.
void writeSeed(const Seed& seed, Database& db)
{
    AccountStore accounts(db);
    WorkspaceStore workspaces(db);
    NodeStore nodes(db);
    ReleaseStore releases(db);
    Database::Transaction txn(db, true);
    for (const auto& user : seed.users) {
        accounts.insertUser(user.record, user.avatar);
    }
    for (const auto& ws : seed.workspaces) {
        writeWorkspace(ws, seed.nodeIds, workspaces, nodes);
    }
    for (const auto& installer : seed.installers) {
        releases.insertInstaller({ installer.name, installer.digest, installer.size });
    }
    if (!seed.versionsJson.empty()) {
        releases.setVersionsJson(seed.versionsJson);
    }
    txn.commit();
}
} // namespace

void SeedLoader::check(const std::string& seedText)
{
    parseSeed(seedText);
}

void SeedLoader::load(const std::string& seedPath, Database& db, BlobStore& blobs)
{
    Seed seed;
    try {
        seed = parseSeed(readSeedFile(seedPath));
    } catch (const SeedError& e) {
        throw SeedError(seedPath + ": " + e.what());
    }
    prepareSeed(seed, blobs);
    writeSeed(seed, db);
}
