// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ZYRNetworkAccess_p.h"

#include "ZYRFailedReply_p.h"
#include "ZYRReplyRegistry_p.h"
#include "ZYRRequest_p.h"
#include "ZYRServiceDefaults_p.h"
#include "ZYRServiceLogging_p.h"

#include <ZYRInterface/INetworkReplyHandler.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QCoreApplication>
#include <QIODevice>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QThread>

#include <mutex>

namespace Trelan::Oku::ZYRService {

using ZYRInterface::INetworkReplyHandler;

namespace {

// The calling thread's access object; null until its first request and
// again once the thread has ended.
thread_local ZYRNetworkAccess* t_access = nullptr;

QNetworkAccessManager::Operation operationOf(ZYRRequest::Verb verb)
{
    switch (verb) {
    case ZYRRequest::Verb::Get:
        return QNetworkAccessManager::GetOperation;
    case ZYRRequest::Verb::Post:
        return QNetworkAccessManager::PostOperation;
    case ZYRRequest::Verb::Put:
        return QNetworkAccessManager::PutOperation;
    case ZYRRequest::Verb::Delete:
        return QNetworkAccessManager::DeleteOperation;
    }
    return QNetworkAccessManager::CustomOperation;
}

// Why the upload source cannot be streamed as asked, or an empty string.
// Positions a random-access source at its offset.
QString uploadProblem(const ZYRRequest& request)
{
    QIODevice* source = request.uploadSource();
    if (!source)
        return QStringLiteral("No upload source");
    if (!source->isOpen() || !source->isReadable())
        return QStringLiteral("Upload source is not open for reading");
    if (request.uploadOffset() < 0 || request.uploadLength() < 0)
        return QStringLiteral("Invalid upload range");
    if (source->isSequential())
        return QString(); // the caller positioned it; it cannot be checked
    if (source->pos() != request.uploadOffset() && !source->seek(request.uploadOffset()))
        return QStringLiteral("Cannot seek the upload source to its offset");
    if (source->size() - request.uploadOffset() < request.uploadLength())
        return QStringLiteral("Upload source holds fewer bytes than declared");
    return QString();
}

void connectHandler(QNetworkReply* reply, INetworkReplyHandler* handler, qint64 downloadTotalOffset)
{
    if (!handler) {
        // Nobody reads the answer: the reply only has to go away.
        QObject::connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
        return;
    }
    handler->setReply(reply);
    QObject::connect(reply, &QNetworkReply::errorOccurred, handler, &INetworkReplyHandler::slotError);
#if QT_CONFIG(ssl)
    QObject::connect(reply, &QNetworkReply::sslErrors, handler, &INetworkReplyHandler::slotSslErrors);
#endif
    QObject::connect(reply, &QIODevice::readyRead, handler, &INetworkReplyHandler::slotReadyRead);
    QObject::connect(reply, &QNetworkReply::finished, handler, &INetworkReplyHandler::slotFinished);
    if (downloadTotalOffset > 0) {
        // A ranged reply's total is what is left of the file; the transfer
        // worker compares it with the whole file's size, so report that.
        QObject::connect(reply, &QNetworkReply::downloadProgress, handler,
                         [handler, downloadTotalOffset](qint64 received, qint64 total) {
                             handler->slotDownloadProgress(received, total < 0 ? total : downloadTotalOffset + total);
                         });
    } else {
        QObject::connect(reply, &QNetworkReply::downloadProgress, handler, &INetworkReplyHandler::slotDownloadProgress);
    }
    QObject::connect(reply, &QNetworkReply::uploadProgress, handler, &INetworkReplyHandler::slotUploadProgress);

    // A handler deleted before its reply finished leaves an orphan reply:
    // stop it and let it go instead of keeping it until the thread ends.
    QObject::connect(handler, &QObject::destroyed, reply, [reply, handler] {
        ZYRReplyRegistry::instance().forgetHandler(reply);
        QObject::disconnect(reply, nullptr, handler, nullptr);
        if (!reply->isFinished())
            reply->abort();
        reply->deleteLater();
    });
}

void logFinished(QNetworkReply* reply, const QByteArray& verb)
{
    if (!lcService().isDebugEnabled())
        return;
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply, verb] {
        qCDebug(lcService).nospace() << verb << ' ' << reply->url().path() << " finished: status "
                                     << reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() << ", error "
                                     << reply->error();
    });
}

} // namespace

ZYRNetworkAccess::ZYRNetworkAccess() = default;

ZYRNetworkAccess::~ZYRNetworkAccess() = default;

ZYRNetworkAccess* ZYRNetworkAccess::forCurrentThread()
{
    if (t_access)
        return t_access;

    static std::once_flag proxyOnce;
    std::call_once(proxyOnce, [] { QNetworkProxyFactory::setUseSystemConfiguration(true); });

    t_access = new ZYRNetworkAccess;
    QThread* const thread = QThread::currentThread();
    const QCoreApplication* app = QCoreApplication::instance();
    if (app && thread == app->thread()) {
        // The application's thread never emits finished(); it ends with the
        // application object, whose destructor runs the post routines.
        qAddPostRoutine(&ZYRNetworkAccess::cleanUpApplicationThread);
    } else {
        // finished() is emitted on the ending thread itself, after its event
        // loop returned and before its last deferred deletions run.
        connect(thread, &QThread::finished, t_access, &ZYRNetworkAccess::onThreadFinished, Qt::DirectConnection);
    }
    qCDebug(lcService) << "network access created for thread" << thread;
    return t_access;
}

void ZYRNetworkAccess::send(const ZYRRequest& request, INetworkReplyHandler* handler)
{
    ZYRNetworkAccess* access = forCurrentThread();
    QNetworkReply* reply = access->start(request);
    if (request.readBufferSize() > 0)
        reply->setReadBufferSize(request.readBufferSize());
    ZYRReplyRegistry::instance().add(reply, handler);
    logFinished(reply, request.verbName());
    connectHandler(reply, handler, request.downloadTotalOffset());
}

QNetworkReply* ZYRNetworkAccess::start(const ZYRRequest& request)
{
    QString problem;
    const QUrl url = request.resolve(ZYRServiceUtil::serverUrl(), &problem);
    const QNetworkRequest networkRequest = request.networkRequest(url, ZYRServiceUtil::requestTimeout());

    if (m_finishing)
        return fail(request, networkRequest, QNetworkReply::OperationCanceledError,
                    QStringLiteral("The requesting thread is ending"));
    if (!url.isValid())
        return fail(request, networkRequest, QNetworkReply::ProtocolUnknownError, problem);
    if (request.hasUpload()) {
        problem = uploadProblem(request);
        if (!problem.isEmpty())
            return fail(request, networkRequest, QNetworkReply::ProtocolInvalidOperationError, problem);
    }

    qCDebug(lcService).nospace() << request.verbName() << ' ' << url.path();
    switch (request.verb()) {
    case ZYRRequest::Verb::Get:
        return m_manager.get(networkRequest);
    case ZYRRequest::Verb::Post:
        return m_manager.post(networkRequest, request.body());
    case ZYRRequest::Verb::Put:
        if (request.hasUpload())
            return m_manager.put(networkRequest, request.uploadSource());
        return m_manager.put(networkRequest, request.body());
    case ZYRRequest::Verb::Delete:
        return m_manager.deleteResource(networkRequest);
    }
    return fail(request, networkRequest, QNetworkReply::ProtocolInvalidOperationError,
                QStringLiteral("Unknown request method"));
}

QNetworkReply* ZYRNetworkAccess::fail(const ZYRRequest& request, const QNetworkRequest& networkRequest,
                                      QNetworkReply::NetworkError error, const QString& message)
{
    qCWarning(lcService).nospace() << request.verbName() << " request not sent: " << message;
    return new ZYRFailedReply(operationOf(request.verb()), networkRequest, error, message, &m_manager);
}

void ZYRNetworkAccess::cancelForThreadEnd()
{
    m_finishing = true;
    // Cancelled handlers may make new requests while finishing; those fail
    // at once (m_finishing) and are picked up by the next pass.
    for (int pass = 0; pass < Defaults::ThreadEndCancelPasses; ++pass) {
        if (ZYRReplyRegistry::instance().cancelCurrentThread() == 0)
            break;
    }
    t_access = nullptr;
}

void ZYRNetworkAccess::onThreadFinished()
{
    cancelForThreadEnd();
    // Queued behind the handlers' and replies' own deleteLater() calls, and
    // QThread runs these deferred deletions right after finished().
    deleteLater();
}

void ZYRNetworkAccess::cleanUpApplicationThread()
{
    ZYRNetworkAccess* access = t_access;
    if (!access)
        return;
    access->cancelForThreadEnd();
    // The application object is being destroyed and will not run another
    // event loop: let the cancelled handlers and their replies go now.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    delete access;
}

} // namespace Trelan::Oku::ZYRService
