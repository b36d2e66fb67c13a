// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRController/BActionFinishedCallerBase.h>
#include <ZYRController/BReplyLogging_p.h>

#include <QJsonDocument>
#include <QNetworkRequest>

#include <cmath>

namespace Trelan::Oku::ZYRController {

Q_LOGGING_CATEGORY(lcReply, "zyr.controller.reply", QtWarningMsg)

namespace {

// The status is kept in 16 bits, as the handler's record has always held it.
quint16 replyStatus(const QNetworkReply* reply)
{
    return static_cast<quint16>(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt());
}

// An empty, null or non-object document counts as "no object".
bool parseObject(const QByteArray& body, QJsonObject& out)
{
    const QJsonDocument document = QJsonDocument::fromJson(body);
    if (document.isEmpty() || document.isNull() || !document.isObject())
        return false;
    out = document.object();
    return true;
}

} // namespace

BReplyHandlerBase::BReplyHandlerBase(BActionFinishedCallerBase* caller) : m_caller(caller) { }

BReplyHandlerBase::~BReplyHandlerBase()
{
    BActionFinishedCallerBase::destroy(m_caller);
}

int BReplyHandlerBase::statusCode() const
{
    return m_statusCode;
}

int BReplyHandlerBase::errorCode() const
{
    return m_errorCode;
}

void BReplyHandlerBase::setErrorCode(int errorCode)
{
    m_errorCode = errorCode;
}

const QString& BReplyHandlerBase::errorString() const
{
    return m_errorString;
}

void BReplyHandlerBase::setErrorString(const QString& errorString)
{
    m_errorString = errorString;
}

bool BReplyHandlerBase::isStatusOk() const
{
    return m_statusCode == 200;
}

bool BReplyHandlerBase::isCancelled() const
{
    return m_cancelled;
}

void BReplyHandlerBase::slotError(QNetworkReply::NetworkError error)
{
    QNetworkReply* reply = getReply();
    if (!reply)
        return;
    m_statusCode = replyStatus(reply);
    m_errorCode = error;
    m_errorString = reply->errorString();
    qCDebug(lcReply) << metaObject()->className() << "network error" << m_errorCode << "status" << m_statusCode;
}

void BReplyHandlerBase::slotSslErrors(QList<QSslError> sslErrors)
{
    // Neither ignored nor reported here: the reply then fails through
    // slotError and slotFinished like any other failure.
    Q_UNUSED(sslErrors)
}

void BReplyHandlerBase::slotCancel()
{
    QNetworkReply* reply = getReply();
    if (!reply)
        return;
    m_cancelled = true;
    // A real reply finishes inside abort(), so slotFinished may already have
    // run when this returns; it only schedules deletions, so we are still alive.
    reply->abort();
}

void BReplyHandlerBase::slotReadyRead() { }

void BReplyHandlerBase::slotFinished()
{
    QNetworkReply* reply = getReply();
    if (!reply)
        return;

    m_statusCode = replyStatus(reply);
    qCDebug(lcReply) << metaObject()->className() << "finished, status" << m_statusCode << "error" << m_errorCode
                     << (m_cancelled ? "(cancelled)" : "");
    if (m_statusCode == 200)
        parseReply();

    reply->deleteLater();

    if (!m_cancelled && m_caller)
        m_caller->onFinished(this);

    deleteLater();
}

void BReplyHandlerBase::slotDownloadProgress(qint64 bytesReceived, qint64 bytesTotal)
{
    Q_UNUSED(bytesReceived)
    Q_UNUSED(bytesTotal)
}

void BReplyHandlerBase::slotUploadProgress(qint64 bytesSent, qint64 bytesTotal)
{
    Q_UNUSED(bytesSent)
    Q_UNUSED(bytesTotal)
}

void BReplyHandlerBase::parseReply() { }

BActionFinishedCallerBase* BReplyHandlerBase::caller() const
{
    return m_caller;
}

QByteArray BReplyHandlerBase::readBody()
{
    QNetworkReply* reply = getReply();
    return reply ? reply->readAll() : QByteArray();
}

bool BReplyHandlerBase::readRootObject(QJsonObject& out)
{
    if (parseObject(readBody(), out))
        return true;
    qCDebug(lcReply) << metaObject()->className() << "reply body is not a JSON object";
    return false;
}

bool BReplyHandlerBase::readEnvelope(QJsonObject& out)
{
    QJsonObject root;
    if (!readRootObject(root))
        return false;

    out = root;
    const QLatin1String codeKey("code");
    const QLatin1String dataKey("data");
    const bool hasCode = root.contains(codeKey);
    const int code = root.value(codeKey).toInt();
    if (hasCode && code == 0 && root.contains(dataKey))
        out = root.value(dataKey).toObject();
    if (hasCode && code != 0) {
        qCDebug(lcReply) << metaObject()->className() << "envelope reports code" << code;
        return false;
    }
    return true;
}

bool BReplyHandlerBase::readData(QJsonValue& out)
{
    QJsonObject root;
    if (!readRootObject(root))
        return false;
    const QJsonValue data = root.value(QLatin1String("data"));
    if (data.isNull() || data.isUndefined())
        return false;
    out = data;
    return true;
}

bool BReplyHandlerBase::readDataArray(QJsonArray& out)
{
    QJsonValue data;
    if (!readData(data) || !data.isArray())
        return false;
    out = data.toArray();
    return true;
}

bool BReplyHandlerBase::readDataObject(QJsonObject& out)
{
    QJsonValue data;
    if (!readData(data))
        return false;
    const QJsonObject object = data.toObject();
    if (object.isEmpty())
        return false;
    out = object;
    return true;
}

QString BReplyHandlerBase::jsonString(const QJsonValue& value)
{
    if (value.isString())
        return value.toString();
    if (value.isDouble()) {
        const double number = value.toDouble();
        // Only whole numbers that a 64-bit id can hold; anything else is not an id.
        if (std::isfinite(number) && number == std::trunc(number)
            && std::fabs(number) < 9007199254740992.0) // 2^53, exact in a double
            return QString::number(static_cast<qint64>(number));
    }
    return QString();
}

} // namespace Trelan::Oku::ZYRController
