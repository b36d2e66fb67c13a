// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRInterface/INetworkReplyHandler.h>

#include <QSharedPointer>
#include <QStringList>
#include <QThread>

#include <mutex>

/// What one RecordingHandler saw, kept past the handler's own deletion and
/// readable from another thread than the handler's.
class HandlerRecord {
public:
    QStringList events() const;
    int finishedCount() const;
    QNetworkReply::NetworkError lastError() const;
    int statusCode() const;
    QByteArray body() const;
    QByteArray rawHeader(const QByteArray& name) const;
    QList<QPair<qint64, qint64>> downloadProgress() const;
    QList<QPair<qint64, qint64>> uploadProgress() const;
    bool destroyed() const;
    bool cancelled() const;
    /// The thread each slot ran on (the last one seen).
    QThread* slotThread() const;
    /// The reply's read buffer limit (0 = unbounded).
    qint64 readBufferSize() const;

private:
    friend class RecordingHandler;
    mutable std::mutex m_mutex;
    QStringList m_events;
    int m_finished = 0;
    QNetworkReply::NetworkError m_error = QNetworkReply::NoError;
    int m_status = -1;
    QByteArray m_body;
    QHash<QByteArray, QByteArray> m_headers;
    QList<QPair<qint64, qint64>> m_download;
    QList<QPair<qint64, qint64>> m_upload;
    bool m_destroyed = false;
    bool m_cancelled = false;
    QThread* m_thread = nullptr;
    qint64 m_readBufferSize = -1;
};

/// A reply handler that only records: every slot call in order, the status,
/// the body and the progress. Like every handler it deletes its reply and
/// itself when the reply has finished; slotCancel marks it and aborts.
class RecordingHandler : public Trelan::Oku::ZYRInterface::INetworkReplyHandler {
    Q_OBJECT
public:
    explicit RecordingHandler(QSharedPointer<HandlerRecord> record);
    ~RecordingHandler() override;

public Q_SLOTS:
    void slotError(QNetworkReply::NetworkError error) override;
    void slotSslErrors(QList<QSslError> sslErrors) override;
    void slotReadyRead() override;
    void slotFinished() override;
    void slotDownloadProgress(qint64 bytesReceived, qint64 bytesTotal) override;
    void slotUploadProgress(qint64 bytesSent, qint64 bytesTotal) override;
    void slotCancel() override;

private:
    void note(const QString& event);

    QSharedPointer<HandlerRecord> m_record;
};
