// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QMap>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

class BSyncWorker;
class ISyncWorker;

/// Handler of a file's privilege query ({"authorityList": [{"authorityId",
/// "role", "maxPrivilegeValue"}, ...]}). The first entry of the handler's
/// authority decides a privilege value, which privilegeTable() turns into
/// the privilege names the owner puts on the node. Files under the
/// top-level folder "应用数据" always get "view", "download" and "grant".
///
/// An owner that waits for the answer adds notifier() to its waiter and
/// calls notifyEnded() when it has applied the answer; a handler destroyed
/// without having ended (a cancelled request) ends it then.
class ZYRCONTROLLER_EXPORT BGetFilePrivilegeHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BGetFilePrivilegeHandler(BActionFinishedCallerBase* caller, const QString& authorityId,
                             QWeakPointer<ZYRModel::MFile> parent, QWeakPointer<ZYRModel::MFile> file);
    ~BGetFilePrivilegeHandler() override;

    QString authorityId() const;
    QWeakPointer<ZYRModel::MFile> parent() const;
    QWeakPointer<ZYRModel::MFile> file() const;

    /// The decoded privilege names; empty when nothing was decoded.
    const QList<QString>& privileges() const;
    /// False while the privileges are unset (no answer, an answer of the
    /// wrong shape, or the node gone); an empty list that was decoded is set.
    bool hasPrivileges() const;

    ISyncWorker* notifier() const;
    void notifyEnded();

    /// Threshold → privilege name, ascending. A value grants every name whose
    /// threshold it reaches; thresholds, not bit masks.
    static const QMap<qint32, QString>& privilegeTable();

protected:
    void parseReply() override;

private:
    bool isInApplicationData() const;
    void setPrivilegesFromValue(qint32 value);

    QString m_authorityId;
    QWeakPointer<ZYRModel::MFile> m_parent;
    QWeakPointer<ZYRModel::MFile> m_file;
    QList<QString> m_privileges;
    bool m_privilegesSet = false;
    BSyncWorker* m_notifier; // child object
};

} // namespace Trelan::Oku::ZYRController
