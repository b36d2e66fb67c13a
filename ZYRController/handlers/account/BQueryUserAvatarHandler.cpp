// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryUserAvatarHandler.h>

namespace Trelan::Oku::ZYRController {

BQueryUserAvatarHandler::BQueryUserAvatarHandler(BActionFinishedCallerBase* caller, const QString& userId)
    : BReplyHandlerBase(caller), m_userId(userId)
{
}

BQueryUserAvatarHandler::~BQueryUserAvatarHandler() = default;

QString BQueryUserAvatarHandler::userId() const
{
    return m_userId;
}

QByteArray BQueryUserAvatarHandler::avatarData() const
{
    return m_avatarData;
}

void BQueryUserAvatarHandler::parseReply()
{
    m_avatarData = readBody();
}

} // namespace Trelan::Oku::ZYRController
