// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// A request body through every reader a route applies to one: each either
// takes it or answers 400, and nothing else may happen.

#include "AdminRoutes.h"
#include "ApiError.h"
#include "ApiRequest.h"
#include "DocumentChangeRoutes.h"
#include "ShareRoutes.h"

#include <cstdint>
#include <cstdlib>

namespace {
template <typename Read>
void expectAcceptedOr400(Read read)
{
    try {
        read();
    } catch (const ApiError& e) {
        if (e.status() != 400)
            std::abort();
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    nlohmann::json body;
    try {
        body = ApiRequest::parseJsonObject(std::string(reinterpret_cast<const char*>(data), size));
    } catch (const ApiError& e) {
        if (e.status() != 400)
            std::abort();
        return 0;
    }
    for (const char* key : { "account", "password", "parentId", "name", "targetFolderId", "id", "path" }) {
        expectAcceptedOr400([&] { ApiRequest::stringMember(body, key); });
        expectAcceptedOr400([&] { ApiRequest::optionalString(body, key); });
    }
    expectAcceptedOr400([&] { ApiRequest::boolMember(body, "move"); });
    expectAcceptedOr400([&] { ApiRequest::stringArrayMember(body, "fileIds"); });
    expectAcceptedOr400([&] { DocumentChangeRoutes::readAttributes(body); });
    expectAcceptedOr400([&] { ShareRoutes::readLinkSettings(body); });
    expectAcceptedOr400([&] { AdminRoutes::readFault(body); });
    ApiRequest::dump(body); // what an install report is stored as
    return 0;
}
