// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QSharedPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of a workspace's favourites listing ({"items": [file, ...]});
/// the files get the workspace id the request was made for.
class ZYRCONTROLLER_EXPORT BQueryFavoriteFilesHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BQueryFavoriteFilesHandler(BActionFinishedCallerBase* caller, const QString& workspaceId);
    ~BQueryFavoriteFilesHandler() override;

    QString workspaceId() const;
    const QList<QSharedPointer<ZYRModel::MFile>>& files() const;

protected:
    void parseReply() override;

private:
    QString m_workspaceId;
    QList<QSharedPointer<ZYRModel::MFile>> m_files;
};

} // namespace Trelan::Oku::ZYRController
