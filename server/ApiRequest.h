// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <httplib.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct ServerContext;

// One request as a route handler sees it: parameters with the documented
// 400 rules, the caller's identity, the body (bounded JSON or streamed) and
// the reply helpers. Failed checks throw ApiError.
class ApiRequest {
public:
    static constexpr std::size_t MaxJsonBodyBytes = 1048576;
    // A rejected body up to this size is read and dropped, so the client
    // gets the answer on a connection that stays usable; a bigger one makes
    // the server close the connection after answering.
    static constexpr std::int64_t MaxDrainBytes = 16 * 1048576;
    static constexpr std::size_t FileChunkBytes = 512 * 1024;
    // JSON is UTF-8 by definition, so no charset parameter: every reply
    // header byte costs a client that parses headers byte by byte (Qt).
    static constexpr const char* JsonContentType = "application/json";

    // "id=<id>" or "path=<path>", exactly one of the two.
    struct NodeKey {
        bool byPath = false;
        std::string id;
        std::vector<std::string> segments;
    };

    ApiRequest(ServerContext& context, const httplib::Request& request, httplib::Response& response,
               const httplib::ContentReader* reader);

    ServerContext& context() { return m_context; }
    const httplib::Request& http() const { return m_request; }
    httplib::Response& response() { return m_response; }

    // A capture group of the route pattern (1-based).
    std::string match(std::size_t index) const;
    bool hasParam(const std::string& name) const;
    std::string param(const std::string& name) const;
    std::string requiredParam(const std::string& name) const;
    std::int64_t intParam(const std::string& name) const;
    bool boolParam(const std::string& name, bool defaultValue) const;
    NodeKey nodeKey() const;

    // The signed-in user's id; 401 otherwise.
    std::string requireUser();
    // Host (with port) for the URLs the server builds.
    std::string host() const;

    // Reads a JSON route's body, keeping at most MaxJsonBodyBytes.
    void readBody();
    // The body as a JSON object; 400 when too big, malformed or not an object.
    nlohmann::json jsonObject() const;
    // The raw body of a JSON route (after readBody).
    const std::string& body() const { return m_body; }
    bool bodyTooLarge() const { return m_bodyTooLarge; }

    // Streams the body of a streaming route into `receiver`; false when
    // the body broke off (or the receiver refused it).
    bool streamBody(const httplib::ContentReceiver& receiver);
    // Reads and drops a body not consumed yet (see MaxDrainBytes).
    void discardBody();
    bool bodyPending() const { return m_reader && !m_bodyConsumed; }
    bool mustClose() const { return m_mustClose; }

    void sendJson(const nlohmann::json& value, int status = 200);
    void sendBytes(const std::string& bytes, const std::string& contentType);
    void sendText(const std::string& text);
    // `length` bytes of the open file `fd` from `first`, read as the reply
    // is sent; the reply owns and closes `fd`.
    void sendFile(int status, int fd, std::int64_t first, std::int64_t length, const std::string& contentType);
    void sendError(int status, const std::string& message);

    // Typed members of a JSON object: a missing required member or a
    // member of another type is a 400.
    static std::string stringMember(const nlohmann::json& object, const std::string& key);
    static std::optional<std::string> optionalString(const nlohmann::json& object, const std::string& key);
    static bool boolMember(const nlohmann::json& object, const std::string& key, std::optional<bool> fallback = {});
    static std::int64_t intMember(const nlohmann::json& object, const std::string& key,
                                  std::optional<std::int64_t> fallback = {});
    static std::vector<std::string> stringArrayMember(const nlohmann::json& object, const std::string& key);

    // A body's text as a JSON object; 400 when malformed or not an object.
    static nlohmann::json parseJsonObject(const std::string& text);
    static std::string dump(const nlohmann::json& value);

private:
    ServerContext& m_context;
    const httplib::Request& m_request;
    httplib::Response& m_response;
    const httplib::ContentReader* m_reader;
    std::string m_body;
    bool m_bodyConsumed = false;
    bool m_bodyTooLarge = false;
    bool m_mustClose = false;
};
