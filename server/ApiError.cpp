// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ApiError.h"

ApiError::ApiError(int status, const std::string& message) : std::runtime_error(message), m_status(status) { }

ApiError& ApiError::withHeader(const std::string& name, const std::string& value)
{
    m_headers.emplace_back(name, value);
    return *this;
}
