// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QSharedPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of a folder's children listing ({"items": [file, ...]}). Every
/// child gets the workspace id the request was made for. The folder is an
/// optional shared copy carried for the transfer queue's folder download;
/// the handler keeps it alive until it is destroyed.
class ZYRCONTROLLER_EXPORT BQueryChildrenHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BQueryChildrenHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                          const QSharedPointer<ZYRModel::MFile>& folder = QSharedPointer<ZYRModel::MFile>());
    ~BQueryChildrenHandler() override;

    QString workspaceId() const;
    QSharedPointer<ZYRModel::MFile> folder() const;
    const QList<QSharedPointer<ZYRModel::MFile>>& children() const;

protected:
    void parseReply() override;

private:
    QString m_workspaceId;
    QSharedPointer<ZYRModel::MFile> m_folder;
    QList<QSharedPointer<ZYRModel::MFile>> m_children;
};

} // namespace Trelan::Oku::ZYRController
