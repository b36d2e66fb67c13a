// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryUserInfoHandler.h>

#include <ZYRModel/MUser.h>

namespace Trelan::Oku::ZYRController {

BQueryUserInfoHandler::BQueryUserInfoHandler(BActionFinishedCallerBase* caller) : BReplyHandlerBase(caller) { }

BQueryUserInfoHandler::~BQueryUserInfoHandler() = default;

ZYRModel::MUser* BQueryUserInfoHandler::takeUser(bool release)
{
    return release ? m_user.release() : m_user.get();
}

void BQueryUserInfoHandler::parseReply()
{
    QJsonObject root;
    if (!readRootObject(root))
        return;
    auto user = std::make_unique<ZYRModel::MUser>();
    ZYRModel::MUser::fromJson(root, *user);
    m_user = std::move(user);
}

} // namespace Trelan::Oku::ZYRController
