// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFileShareLink.h>

#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of the remove-share-links request. The body is not read: a 200
/// status is success. The workspace id and the links to be removed ride
/// along, so that the owner reports exactly those links.
class ZYRCONTROLLER_EXPORT BRemoveShareLinksHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BRemoveShareLinksHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                             const QList<QWeakPointer<ZYRModel::MFileShareLink>>& links);
    ~BRemoveShareLinksHandler() override;

    QString workspaceId() const;
    const QList<QWeakPointer<ZYRModel::MFileShareLink>>& sharesToRemove() const;

private:
    QString m_workspaceId;
    QList<QWeakPointer<ZYRModel::MFileShareLink>> m_links;
};

} // namespace Trelan::Oku::ZYRController
