// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// zyr-bench-queue: uploads or downloads a file or a whole folder through the
// transfer queue (BFileTransferManager, not persisting) against a running
// zyr-cloud, with the queue's own timings, and prints the throughput.
// bench/run-queue.sh runs it next to curl; bench/README.md has results.

#include <ZYRController/BFileTransferManager.h>
#include <ZYRController/BTimings.h>
#include <ZYRModel/MFile.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTextStream>
#include <QTimer>

#include <memory>
#include <optional>

using namespace Trelan::Oku::ZYRController;
using Trelan::Oku::ZYRModel::MFile;
using Trelan::Oku::ZYRModel::MFileTransferItem;
using Trelan::Oku::ZYRService::ZYRServiceUtil;

namespace {

QTextStream& out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream& err()
{
    static QTextStream stream(stderr);
    return stream;
}

// A small JSON request outside the measured part (sign-in, metadata).
QJsonObject requestJson(QNetworkAccessManager& network, const QUrl& url, const QByteArray& body, const QString& token,
                        int* status)
{
    QNetworkRequest request(url);
    if (!token.isEmpty())
        request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    QNetworkReply* reply;
    if (body.isEmpty()) {
        reply = network.get(request);
    } else {
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
        reply = network.post(request, body);
    }
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    *status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QJsonObject json = QJsonDocument::fromJson(reply->readAll()).object();
    reply->deleteLater();
    return json;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    // A line per request would be measured too.
    QLoggingCategory::setFilterRules(QStringLiteral("zyr.*.debug=false"));
    QCommandLineParser parser;
    parser.setApplicationDescription(
            QStringLiteral("Upload or download a file or a folder through the transfer queue."));
    parser.addHelpOption();
    const QCommandLineOption server(QStringLiteral("server"), QStringLiteral("Server address."), QStringLiteral("url"));
    const QCommandLineOption account(QStringLiteral("account"), QStringLiteral("Account (alice)."),
                                     QStringLiteral("name"), QStringLiteral("alice"));
    const QCommandLineOption password(QStringLiteral("password"), QStringLiteral("Password (alice-pass)."),
                                      QStringLiteral("password"), QStringLiteral("alice-pass"));
    const QCommandLineOption workspace(QStringLiteral("workspace"), QStringLiteral("Workspace id (w-design)."),
                                       QStringLiteral("id"), QStringLiteral("w-design"));
    const QCommandLineOption upload(QStringLiteral("upload"), QStringLiteral("Local file or folder to upload."),
                                    QStringLiteral("path"));
    const QCommandLineOption remoteParent(QStringLiteral("remote-parent"),
                                          QStringLiteral("Remote folder the upload goes into (/bench)."),
                                          QStringLiteral("path"), QStringLiteral("/bench"));
    const QCommandLineOption download(QStringLiteral("download"), QStringLiteral("Remote file or folder to download."),
                                      QStringLiteral("path"));
    const QCommandLineOption output(QStringLiteral("out"), QStringLiteral("Local folder the download goes into."),
                                    QStringLiteral("dir"));
    const QCommandLineOption expect(QStringLiteral("expect"), QStringLiteral("Files a folder download yields (1)."),
                                    QStringLiteral("count"), QStringLiteral("1"));
    const QCommandLineOption noPause(QStringLiteral("no-completion-pause"),
                                     QStringLiteral("Diagnostic only: leave out the queue's pause after each "
                                                    "completed transfer, to see where the rest of the time goes."));
    const QCommandLineOption stallSeconds(QStringLiteral("stall-seconds"),
                                          QStringLiteral("Give up after this long without any news (120)."),
                                          QStringLiteral("seconds"), QStringLiteral("120"));
    parser.addOptions({ server, account, password, workspace, upload, remoteParent, download, output, expect, noPause,
                        stallSeconds });
    parser.process(app);

    if (!parser.isSet(server) || parser.isSet(upload) == parser.isSet(download)
        || (parser.isSet(download) && !parser.isSet(output))) {
        err() << "need --server and exactly one of --upload PATH or --download REMOTE_PATH --out DIR" << Qt::endl;
        return 2;
    }
    const QUrl base(parser.value(server));
    ZYRServiceUtil::setServerUrl(base);

    QNetworkAccessManager network;
    int status = 0;
    const QJsonObject credentials{ { QStringLiteral("account"), parser.value(account) },
                                   { QStringLiteral("password"), parser.value(password) } };
    const QString token = requestJson(network, base.resolved(QUrl(QStringLiteral("/api/v1/auth/login"))),
                                      QJsonDocument(credentials).toJson(QJsonDocument::Compact), QString(), &status)
                                  .value(QStringLiteral("accessToken"))
                                  .toString();
    if (status != 200 || token.isEmpty()) {
        err() << "sign-in failed: status " << status << Qt::endl;
        return 1;
    }

    QSharedPointer<MFile> remote;
    if (parser.isSet(download)) {
        QUrl meta = base.resolved(QUrl(QStringLiteral("/api/v1/workspaces/%1/meta").arg(parser.value(workspace))));
        meta.setQuery(QStringLiteral("path=") + QString::fromLatin1(QUrl::toPercentEncoding(parser.value(download))));
        const QJsonObject reply = requestJson(network, meta, QByteArray(), token, &status);
        if (status != 200) {
            err() << "no " << parser.value(download) << " on the server: status " << status << Qt::endl;
            return 1;
        }
        remote = QSharedPointer<MFile>::create();
        MFile::fromJson(reply.value(QStringLiteral("data")).toObject(), *remote);
    }

    // The queue's own timings unless the diagnostic run asks otherwise.
    std::optional<BTimings::Override> timings;
    BTimings used = BTimings::current();
    if (parser.isSet(noPause)) {
        used.completionPauseMs = 0;
        timings.emplace(used);
    }
    BFileTransferManager queue(false);
    queue.setAccessToken(token);

    int added = 0;
    int finished = 0;
    int failed = 0;
    qint64 bytes = 0;
    QElapsedTimer sinceNews;
    QObject::connect(&queue, &BFileTransferManager::transferItemAdded, [&](MFileTransferItem*) {
        ++added;
        sinceNews.start();
    });
    QObject::connect(&queue, &BFileTransferManager::transferItemProgressUpdated,
                     [&](MFileTransferItem*) { sinceNews.start(); });
    QObject::connect(&queue, &BFileTransferManager::transferItemStatusUpdated,
                     [&](MFileTransferItem* item, int, int newStatus) {
                         sinceNews.start();
                         if (newStatus == MFileTransferItem::Finished) {
                             ++finished;
                             bytes += item->getSize();
                         } else if (newStatus == MFileTransferItem::Failed) {
                             ++failed;
                         }
                     });

    QElapsedTimer timer;
    timer.start();
    sinceNews.start();
    int expected = 0;
    if (parser.isSet(upload)) {
        queue.upload(QList<QString>{ parser.value(upload) }, parser.value(workspace), parser.value(remoteParent));
        expected = added; // records are made at once for a whole folder
    } else {
        queue.download(remote, parser.value(output), QString());
        expected = remote->getIsFolder() ? parser.value(expect).toInt() : 1;
    }
    if (expected < 1) {
        err() << "nothing to transfer" << Qt::endl;
        return 1;
    }

    // A failed upload never reports (its record stays Transferring): the
    // stall limit ends such a run.
    const qint64 stallMs = parser.value(stallSeconds).toLongLong() * 1000;
    QTimer watchdog; // wakes the loop below now and then
    watchdog.start(1000);
    while (finished + failed < expected) {
        app.processEvents(QEventLoop::WaitForMoreEvents); // blocks until something happens
        if (sinceNews.elapsed() > stallMs) {
            err() << "no news for " << stallMs / 1000 << " s: " << finished << " of " << expected << " finished"
                  << Qt::endl;
            return 1;
        }
    }
    const double seconds = double(timer.nsecsElapsed()) / 1e9;
    if (failed > 0) {
        err() << failed << " of " << expected << " transfers failed" << Qt::endl;
        return 1;
    }

    // The queue sleeps after each completion before it reports it, on its
    // own thread, so the sleeps add up; the figures without them show what
    // the transfers themselves took.
    const double pauses = double(finished) * used.completionPauseMs / 1000.0;
    const auto mibps = [bytes](double s) { return QString::number(double(bytes) / (1024.0 * 1024.0) / s, 'f', 1); };
    out() << (parser.isSet(upload) ? "upload" : "download") << " files=" << finished << " bytes=" << bytes
          << " seconds=" << QString::number(seconds, 'f', 3) << " MiBps=" << mibps(seconds)
          << " MiBpsWithoutPauses=" << mibps(seconds - pauses)
          << " filesPerSecond=" << QString::number(finished / seconds, 'f', 1)
          << " completionPauseSeconds=" << QString::number(pauses, 'f', 1)
          << " completionPauseShare=" << QString::number(100.0 * pauses / seconds, 'f', 1) << '%' << Qt::endl;
    return 0;
}
