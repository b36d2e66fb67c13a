// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BCreateShareLinkHandler.h>

#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of the update-share-link request. The answer has the shape of
/// the create answer (the "data" object of a 200 answer is the link as
/// updated), so it is read by the same code. The link object being updated
/// rides along. Success: shareLink() is non-null.
class ZYRCONTROLLER_EXPORT BUpdateShareLinkHandler : public BCreateShareLinkHandler {
    Q_OBJECT
public:
    BUpdateShareLinkHandler(BActionFinishedCallerBase* caller, const QString& workspaceId = QString(),
                            QWeakPointer<ZYRModel::MFileShareLink> target = QWeakPointer<ZYRModel::MFileShareLink>());
    ~BUpdateShareLinkHandler() override;

    QWeakPointer<ZYRModel::MFileShareLink> target() const;

private:
    QWeakPointer<ZYRModel::MFileShareLink> m_target;
};

} // namespace Trelan::Oku::ZYRController
