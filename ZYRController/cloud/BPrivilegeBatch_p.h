// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BSyncWorker.h>
#include <ZYRModel/MFile.h>

#include <QList>
#include <QObject>
#include <QWeakPointer>

#include <functional>

namespace Trelan::Oku::ZYRController {

/// The privilege queries of a batch of nodes (the children of a listed
/// folder), at most InFlight out at a time: the next goes out when one is
/// answered, and done() ends when every node has been answered (or is gone).
/// Ten thousand replies made at once would cost a second and some hundred
/// MiB before the first is even sent, while QNetworkAccessManager serves at
/// most six at a time. Lives on the stack of the waiting function.
class BPrivilegeBatch : public QObject {
    Q_OBJECT
public:
    static constexpr int InFlight = 48;
    /// Sends the query of one node; its notifier, or null when nothing was sent.
    using Send = std::function<ISyncWorker*(const QSharedPointer<ZYRModel::MFile>&)>;

    BPrivilegeBatch(const QList<QSharedPointer<ZYRModel::MFile>>& files, Send send);
    ~BPrivilegeBatch() override;

    /// Sends the first queries; done() ends at once when there is nothing to ask.
    void start();
    ISyncWorker* done();

private:
    void sendNext();
    void onAnswered();

    QList<QWeakPointer<ZYRModel::MFile>> m_files;
    qsizetype m_next = 0;
    qsizetype m_answered = 0;
    Send m_send;
    BSyncWorker m_done;
};

} // namespace Trelan::Oku::ZYRController
