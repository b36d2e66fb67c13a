// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QSharedPointer>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of the rename request: the "data" object of a 200 answer is the
/// node as the service now has it. The renamed node and both names ride
/// along, so the owner can restore the old name on failure. Success:
/// file() is non-null.
class ZYRCONTROLLER_EXPORT BRenameFileHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BRenameFileHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                       QWeakPointer<ZYRModel::MFile> file, const QString& oldName, const QString& newName);
    ~BRenameFileHandler() override;

    QString workspaceId() const;
    /// The node that was renamed.
    QWeakPointer<ZYRModel::MFile> targetFile() const;
    QString oldName() const;
    QString newName() const;
    /// The node as the service reports it after renaming; null on failure.
    QSharedPointer<ZYRModel::MFile> file() const;

protected:
    void parseReply() override;

private:
    QString m_workspaceId;
    QWeakPointer<ZYRModel::MFile> m_targetFile;
    QString m_oldName;
    QString m_newName;
    QSharedPointer<ZYRModel::MFile> m_file;
};

} // namespace Trelan::Oku::ZYRController
