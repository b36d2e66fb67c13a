// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QSharedPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of the children listing of a folder named by id or by path
/// ({"data": {"items": [file, ...]}}). The request's workspace id, key and
/// key kind ride along for the owner, which places the answer in its tree.
class ZYRCONTROLLER_EXPORT BQueryChildrenByInfoHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BQueryChildrenByInfoHandler(BActionFinishedCallerBase* caller, const QString& workspaceId, const QString& key,
                                bool byPath);
    ~BQueryChildrenByInfoHandler() override;

    QString workspaceId() const;
    /// The folder's id, or its remote path when isByPath().
    QString key() const;
    bool isByPath() const;
    const QList<QSharedPointer<ZYRModel::MFile>>& children() const;

protected:
    void parseReply() override;

private:
    QString m_workspaceId;
    QString m_key;
    bool m_byPath;
    QList<QSharedPointer<ZYRModel::MFile>> m_children;
};

} // namespace Trelan::Oku::ZYRController
