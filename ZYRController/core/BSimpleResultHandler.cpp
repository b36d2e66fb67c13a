// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BSimpleResultHandler.h>

namespace Trelan::Oku::ZYRController {

BSimpleResultHandler::BSimpleResultHandler(BActionFinishedCallerBase* caller) : BReplyHandlerBase(caller) { }

BSimpleResultHandler::~BSimpleResultHandler() = default;

bool BSimpleResultHandler::isSuccess() const
{
    return m_success;
}

void BSimpleResultHandler::parseReply()
{
    m_success = false;
    QJsonObject root;
    if (!readRootObject(root))
        return;
    const QJsonValue result = root.value(QLatin1String("result"));
    m_success = result.isString() && result.toString().compare(QLatin1String("success"), Qt::CaseInsensitive) == 0;
}

} // namespace Trelan::Oku::ZYRController
