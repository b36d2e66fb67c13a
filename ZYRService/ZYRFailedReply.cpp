// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ZYRFailedReply_p.h"

namespace Trelan::Oku::ZYRService {

ZYRFailedReply::ZYRFailedReply(QNetworkAccessManager::Operation operation, const QNetworkRequest& request,
                               QNetworkReply::NetworkError error, const QString& message, QObject* parent)
    : QNetworkReply(parent), m_failure(error)
{
    setOperation(operation);
    setRequest(request);
    setUrl(request.url());
    setError(error, message);
    // Open, so that a handler reading the (empty) body gets no warning.
    QIODevice::open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    QMetaObject::invokeMethod(
            this, [this] { deliver(); }, Qt::QueuedConnection);
}

ZYRFailedReply::~ZYRFailedReply() = default;

void ZYRFailedReply::abort()
{
    deliver();
}

qint64 ZYRFailedReply::readData(char*, qint64)
{
    return -1;
}

void ZYRFailedReply::deliver()
{
    if (m_delivered)
        return;
    m_delivered = true;
    setFinished(true);
    Q_EMIT errorOccurred(m_failure);
    Q_EMIT finished();
}

} // namespace Trelan::Oku::ZYRService
