// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRInterface/INetworkReplyHandler.h>

namespace Trelan::Oku::ZYRInterface {

INetworkReplyHandler::INetworkReplyHandler() : QObject(nullptr) { }

INetworkReplyHandler::~INetworkReplyHandler() = default;

QNetworkReply* INetworkReplyHandler::getReply()
{
    return m_reply;
}

void INetworkReplyHandler::setReply(QNetworkReply* reply)
{
    m_reply = reply;
}

} // namespace Trelan::Oku::ZYRInterface
