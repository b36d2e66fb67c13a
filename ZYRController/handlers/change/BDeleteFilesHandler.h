// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of a delete request ({"successItems": [...]}): it worked when at
/// least one item was deleted. The folder and the files of the request ride
/// along for the owner.
class ZYRCONTROLLER_EXPORT BDeleteFilesHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BDeleteFilesHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                        QWeakPointer<ZYRModel::MFile> parent, const QList<QWeakPointer<ZYRModel::MFile>>& files);
    ~BDeleteFilesHandler() override;

    QString workspaceId() const;
    QWeakPointer<ZYRModel::MFile> parent() const;
    const QList<QWeakPointer<ZYRModel::MFile>>& filesToDelete() const;
    bool isSuccess() const;

protected:
    void parseReply() override;

private:
    QString m_workspaceId;
    QWeakPointer<ZYRModel::MFile> m_parent;
    QList<QWeakPointer<ZYRModel::MFile>> m_filesToDelete;
    bool m_success = false;
};

} // namespace Trelan::Oku::ZYRController
