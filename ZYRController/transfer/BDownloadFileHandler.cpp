// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BDownloadFileHandler.h>

#include <ZYRController/BActionFinishedCaller.h>

#include <QFileDevice>
#include <QLoggingCategory>
#include <QNetworkReply>

Q_LOGGING_CATEGORY(lcDownload, "zyr.controller.transfer.download", QtWarningMsg)

namespace Trelan::Oku::ZYRController {

BDownloadFileHandler::BDownloadFileHandler(BActionFinishedCallerBase* caller, QIODevice* target)
    : BReplyHandlerBase(caller), m_target(target)
{
}

qint64 BDownloadFileHandler::bytesWritten() const
{
    return m_bytesWritten;
}

bool BDownloadFileHandler::isWriteOk() const
{
    return m_writeOk;
}

void BDownloadFileHandler::slotReadyRead()
{
    drainReply();
}

void BDownloadFileHandler::slotDownloadProgress(qint64 bytesReceived, qint64 bytesTotal)
{
    if (caller())
        caller()->onDownloadProgress(bytesReceived, bytesTotal);
}

void BDownloadFileHandler::slotFinished()
{
    // Bytes that arrived together with the finish have not been announced
    // by readyRead yet.
    drainReply();
    BReplyHandlerBase::slotFinished();
}

void BDownloadFileHandler::drainReply()
{
    QNetworkReply* reply = getReply();
    // An aborted reply is closed and has nothing left to give.
    if (!reply || !reply->isOpen())
        return;
    // Only file content goes into the file. The body of an error answer
    // (404, 416, 500, ...) is a message; written into a partial file it
    // would become the first bytes of the next resumed download.
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const bool content = status == 200 || status == 206;
    // Drain everything buffered: the reply's buffer is unbounded, so leaving
    // bytes behind would make memory grow with the file size.
    char buffer[CopyBufferSize];
    for (;;) {
        const qint64 read = reply->read(buffer, CopyBufferSize);
        if (read <= 0)
            break;
        if (!content || !m_writeOk || !m_target)
            continue;
        if (m_target->write(buffer, read) != read) {
            m_writeOk = false;
            qCWarning(lcDownload) << "writing the download failed:" << m_target->errorString();
            continue;
        }
        m_bytesWritten += read;
    }
    if (auto* file = qobject_cast<QFileDevice*>(m_target))
        file->flush();
}

} // namespace Trelan::Oku::ZYRController
