// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// Text clients send in paths, query values and headers: remote paths and
// names, comma-joined ids, Range and Authorization values, decimal
// numbers; and base64 from seed files. Each parser is held to what its
// callers rely on.

#include "ApiError.h"
#include "AuthService.h"
#include "CryptoUtil.h"
#include "Decimal.h"
#include "RemotePath.h"
#include "ShareRoutes.h"
#include "TransferRoutes.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {
void check(bool condition)
{
    if (!condition)
        std::abort();
}

void checkPath(const std::string& text)
{
    const auto segments = RemotePath::split(text);
    if (!segments)
        return;
    for (const auto& segment : *segments)
        check(RemotePath::isValidName(segment) && RemotePath::isValidUtf8(segment));
    check(RemotePath::split(RemotePath::join(*segments)) == segments); // one normal form
}

void checkRange(const std::string& text)
{
    try {
        const auto range = TransferRoutes::parseRange(text, true);
        check(range && range->first >= 0 && (range->last == -1 || range->last >= range->first));
    } catch (const ApiError& e) {
        check(e.status() == 400);
    }
}

void checkBase64(const std::string& text)
{
    const auto bytes = CryptoUtil::base64Decode(text);
    if (!bytes)
        return;
    const std::size_t padding = text.size() - std::min(text.size(), text.find_last_not_of('=') + 1);
    check(text.size() % 4 == 0 && bytes->size() == text.size() / 4 * 3 - padding);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    checkPath(text);
    for (const auto& id : ShareRoutes::splitIds(text))
        check(!id.empty() && id.find(',') == std::string::npos);
    checkRange(text);
    if (const auto token = AuthService::bearerToken(text))
        check(!token->empty() && token->find(' ') == std::string::npos);
    if (const auto value = Decimal::parse(text))
        check(Decimal::parse(std::to_string(*value)) == value);
    if (const auto value = Decimal::parseUnsigned(text))
        check(*value >= 0);
    checkBase64(text);
    return 0;
}
