// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ScriptedReply.h>

#include <QMetaObject>
#include <QNetworkRequest>

#include <cstring>

namespace Trelan::Oku::ZYRTest {

ScriptedReply::ScriptedReply(QObject* parent) : QNetworkReply(parent)
{
    setOperation(QNetworkAccessManager::GetOperation);
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

ScriptedReply::ScriptedReply(int statusCode, const QByteArray& body, QObject* parent) : ScriptedReply(parent)
{
    m_statusCode = statusCode;
    m_body = body;
}

ScriptedReply::~ScriptedReply() = default;

void ScriptedReply::setStatusCode(int statusCode)
{
    m_statusCode = statusCode;
}

void ScriptedReply::setHeader(const QByteArray& name, const QByteArray& value)
{
    m_headers.append({ name, value });
}

void ScriptedReply::setBody(const QByteArray& body)
{
    m_body = body;
}

void ScriptedReply::setChunkSize(qint64 bytes)
{
    m_chunkSize = bytes;
}

void ScriptedReply::setNetworkError(QNetworkReply::NetworkError error, const QString& text)
{
    m_error = error;
    m_errorText = text.isEmpty() ? QStringLiteral("scripted network error %1").arg(int(error)) : text;
}

void ScriptedReply::setUploadSize(qint64 bytes)
{
    m_uploadSize = bytes;
}

void ScriptedReply::start()
{
    if (m_phase != Phase::Idle)
        return;
    m_phase = m_uploadSize > 0 ? Phase::Upload : Phase::Headers;
    scheduleStep();
}

bool ScriptedReply::isStarted() const
{
    return m_phase != Phase::Idle;
}

bool ScriptedReply::wasAborted() const
{
    return m_aborted;
}

void ScriptedReply::abort()
{
    if (isFinished())
        return;
    m_aborted = true;
    m_phase = Phase::Done; // drops the steps still queued
    m_buffer.clear();
    QNetworkReply::close();
    setAttribute(QNetworkRequest::HttpStatusCodeAttribute, QVariant());
    setError(QNetworkReply::OperationCanceledError, QStringLiteral("Operation canceled"));
    Q_EMIT errorOccurred(QNetworkReply::OperationCanceledError);
    setFinished(true);
    Q_EMIT finished();
}

bool ScriptedReply::isSequential() const
{
    return true;
}

qint64 ScriptedReply::bytesAvailable() const
{
    return m_buffer.size() + QNetworkReply::bytesAvailable();
}

qint64 ScriptedReply::readData(char* data, qint64 maxSize)
{
    const qint64 count = qMin<qint64>(maxSize, m_buffer.size());
    if (count <= 0)
        return 0;
    std::memcpy(data, m_buffer.constData(), static_cast<size_t>(count));
    m_buffer.remove(0, count);
    return count;
}

void ScriptedReply::scheduleStep()
{
    // `this` as context: steps still queued when the reply is deleted are dropped.
    QMetaObject::invokeMethod(
            this, [this] { step(); }, Qt::QueuedConnection);
}

void ScriptedReply::step()
{
    switch (m_phase) {
    case Phase::Idle:
    case Phase::Done:
        return;
    case Phase::Upload:
        Q_EMIT uploadProgress(m_uploadSize, m_uploadSize);
        m_phase = Phase::Headers;
        break;
    case Phase::Headers:
        if (m_statusCode > 0)
            setAttribute(QNetworkRequest::HttpStatusCodeAttribute, m_statusCode);
        for (const auto& header : std::as_const(m_headers))
            setRawHeader(header.first, header.second);
        Q_EMIT metaDataChanged();
        m_phase = m_body.isEmpty() ? Phase::Error : Phase::Body;
        break;
    case Phase::Body: {
        const qint64 remaining = m_body.size() - m_delivered;
        const qint64 piece = m_chunkSize > 0 ? qMin(m_chunkSize, remaining) : remaining;
        m_buffer.append(m_body.mid(m_delivered, piece));
        m_delivered += piece;
        if (m_delivered >= m_body.size())
            m_phase = Phase::Error;
        Q_EMIT readyRead();
        Q_EMIT downloadProgress(m_delivered, m_body.size());
        break;
    }
    case Phase::Error:
        m_phase = Phase::Finish;
        if (m_error != QNetworkReply::NoError) {
            setError(m_error, m_errorText);
            Q_EMIT errorOccurred(m_error);
            break;
        }
        [[fallthrough]];
    case Phase::Finish:
        m_phase = Phase::Done;
        setFinished(true);
        Q_EMIT finished();
        return;
    }
    // A slot may have aborted or finished the reply meanwhile.
    if (m_phase != Phase::Done)
        scheduleStep();
}

} // namespace Trelan::Oku::ZYRTest
