// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QSharedPointer>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of a copy or move request ({"data": {"success": [file, ...]}}).
/// Only the first copied node is read: it becomes file() and the one entry
/// of files(). The request's folders, files and move flag ride along.
/// Success: file() is non-null.
class ZYRCONTROLLER_EXPORT BCopyFilesHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BCopyFilesHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                      QWeakPointer<ZYRModel::MFile> sourceParent, QWeakPointer<ZYRModel::MFile> targetParent,
                      const QList<QWeakPointer<ZYRModel::MFile>>& files, bool move);
    ~BCopyFilesHandler() override;

    QString workspaceId() const;
    QWeakPointer<ZYRModel::MFile> sourceParent() const;
    QWeakPointer<ZYRModel::MFile> targetParent() const;
    /// The nodes the request named.
    const QList<QWeakPointer<ZYRModel::MFile>>& filesToCopy() const;
    bool isMove() const;

    /// The first resulting node; null on failure.
    QSharedPointer<ZYRModel::MFile> file() const;
    /// The resulting nodes (at most the one above).
    const QList<QSharedPointer<ZYRModel::MFile>>& files() const;

protected:
    void parseReply() override;

private:
    QString m_workspaceId;
    QWeakPointer<ZYRModel::MFile> m_sourceParent;
    QWeakPointer<ZYRModel::MFile> m_targetParent;
    QList<QWeakPointer<ZYRModel::MFile>> m_filesToCopy;
    bool m_move;
    QSharedPointer<ZYRModel::MFile> m_file;
    QList<QSharedPointer<ZYRModel::MFile>> m_files;
};

} // namespace Trelan::Oku::ZYRController
