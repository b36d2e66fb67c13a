// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFileShareLink.h>

#include <QSharedPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of the create-share-link request: the "data" object of a 200
/// answer is the new link. Success: shareLink() is non-null. The update
/// request's handler derives from this one and reads its answer alike.
class ZYRCONTROLLER_EXPORT BCreateShareLinkHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    explicit BCreateShareLinkHandler(BActionFinishedCallerBase* caller, const QString& workspaceId = QString());
    ~BCreateShareLinkHandler() override;

    QString workspaceId() const;
    QSharedPointer<ZYRModel::MFileShareLink> shareLink() const;

protected:
    void parseReply() override;

private:
    QString m_workspaceId;
    QSharedPointer<ZYRModel::MFileShareLink> m_shareLink;
};

} // namespace Trelan::Oku::ZYRController
