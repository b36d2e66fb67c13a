// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BUpdateShareLinkHandler.h>

namespace Trelan::Oku::ZYRController {

BUpdateShareLinkHandler::BUpdateShareLinkHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                                 QWeakPointer<ZYRModel::MFileShareLink> target)
    : BCreateShareLinkHandler(caller, workspaceId), m_target(std::move(target))
{
}

BUpdateShareLinkHandler::~BUpdateShareLinkHandler() = default;

QWeakPointer<ZYRModel::MFileShareLink> BUpdateShareLinkHandler::target() const
{
    return m_target;
}

} // namespace Trelan::Oku::ZYRController
