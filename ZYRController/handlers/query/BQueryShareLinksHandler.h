// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFileShareLink.h>

#include <QSharedPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of a workspace's share-link listing ({"items": [link, ...]}).
/// The workspace id rides along for the owner's signal.
class ZYRCONTROLLER_EXPORT BQueryShareLinksHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    explicit BQueryShareLinksHandler(BActionFinishedCallerBase* caller, const QString& workspaceId = QString());
    ~BQueryShareLinksHandler() override;

    QString workspaceId() const;
    const QList<QSharedPointer<ZYRModel::MFileShareLink>>& shareLinks() const;

protected:
    void parseReply() override;

private:
    QString m_workspaceId;
    QList<QSharedPointer<ZYRModel::MFileShareLink>> m_shareLinks;
};

} // namespace Trelan::Oku::ZYRController
