// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BFileInfoHandlerBase.h>

namespace Trelan::Oku::ZYRController {

BFileInfoHandlerBase::BFileInfoHandlerBase(BActionFinishedCallerBase* caller) : BReplyHandlerBase(caller) { }

BFileInfoHandlerBase::~BFileInfoHandlerBase() = default;

QSharedPointer<ZYRModel::MFile> BFileInfoHandlerBase::file() const
{
    return m_file;
}

void BFileInfoHandlerBase::parseReply()
{
    QJsonObject object;
    if (!readEnvelope(object))
        return;
    auto file = QSharedPointer<ZYRModel::MFile>::create();
    ZYRModel::MFile::fromJson(object, *file);
    m_file = file;
}

} // namespace Trelan::Oku::ZYRController
