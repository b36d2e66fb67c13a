// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFileShareLink.h>

#include <QSharedPointer>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of the update-share-link request: the "data" object of a 200
/// answer is the link as updated. The link object being updated rides
/// along. Success: shareLink() is non-null.
class ZYRCONTROLLER_EXPORT BUpdateShareLinkHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BUpdateShareLinkHandler(BActionFinishedCallerBase* caller, const QString& workspaceId = QString(),
                            QWeakPointer<ZYRModel::MFileShareLink> target = QWeakPointer<ZYRModel::MFileShareLink>());
    ~BUpdateShareLinkHandler() override;

    QString workspaceId() const;
    QWeakPointer<ZYRModel::MFileShareLink> target() const;
    QSharedPointer<ZYRModel::MFileShareLink> shareLink() const;

protected:
    void parseReply() override;

private:
    QString m_workspaceId;
    QWeakPointer<ZYRModel::MFileShareLink> m_target;
    QSharedPointer<ZYRModel::MFileShareLink> m_shareLink;
};

} // namespace Trelan::Oku::ZYRController
