// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRService/zyrservice_export.h>

#include <QString>

namespace Trelan::Oku::ZYRInterface {
class INetworkReplyHandler;
}

namespace Trelan::Oku::ZYRService {

using Trelan::Oku::ZYRInterface::INetworkReplyHandler;

/// Account requests. Every function starts its request and returns at once;
/// the answer reaches \a handler, which deletes itself when it has finished.
/// Requests are sent on the calling thread.
class ZYRSERVICE_EXPORT ZYRAccount {
public:
    ZYRAccount() = delete;

    static void Login(const QString& account, const QString& password, INetworkReplyHandler* handler);
    static void GetUserInfo(const QString& token, INetworkReplyHandler* handler);
    static void GetUserAvatar(const QString& token, const QString& avatarPath, INetworkReplyHandler* handler);
    static void GetLoginToken(const QString& token, INetworkReplyHandler* handler);
};

} // namespace Trelan::Oku::ZYRService
