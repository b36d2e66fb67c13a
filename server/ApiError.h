// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// An HTTP error answer. Route code throws it at the first failed check; the
// Router turns it into {"code":status,"message":...} so the checks read in
// the documented order without repeated reply plumbing.
class ApiError : public std::runtime_error {
public:
    ApiError(int status, const std::string& message);

    int status() const { return m_status; }
    const std::vector<std::pair<std::string, std::string>>& headers() const { return m_headers; }
    ApiError& withHeader(const std::string& name, const std::string& value);

    static ApiError badRequest(const std::string& message) { return ApiError(400, message); }
    static ApiError unauthorized(const std::string& message) { return ApiError(401, message); }
    static ApiError forbidden(const std::string& message) { return ApiError(403, message); }
    static ApiError notFound(const std::string& message) { return ApiError(404, message); }
    static ApiError conflict(const std::string& message) { return ApiError(409, message); }

private:
    int m_status;
    std::vector<std::pair<std::string, std::string>> m_headers;
};
