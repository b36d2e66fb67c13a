// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BFileSimpleResultHandler.h>

namespace Trelan::Oku::ZYRController {

BFileSimpleResultHandler::BFileSimpleResultHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                                   const QList<QWeakPointer<ZYRModel::MFile>>& files)
    : BSimpleResultHandler(caller), m_workspaceId(workspaceId), m_files(files)
{
}

BFileSimpleResultHandler::~BFileSimpleResultHandler() = default;

QString BFileSimpleResultHandler::workspaceId() const
{
    return m_workspaceId;
}

const QList<QWeakPointer<ZYRModel::MFile>>& BFileSimpleResultHandler::files() const
{
    return m_files;
}

} // namespace Trelan::Oku::ZYRController
