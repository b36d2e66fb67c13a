// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "BenchReplyHandler.h"

#include <QFileDevice>

BenchReplyHandler::BenchReplyHandler(std::function<void(const Result&)> done, QFileDevice* sink, qint64 chunkSize)
    : m_done(std::move(done)), m_sink(sink), m_buffer(chunkSize, Qt::Uninitialized)
{
}

void BenchReplyHandler::slotError(QNetworkReply::NetworkError error)
{
    m_result.error = error;
    m_result.errorString = m_reply->errorString();
}

void BenchReplyHandler::slotSslErrors(QList<QSslError>) { }

void BenchReplyHandler::slotReadyRead()
{
    drain();
}

void BenchReplyHandler::drain()
{
    if (!m_sink) {
        m_result.body += m_reply->readAll();
        return;
    }
    for (;;) {
        const qint64 n = m_reply->read(m_buffer.data(), m_buffer.size());
        if (n <= 0)
            break;
        if (m_sink->write(m_buffer.constData(), n) != n)
            m_result.writeOk = false;
        m_result.bytesWritten += n;
    }
    m_sink->flush();
}

void BenchReplyHandler::slotFinished()
{
    m_result.status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (m_reply->isOpen())
        drain();
    m_reply->deleteLater();
    m_done(m_result);
    deleteLater();
}

void BenchReplyHandler::slotDownloadProgress(qint64, qint64) { }

void BenchReplyHandler::slotUploadProgress(qint64, qint64) { }

void BenchReplyHandler::slotCancel()
{
    if (m_reply)
        m_reply->abort();
}
