// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BDownloadFileHandler.h>

#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BBackgroundSha256_p.h>

#include <QFile>
#include <QLoggingCategory>
#include <QNetworkReply>

Q_LOGGING_CATEGORY(lcDownload, "zyr.controller.transfer.download", QtWarningMsg)

namespace Trelan::Oku::ZYRController {

namespace {

// "bytes <first>-<last>/<size>" (size "*" when unknown): false for any other form.
bool parseContentRange(const QByteArray& header, qint64& first, qint64& size)
{
    const QByteArray value = header.trimmed();
    if (!value.startsWith("bytes "))
        return false;
    const qsizetype dash = value.indexOf('-');
    const qsizetype slash = value.indexOf('/');
    if (dash < 0 || slash < dash)
        return false;
    bool firstOk = false;
    bool lastOk = false;
    first = value.mid(6, dash - 6).trimmed().toLongLong(&firstOk);
    const qint64 last = value.mid(dash + 1, slash - dash - 1).trimmed().toLongLong(&lastOk);
    const QByteArray total = value.mid(slash + 1).trimmed();
    bool sizeOk = total == "*";
    size = sizeOk ? -1 : total.toLongLong(&sizeOk);
    return firstOk && lastOk && sizeOk && first >= 0 && last >= first;
}

} // namespace

BDownloadFileHandler::BDownloadFileHandler(BActionFinishedCallerBase* caller, QIODevice* target)
    : BReplyHandlerBase(caller), m_target(target)
{
}

BDownloadFileHandler::~BDownloadFileHandler() = default;

void BDownloadFileHandler::setExpectedFile(qint64 resumeOffset, qint64 fileSize)
{
    m_resumeOffset = resumeOffset;
    m_fileSize = fileSize;
}

qint64 BDownloadFileHandler::bytesWritten() const
{
    return m_bytesWritten;
}

bool BDownloadFileHandler::isWriteOk() const
{
    return m_writeOk;
}

qint64 BDownloadFileHandler::bodyOffset() const
{
    return m_bodyOffset;
}

qint64 BDownloadFileHandler::announcedSize() const
{
    return m_announcedSize;
}

bool BDownloadFileHandler::exceededSize() const
{
    return m_exceeded;
}

bool BDownloadFileHandler::digestMatches()
{
    if (m_digest.isEmpty())
        return true;
    if (m_hasher && m_result.isEmpty())
        m_result = m_hasher->hexResult();
    return m_result == m_digest;
}

void BDownloadFileHandler::slotReadyRead()
{
    drainReply();
}

void BDownloadFileHandler::slotDownloadProgress(qint64 bytesReceived, qint64 bytesTotal)
{
    if (QNetworkReply* reply = getReply())
        decide(reply);
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

void BDownloadFileHandler::decide(QNetworkReply* reply)
{
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (m_decided || !status.isValid())
        return;
    m_decided = true;
    if (status.toInt() == 206) {
        qint64 first = -1;
        const bool parsed = parseContentRange(reply->rawHeader("Content-Range"), first, m_announcedSize);
        // Without an expected file, a range is taken as it comes.
        if (m_resumeOffset >= 0 && (!parsed || first != m_resumeOffset)) {
            qCWarning(lcDownload) << "dropping a range that does not start at" << m_resumeOffset;
            return;
        }
        m_bodyOffset = qMax(qint64(0), first);
    } else if (status.toInt() == 200) {
        // The whole file, whatever was asked for.
        bool known = false;
        const qint64 length = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong(&known);
        m_announcedSize = known ? length : -1;
        if (m_resumeOffset > 0 && !emptyFile())
            return;
        m_bodyOffset = 0;
    } else {
        // An error's message written into a partial file would become the
        // first bytes of the next, resumed attempt.
        return;
    }
    // The digest is checked for an expected file only.
    m_digest = m_resumeOffset < 0 ? QByteArray() : reply->rawHeader("X-Digest").trimmed().toLower();
    if (m_digest.isEmpty())
        return;
    // A resumed file's kept beginning is read back by the hashing thread,
    // behind the writer, which only appends.
    auto* file = qobject_cast<QFile*>(m_target);
    if (m_bodyOffset > 0 && (!file || !file->flush())) {
        m_writeOk = false;
        return;
    }
    m_hasher = std::make_unique<BBackgroundSha256>(file ? file->fileName() : QString(), m_bodyOffset);
}

bool BDownloadFileHandler::emptyFile()
{
    auto* file = qobject_cast<QFileDevice*>(m_target);
    if (file && file->flush() && file->resize(0))
        return true;
    qCWarning(lcDownload) << "cannot empty the partial file for a whole-file answer";
    m_writeOk = false;
    return false;
}

void BDownloadFileHandler::drainReply()
{
    QNetworkReply* reply = getReply();
    // An aborted reply is closed and has nothing left to give.
    if (!reply || !reply->isOpen())
        return;
    decide(reply);
    const bool content = m_bodyOffset >= 0 && m_writeOk && m_target;
    // Drain everything buffered: the reply's buffer is unbounded, so leaving
    // bytes behind would make memory grow with the file size.
    // A checked download reads straight into the hasher's pieces: they are
    // larger, and hashed on its thread after they are written.
    char local[CopyBufferSize];
    for (;;) {
        char* buffer = m_hasher ? m_hasher->piece() : local;
        qint64 read = reply->read(buffer, m_hasher ? BBackgroundSha256::PieceSize : CopyBufferSize);
        if (read <= 0)
            break;
        if (!content || !m_writeOk)
            continue;
        if (m_fileSize >= 0 && m_bodyOffset + m_bytesWritten + read > m_fileSize) {
            m_exceeded = true;
            read = qMax(qint64(0), m_fileSize - m_bodyOffset - m_bytesWritten);
        }
        if (m_target->write(buffer, read) != read) {
            m_writeOk = false;
            qCWarning(lcDownload) << "writing the download failed:" << m_target->errorString();
            continue;
        }
        if (m_hasher)
            m_hasher->submit(read);
        m_bytesWritten += read;
    }
    if (auto* file = qobject_cast<QFileDevice*>(m_target))
        file->flush();
}

} // namespace Trelan::Oku::ZYRController
