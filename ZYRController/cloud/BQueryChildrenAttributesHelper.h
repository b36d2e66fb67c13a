// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <ZYRModel/MFile.h>

#include <QList>
#include <QMap>
#include <QObject>
#include <QString>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

class BReplyHandlerBase;
class BTCloudManager;

/// Fetches the key/value attributes of every child of a folder, one request
/// per child, sets them on the children, and reports once, when every child
/// of that folder has answered (a failed answer counts; the child keeps its
/// attributes). Children whose attributes are known (status flag 32) are not
/// asked. Made and deleted by the cloud manager, which supplies the token.
class ZYRCONTROLLER_EXPORT BQueryChildrenAttributesHelper : public QObject {
    Q_OBJECT
public:
    /// \a manager is not owned.
    explicit BQueryChildrenAttributesHelper(BTCloudManager* manager);
    ~BQueryChildrenAttributesHelper() override;

    /// Starts the queries of \a folder's children; false when nothing was
    /// started (no folder, no children). Asking again for a folder whose
    /// answers are still coming restarts its count.
    bool queryChildrenAttributes(QWeakPointer<Trelan::Oku::ZYRModel::MFile> folder);

    /// Finished function of its attribute queries: \a handler is a
    /// BQueryAttributesHandler carrying the child it was made for.
    virtual void onQueryAttributesFinished(BReplyHandlerBase* handler);

Q_SIGNALS:
    /// Every child of \a folder has answered.
    void childrenAttributesQueried(Trelan::Oku::ZYRModel::MWeakFile folder);

private:
    struct PendingFolder {
        QWeakPointer<ZYRModel::MFile> folder;
        qint32 answered = 0;
    };

    void queryChildAttributes(const QSharedPointer<ZYRModel::MFile>& child);
    qsizetype indexOfAnswered(const ZYRModel::MFile* child) const;

    BTCloudManager* m_cloudManager;
    QMap<QString, PendingFolder> m_pendingFolders;
    QList<QWeakPointer<ZYRModel::MFile>> m_answeredChildren;
};

} // namespace Trelan::Oku::ZYRController
