// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

class QNetworkReply;

namespace Trelan::Oku::ZYRInterface {
class INetworkReplyHandler;
}

namespace Trelan::Oku::ZYRTest {

/// Hands \a reply to \a handler exactly as the service library does:
/// setReply(), then errorOccurred, sslErrors, readyRead, finished,
/// downloadProgress and uploadProgress to the handler's slots.
void wireReply(ZYRInterface::INetworkReplyHandler* handler, QNetworkReply* reply);

} // namespace Trelan::Oku::ZYRTest
