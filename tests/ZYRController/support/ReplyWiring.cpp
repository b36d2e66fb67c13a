// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ReplyWiring.h>

#include <ZYRInterface/INetworkReplyHandler.h>

#include <QNetworkReply>

namespace Trelan::Oku::ZYRTest {

void wireReply(ZYRInterface::INetworkReplyHandler* handler, QNetworkReply* reply)
{
    using Handler = ZYRInterface::INetworkReplyHandler;
    handler->setReply(reply);
    QObject::connect(reply, &QNetworkReply::errorOccurred, handler, &Handler::slotError);
    QObject::connect(reply, &QNetworkReply::sslErrors, handler, &Handler::slotSslErrors);
    QObject::connect(reply, &QNetworkReply::readyRead, handler, &Handler::slotReadyRead);
    QObject::connect(reply, &QNetworkReply::finished, handler, &Handler::slotFinished);
    QObject::connect(reply, &QNetworkReply::downloadProgress, handler, &Handler::slotDownloadProgress);
    QObject::connect(reply, &QNetworkReply::uploadProgress, handler, &Handler::slotUploadProgress);
}

} // namespace Trelan::Oku::ZYRTest
