// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ApiRequest.h"

#include "ApiError.h"
#include "Decimal.h"
#include "ObjectJson.h"
#include "RemotePath.h"
#include "ServerContext.h"

#include <algorithm>
#include <memory>
#include <vector>

#include <unistd.h>

using nlohmann::json;

namespace {
// A file being sent, shared by the reply's content provider; closed when
// the reply is done with it.
struct OpenFile {
    explicit OpenFile(int descriptor) : fd(descriptor) { }
    ~OpenFile() { ::close(fd); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    int fd;
    std::vector<char> buffer;
};
} // namespace

ApiRequest::ApiRequest(ServerContext& context, const httplib::Request& request, httplib::Response& response,
                       const httplib::ContentReader* reader)
    : m_context(context), m_request(request), m_response(response), m_reader(reader)
{
}

std::string ApiRequest::match(std::size_t index) const
{
    return index < m_request.matches.size() ? m_request.matches[index].str() : std::string();
}

bool ApiRequest::hasParam(const std::string& name) const
{
    return m_request.has_param(name);
}

std::string ApiRequest::param(const std::string& name) const
{
    return m_request.get_param_value(name);
}

std::string ApiRequest::requiredParam(const std::string& name) const
{
    if (!hasParam(name)) {
        throw ApiError::badRequest("missing parameter " + name);
    }
    return param(name);
}

std::int64_t ApiRequest::intParam(const std::string& name) const
{
    const auto value = Decimal::parse(requiredParam(name));
    if (!value) {
        throw ApiError::badRequest("parameter " + name + " is not a decimal integer");
    }
    return *value;
}

bool ApiRequest::boolParam(const std::string& name, bool defaultValue) const
{
    if (!hasParam(name)) {
        return defaultValue;
    }
    const std::string value = param(name);
    if (value == "true" || value == "1") {
        return true;
    }
    if (value == "false" || value == "0") {
        return false;
    }
    throw ApiError::badRequest("parameter " + name + " is not a boolean");
}

ApiRequest::NodeKey ApiRequest::nodeKey() const
{
    const bool hasId = hasParam("id");
    const bool hasPath = hasParam("path");
    if (hasId == hasPath) {
        throw ApiError::badRequest("give exactly one of id and path");
    }
    NodeKey key;
    if (hasId) {
        key.id = param("id");
        return key;
    }
    key.byPath = true;
    auto segments = RemotePath::split(param("path"));
    if (!segments) {
        throw ApiError::badRequest("invalid path");
    }
    key.segments = *segments;
    return key;
}

std::string ApiRequest::requireUser()
{
    const std::string header = m_request.get_header_value("Authorization");
    if (header.empty()) {
        throw ApiError::unauthorized("missing access token");
    }
    auto user = m_context.auth.authenticate(header);
    if (!user) {
        throw ApiError::unauthorized("invalid or expired access token");
    }
    return *user;
}

std::string ApiRequest::host() const
{
    const std::string header = m_request.get_header_value("Host");
    if (!header.empty()) {
        return header;
    }
    return m_context.options.host + ":" + std::to_string(m_context.port.load());
}

void ApiRequest::readBody()
{
    if (!m_reader || m_bodyConsumed) {
        return;
    }
    m_bodyConsumed = true;
    std::int64_t total = 0;
    const bool complete = (*m_reader)([&](const char* data, std::size_t length) {
        total += static_cast<std::int64_t>(length);
        if (!m_bodyTooLarge && m_body.size() + length <= MaxJsonBodyBytes) {
            m_body.append(data, length);
        } else {
            m_bodyTooLarge = true;
            m_body.clear();
        }
        return total <= MaxDrainBytes;
    });
    if (!complete) {
        m_mustClose = true;
        m_bodyTooLarge = m_bodyTooLarge || total > static_cast<std::int64_t>(MaxJsonBodyBytes);
    }
}

json ApiRequest::jsonObject() const
{
    if (m_bodyTooLarge) {
        throw ApiError::badRequest("request body over 1 MiB");
    }
    return parseJsonObject(m_body);
}

json ApiRequest::parseJsonObject(const std::string& text)
{
    json value = json::parse(text, nullptr, false);
    if (value.is_discarded()) {
        throw ApiError::badRequest("malformed JSON");
    }
    if (!value.is_object()) {
        throw ApiError::badRequest("the body must be a JSON object");
    }
    return value;
}

bool ApiRequest::streamBody(const httplib::ContentReceiver& receiver)
{
    if (!m_reader || m_bodyConsumed) {
        return false;
    }
    m_bodyConsumed = true;
    const bool complete = (*m_reader)(receiver);
    if (!complete) {
        m_mustClose = true;
    }
    return complete;
}

void ApiRequest::discardBody()
{
    if (!bodyPending()) {
        return;
    }
    const auto declared = Decimal::parseUnsigned(m_request.get_header_value("Content-Length"));
    if (!declared || *declared > MaxDrainBytes) {
        // Not worth reading: answer and close instead.
        m_bodyConsumed = true;
        m_mustClose = true;
        return;
    }
    std::int64_t total = 0;
    streamBody([&](const char*, std::size_t n) {
        total += static_cast<std::int64_t>(n);
        return total <= MaxDrainBytes;
    });
}

std::string ApiRequest::dump(const json& value)
{
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

void ApiRequest::sendJson(const json& value, int status)
{
    m_response.status = status;
    m_response.set_content(dump(value), JsonContentType);
}

void ApiRequest::sendBytes(const std::string& bytes, const std::string& contentType)
{
    m_response.status = 200;
    m_response.set_content(bytes, contentType);
}

void ApiRequest::sendText(const std::string& text)
{
    m_response.status = 200;
    m_response.set_content(text, "text/plain; charset=utf-8");
}

void ApiRequest::sendFile(int status, int fd, std::int64_t first, std::int64_t length, const std::string& contentType)
{
    auto file = std::make_shared<OpenFile>(fd);
    m_response.status = status;
    if (length <= 0) {
        m_response.set_content("", contentType);
        return;
    }
    const ServerContext& context = m_context;
    m_response.set_content_provider(
            static_cast<std::size_t>(length), contentType,
            [file, first, &context](std::size_t offset, std::size_t remaining, httplib::DataSink& sink) {
                file->buffer.resize(std::min(remaining, FileChunkBytes));
                const ssize_t n = ::pread(file->fd, file->buffer.data(), file->buffer.size(),
                                          static_cast<off_t>(first + static_cast<std::int64_t>(offset)));
                if (n <= 0 || context.stopping) {
                    return false;
                }
                return sink.write(file->buffer.data(), static_cast<std::size_t>(n));
            });
}

void ApiRequest::sendError(int status, const std::string& message)
{
    sendJson(ObjectJson::error(status, message), status);
    if (status == 401) {
        // A 401 names the scheme it wants (RFC 9110, 11.6.1); "error" only
        // when a token came and was refused (RFC 6750, 3).
        m_response.set_header("WWW-Authenticate",
                              m_request.has_header("Authorization")
                                      ? R"(Bearer realm="zyr-cloud", error="invalid_token")"
                                      : R"(Bearer realm="zyr-cloud")");
    }
}

std::string ApiRequest::stringMember(const json& object, const std::string& key)
{
    auto value = optionalString(object, key);
    if (!value) {
        throw ApiError::badRequest("missing member " + key);
    }
    return *value;
}

std::optional<std::string> ApiRequest::optionalString(const json& object, const std::string& key)
{
    auto it = object.find(key);
    if (it == object.end()) {
        return std::nullopt;
    }
    if (!it->is_string()) {
        throw ApiError::badRequest("member " + key + " must be a string");
    }
    return it->get<std::string>();
}

bool ApiRequest::boolMember(const json& object, const std::string& key, std::optional<bool> fallback)
{
    auto it = object.find(key);
    if (it == object.end()) {
        if (!fallback) {
            throw ApiError::badRequest("missing member " + key);
        }
        return *fallback;
    }
    if (!it->is_boolean()) {
        throw ApiError::badRequest("member " + key + " must be a boolean");
    }
    return it->get<bool>();
}

std::int64_t ApiRequest::intMember(const json& object, const std::string& key, std::optional<std::int64_t> fallback)
{
    auto it = object.find(key);
    if (it == object.end()) {
        if (!fallback) {
            throw ApiError::badRequest("missing member " + key);
        }
        return *fallback;
    }
    if (!it->is_number_integer()) {
        throw ApiError::badRequest("member " + key + " must be an integer");
    }
    return it->get<std::int64_t>();
}

std::vector<std::string> ApiRequest::stringArrayMember(const json& object, const std::string& key)
{
    auto it = object.find(key);
    if (it == object.end()) {
        throw ApiError::badRequest("missing member " + key);
    }
    if (!it->is_array()) {
        throw ApiError::badRequest("member " + key + " must be an array");
    }
    std::vector<std::string> result;
    for (const auto& element : *it) {
        if (!element.is_string()) {
            throw ApiError::badRequest("member " + key + " must hold strings");
        }
        result.push_back(element.get<std::string>());
    }
    return result;
}
