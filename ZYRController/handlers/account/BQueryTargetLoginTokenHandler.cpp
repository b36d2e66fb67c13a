// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryTargetLoginTokenHandler.h>

namespace Trelan::Oku::ZYRController {

BQueryTargetLoginTokenHandler::BQueryTargetLoginTokenHandler(BActionFinishedCallerBase* caller,
                                                             const QString& targetLink)
    : BReplyHandlerBase(caller), m_targetLink(targetLink)
{
}

BQueryTargetLoginTokenHandler::~BQueryTargetLoginTokenHandler() = default;

QString BQueryTargetLoginTokenHandler::loginToken() const
{
    return m_loginToken;
}

QString BQueryTargetLoginTokenHandler::targetLink() const
{
    return m_targetLink;
}

void BQueryTargetLoginTokenHandler::parseReply()
{
    m_loginToken = QString::fromUtf8(readBody());
}

} // namespace Trelan::Oku::ZYRController
