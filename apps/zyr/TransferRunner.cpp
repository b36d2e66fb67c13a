// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "TransferRunner.h"

#include "CliError.h"
#include "CloudSession.h"
#include "Console.h"
#include "EventWait.h"

#include <ZYRController/BFileTransferManager.h>
#include <ZYRController/BTCloudManager.h>
#include <ZYRModel/MFileTransferItem.h>

#include <QDir>
#include <QJsonArray>
#include <QTimer>

#include <limits>

using namespace Qt::StringLiterals;

namespace Trelan::Oku::ZYRCli {

using ZYRController::BFileTransferManager;
using ZYRModel::MFileTransferItem;

namespace {

// How often the status area is redrawn and a stall is looked for.
constexpr int TickMs = 250;

bool isOutstanding(int status)
{
    return status == MFileTransferItem::Waiting || status == MFileTransferItem::Transferring
            || status == MFileTransferItem::Interrupted;
}

} // namespace

QJsonObject TransferRunner::Summary::toJson() const
{
    return { { u"finished"_s, finished },
             { u"failed"_s, failed },
             { u"bytes"_s, bytes },
             { u"seconds"_s, double(milliseconds) / 1000.0 } };
}

TransferRunner::TransferRunner(CloudSession& session, const Console& console)
    : m_session(session), m_console(console), m_view(console)
{
    BFileTransferManager* transfers = queue();
    connect(transfers, &BFileTransferManager::transferItemAdded, this, [this](MFileTransferItem* item) {
        track(item);
        onMoved();
    });
    connect(transfers, &BFileTransferManager::transferItemProgressUpdated, this, &TransferRunner::onMoved);
    connect(transfers, &BFileTransferManager::transferItemSizeUpdated, this, &TransferRunner::onMoved);
    connect(transfers, &BFileTransferManager::transferItemStatusUpdated, this, &TransferRunner::onStatus);
    m_lastMove.start();
}

BFileTransferManager* TransferRunner::queue() const
{
    return m_session.manager()->getFileTransferManager();
}

int TransferRunner::stallTimeoutMs() const
{
    // Longer than any silence of a healthy transfer: every request ends
    // within the request timeout, and then progress or a status follows.
    return 2 * m_session.requestTimeoutMs() + 3000;
}

int TransferRunner::adoptQueued()
{
    int adopted = 0;
    for (MFileTransferItem* item : queue()->getUnfinishedItems()) {
        if (isOutstanding(item->getStatus()) && !m_tracks.contains(item->getId())) {
            track(item);
            ++adopted;
        }
    }
    return adopted;
}

int TransferRunner::retryFailed()
{
    // One record at a time: retryFailedItems() would also put the running
    // records back to waiting, and they would then run twice.
    QList<MFileTransferItem*> failed;
    for (MFileTransferItem* item : queue()->getUnfinishedItems()) {
        if (item->getStatus() == MFileTransferItem::Failed)
            failed.append(item);
    }
    for (MFileTransferItem* item : std::as_const(failed)) {
        track(item);
        queue()->retryItem(item);
    }
    return int(failed.size());
}

int TransferRunner::failedEarlier() const
{
    int count = 0;
    for (const MFileTransferItem* item : queue()->getUnfinishedItems()) {
        if (item->getStatus() == MFileTransferItem::Failed && !m_tracks.contains(item->getId()))
            ++count;
    }
    return count;
}

void TransferRunner::track(MFileTransferItem* item)
{
    Track& entry = m_tracks[item->getId()];
    entry.name = displayName(*item);
    entry.download = item->getIsDownload();
    entry.size = item->getSize();
    entry.status = item->getStatus();
}

QString TransferRunner::displayName(const MFileTransferItem& item)
{
    if (!item.getIsDownload())
        return item.getRemotePath();
    const QString relative = QDir::current().relativeFilePath(item.getLocalPath());
    return relative.startsWith(u"../"_s) ? item.getLocalPath() : relative;
}

void TransferRunner::onMoved()
{
    m_lastMove.restart();
    EventWait::wake();
}

void TransferRunner::onStatus(MFileTransferItem* item, int, int newStatus)
{
    onMoved();
    auto entry = m_tracks.find(item->getId());
    if (entry == m_tracks.end())
        return;
    entry->status = newStatus;
    entry->size = item->getSize();
    if (newStatus == MFileTransferItem::Finished) {
        ++m_finished;
        m_bytesFinished += item->getSize();
        m_view.fileEnded(entry->download, entry->name, entry->size, true);
    } else if (newStatus == MFileTransferItem::Failed) {
        m_view.fileEnded(entry->download, entry->name, entry->size, false);
    }
    refresh();
}

int TransferRunner::outstanding() const
{
    int count = 0;
    for (const MFileTransferItem* item : queue()->getUnfinishedItems()) {
        if (isOutstanding(item->getStatus()) && m_tracks.contains(item->getId()))
            ++count;
    }
    return count;
}

void TransferRunner::refresh()
{
    QList<ProgressView::Running> running;
    ProgressView::Totals totals;
    totals.files = int(m_tracks.size());
    totals.filesDone = m_finished;
    totals.bytesDone = m_bytesFinished;
    for (const Track& entry : m_tracks)
        totals.bytes += entry.size;
    for (const MFileTransferItem* item : queue()->getUnfinishedItems()) {
        const auto entry = m_tracks.constFind(item->getId());
        if (entry == m_tracks.cend() || item->getStatus() != MFileTransferItem::Transferring)
            continue;
        running.append({ entry->name, item->getBytesCompleted(), item->getSize() });
        totals.bytesDone += item->getBytesCompleted();
    }
    totals.bytesPerSecond = queue()->getTransferByteSpeed();
    m_view.show(running, totals);
}

void TransferRunner::rebuildQueue()
{
    BFileTransferManager* transfers = queue();
    const QString userId = transfers->getUserId();
    const QString token = m_session.session().accessToken;
    // Leaving the user writes the records back, the transferring ones as
    // interrupted; coming back loads them and starts them again.
    transfers->setUserId(QString(), QString());
    transfers->setAccessToken(token);
    transfers->setUserId(userId, token);
}

TransferRunner::Summary TransferRunner::run()
{
    QElapsedTimer elapsed;
    elapsed.start();
    QTimer ticker;
    connect(&ticker, &QTimer::timeout, this, [this] {
        refresh();
        EventWait::wake();
    });
    ticker.start(TickMs);
    refresh();

    int finishedAtRebuild = -1;
    try {
        for (;;) {
            EventWait::until([this] { return outstanding() == 0 || m_lastMove.elapsed() > stallTimeoutMs(); },
                             std::numeric_limits<int>::max(), u"transferring"_s);
            if (outstanding() == 0 || finishedAtRebuild == m_finished)
                break;
            finishedAtRebuild = m_finished;
            m_view.close();
            const bool allSlots = queue()->runningWorkerCount() >= BFileTransferManager::MAX_THREAD_COUNT;
            m_console.note(u"The queue stopped moving (%1); rebuilding it from the store."_s.arg(
                    allSlots
                            ? u"all %1 slots are held by transfers that failed"_s.arg(
                                    BFileTransferManager::MAX_THREAD_COUNT)
                            : u"%1 transfers hold their slots without an answer"_s.arg(queue()->runningWorkerCount())));
            rebuildQueue();
            m_lastMove.restart();
        }
    } catch (const CliError& error) {
        m_view.close();
        if (error.code() != ExitCode::Interrupted)
            throw;
        throw CliError(ExitCode::Interrupted,
                       u"interrupted; %1 unfinished transfers stay queued ('zyr queue resume' finishes them)"_s.arg(
                               outstanding()));
    }
    m_view.close();

    Summary summary;
    summary.finished = m_finished;
    summary.bytes = m_bytesFinished;
    summary.milliseconds = elapsed.elapsed();
    for (const MFileTransferItem* item : queue()->getUnfinishedItems()) {
        if (m_tracks.contains(item->getId()))
            ++summary.failed;
    }
    return summary;
}

} // namespace Trelan::Oku::ZYRCli
