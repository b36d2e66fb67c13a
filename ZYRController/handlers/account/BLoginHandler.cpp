// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BLoginHandler.h>

#include <ZYRModel/MToken.h>

namespace Trelan::Oku::ZYRController {

BLoginHandler::BLoginHandler(BActionFinishedCallerBase* caller) : BReplyHandlerBase(caller) { }

BLoginHandler::~BLoginHandler() = default;

ZYRModel::MToken* BLoginHandler::takeToken(bool release)
{
    return release ? m_token.release() : m_token.get();
}

void BLoginHandler::parseReply()
{
    // No envelope here: the root object itself is the token, and an object
    // the reader cannot use still gives a (blank) token.
    QJsonObject root;
    if (!readRootObject(root))
        return;
    auto token = std::make_unique<ZYRModel::MToken>();
    ZYRModel::MToken::fromJson(root, *token);
    m_token = std::move(token);
}

} // namespace Trelan::Oku::ZYRController
