// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "RecordingHandler.h"

QStringList HandlerRecord::events() const
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    return m_events;
}

int HandlerRecord::finishedCount() const
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    return m_finished;
}

QNetworkReply::NetworkError HandlerRecord::lastError() const
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    return m_error;
}

int HandlerRecord::statusCode() const
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    return m_status;
}

QByteArray HandlerRecord::body() const
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    return m_body;
}

QByteArray HandlerRecord::rawHeader(const QByteArray& name) const
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    return m_headers.value(name.toLower());
}

QList<QPair<qint64, qint64>> HandlerRecord::downloadProgress() const
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    return m_download;
}

QList<QPair<qint64, qint64>> HandlerRecord::uploadProgress() const
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    return m_upload;
}

bool HandlerRecord::destroyed() const
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    return m_destroyed;
}

bool HandlerRecord::cancelled() const
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    return m_cancelled;
}

QThread* HandlerRecord::slotThread() const
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    return m_thread;
}

qint64 HandlerRecord::readBufferSize() const
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    return m_readBufferSize;
}

RecordingHandler::RecordingHandler(QSharedPointer<HandlerRecord> record) : m_record(std::move(record)) { }

RecordingHandler::~RecordingHandler()
{
    const std::lock_guard<std::mutex> locker(m_record->m_mutex);
    m_record->m_destroyed = true;
    m_record->m_events.append(QStringLiteral("destroyed"));
}

void RecordingHandler::note(const QString& event)
{
    const std::lock_guard<std::mutex> locker(m_record->m_mutex);
    m_record->m_events.append(event);
    m_record->m_thread = QThread::currentThread();
}

void RecordingHandler::slotError(QNetworkReply::NetworkError error)
{
    note(QStringLiteral("error"));
    const std::lock_guard<std::mutex> locker(m_record->m_mutex);
    m_record->m_error = error;
}

void RecordingHandler::slotSslErrors(QList<QSslError>)
{
    note(QStringLiteral("sslErrors"));
}

void RecordingHandler::slotReadyRead()
{
    // Drained on every call, as a download handler must.
    const QByteArray data = m_reply->readAll();
    const std::lock_guard<std::mutex> locker(m_record->m_mutex);
    m_record->m_body += data;
    if (m_record->m_events.isEmpty() || m_record->m_events.constLast() != QLatin1String("readyRead"))
        m_record->m_events.append(QStringLiteral("readyRead"));
}

void RecordingHandler::slotFinished()
{
    note(QStringLiteral("finished"));
    QNetworkReply* reply = getReply();
    {
        const std::lock_guard<std::mutex> locker(m_record->m_mutex);
        ++m_record->m_finished;
        m_record->m_readBufferSize = reply->readBufferSize();
        m_record->m_status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (reply->isOpen()) // an aborted reply is closed
            m_record->m_body += reply->readAll();
        for (const auto& pair : reply->rawHeaderPairs())
            m_record->m_headers.insert(pair.first.toLower(), pair.second);
    }
    reply->deleteLater();
    deleteLater();
}

void RecordingHandler::slotDownloadProgress(qint64 bytesReceived, qint64 bytesTotal)
{
    const std::lock_guard<std::mutex> locker(m_record->m_mutex);
    m_record->m_download.append({ bytesReceived, bytesTotal });
}

void RecordingHandler::slotUploadProgress(qint64 bytesSent, qint64 bytesTotal)
{
    const std::lock_guard<std::mutex> locker(m_record->m_mutex);
    m_record->m_upload.append({ bytesSent, bytesTotal });
}

void RecordingHandler::slotCancel()
{
    if (!m_reply)
        return;
    {
        const std::lock_guard<std::mutex> locker(m_record->m_mutex);
        m_record->m_cancelled = true;
        m_record->m_events.append(QStringLiteral("cancel"));
    }
    m_reply->abort();
}
