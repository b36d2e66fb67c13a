// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <ZYRController/BTimings.h>
#include <ZYRModel/MFileTransferItem.h>

#include <QPointer>
#include <QString>
#include <QThread>
#include <atomic>
#include <memory>

class QFile;
class QTimer;

namespace Trelan::Oku::ZYRController {

class BDownloadFileHandler;
class BReplyHandlerBase;

/// Moves one file, up or down, in a thread of its own. The worker reads and
/// writes only its own copy of the record; the queue's record pointer is
/// passed back in the signals and never touched here. A download goes into
/// "<local path>.zyr" and replaces the target in one rename once its bytes
/// have the size the record expects and the digest the server gave, so an
/// interrupted one resumes from the partial file's size and wrong bytes never
/// reach the target. The worker deletes itself through its finished()
/// signal, which the queue connects to deleteLater().
class ZYRCONTROLLER_EXPORT BFileTransferWorker : public QThread {
    Q_OBJECT
public:
    static constexpr int MaxRemoteInfoAttempts = 5;
    static constexpr const char* PartialSuffix = ".zyr";

    BFileTransferWorker(Trelan::Oku::ZYRModel::MFileTransferItem* item,
                        const Trelan::Oku::ZYRModel::MFileTransferItem& copy, const QString& accessToken);
    ~BFileTransferWorker() override;

    /// Intervals used by this worker (the queue passes its own).
    void setTimings(const BTimings& timings);

    /// Ends the transfer. A stopped download deletes its partial file; a
    /// stopped upload leaves the local file alone. Safe from any thread.
    void stop();

    Trelan::Oku::ZYRModel::MFileTransferItem* getItem() const;
    /// The worker's own copy; read it only after the thread has finished.
    const Trelan::Oku::ZYRModel::MFileTransferItem& getItemCopy() const;

    // Reply callbacks, called on the worker thread through BActionFinishedCaller.
    virtual void onDownloadFinished(BReplyHandlerBase* handler);
    virtual void onDownloadProgress(qint64 bytesReceived, qint64 bytesTotal);
    virtual void onUploadFinished(BReplyHandlerBase* handler);
    virtual void onUploadProgress(qint64 bytesSent, qint64 bytesTotal);
    virtual void onQueryRemoteInfoFinished(BReplyHandlerBase* handler);

Q_SIGNALS:
    void transferProgress(Trelan::Oku::ZYRModel::MFileTransferItem* item, qint64 bytesTransferedOffset,
                          qint64 bytesTransfered, qint64 bytesTotal);
    void transferFinished(Trelan::Oku::ZYRController::BFileTransferWorker* worker,
                          Trelan::Oku::ZYRModel::MFileTransferItem* item, int status, QString fileId);
    void cacheFile(QString fileId, QString digest, QString localPath);
    /// Why the transfer failed (an MFileTransferItem::FailureReason); sent
    /// just before each transferFinished() that reports Failed.
    void transferFailed(Trelan::Oku::ZYRModel::MFileTransferItem* item, int reason);

public Q_SLOTS:
    void slotTimeout();

protected:
    void run() override;

    // The steps of run(), for run() and for tests that drive one step.
    /// Prepares the worker's thread-side objects; call first in run().
    void prepareRun();
    bool startDownload();
    bool startUpload(qint64 offset, qint64 expectedSize);
    /// Asks the service how much of the upload it holds; the answer decides
    /// where the upload resumes. Gives up after MaxRemoteInfoAttempts.
    bool queryRemoteInfo();
    /// Closes (and after stop() deletes) the file, cancels a request still in
    /// flight and sends the final report.
    void finishRun();

private:
    void report(Trelan::Oku::ZYRModel::MFileTransferItem::TransferStatus status, const QString& fileId,
                Trelan::Oku::ZYRModel::MFileTransferItem::FailureReason reason
                = Trelan::Oku::ZYRModel::MFileTransferItem::NoFailure);
    /// Judges the partial file once the answer ended (or went silent) and
    /// puts it in place when it is right.
    Trelan::Oku::ZYRModel::MFileTransferItem::FailureReason concludeDownload(BDownloadFileHandler* handler,
                                                                             bool answerEnded);
    bool replaceTarget();
    void dropPartialFile();
    void restartInactivityTimer();
    void endLoop();

    Trelan::Oku::ZYRModel::MFileTransferItem* m_item;
    Trelan::Oku::ZYRModel::MFileTransferItem m_copy;
    QString m_accessToken;
    int m_remoteInfoAttempts = 0;
    std::unique_ptr<QFile> m_file;
    qint64 m_startOffset = 0;
    /// The size a download must reach: the record's when the worker started.
    qint64 m_expectedSize = 0;
    std::unique_ptr<QTimer> m_inactivityTimer;
    std::atomic<bool> m_deleteOnStop{ false };
    qint64 m_lastReported = 0;
    BTimings m_timings;
    QPointer<BReplyHandlerBase> m_activeHandler;
};

} // namespace Trelan::Oku::ZYRController
