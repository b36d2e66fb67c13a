// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// zyr-bench-service: uploads or downloads one large file through the
// service library against a running zyr-cloud and prints the throughput.
// bench/run-service.sh runs it next to curl; bench/README.md has results.

#include "BenchReplyHandler.h"

#include <ZYRService/ZYRAccount.h>
#include <ZYRService/ZYRDocument.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <cstdio>

using namespace Trelan::Oku::ZYRService;

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

void report(const char* what, qint64 bytes, qint64 nanoseconds)
{
    const double seconds = double(nanoseconds) / 1e9;
    out() << what << " bytes=" << bytes << " seconds=" << QString::number(seconds, 'f', 3)
          << " MiBps=" << QString::number(double(bytes) / (1024.0 * 1024.0) / seconds, 'f', 1) << Qt::endl;
}

// Runs the event loop until a handler has set \a finished.
void wait(QCoreApplication& app, const bool& finished)
{
    while (!finished)
        app.processEvents(QEventLoop::WaitForMoreEvents);
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Upload or download one file through ZYRService."));
    parser.addHelpOption();
    const QCommandLineOption server(QStringLiteral("server"), QStringLiteral("Server address."), QStringLiteral("url"));
    const QCommandLineOption account(QStringLiteral("account"), QStringLiteral("Account (alice)."),
                                     QStringLiteral("name"), QStringLiteral("alice"));
    const QCommandLineOption password(QStringLiteral("password"), QStringLiteral("Password (alice-pass)."),
                                      QStringLiteral("password"), QStringLiteral("alice-pass"));
    const QCommandLineOption workspace(QStringLiteral("workspace"), QStringLiteral("Workspace id (w-design)."),
                                       QStringLiteral("id"), QStringLiteral("w-design"));
    const QCommandLineOption upload(QStringLiteral("upload"), QStringLiteral("Local file to upload."),
                                    QStringLiteral("file"));
    const QCommandLineOption remotePath(QStringLiteral("remote-path"), QStringLiteral("Remote path of the upload."),
                                        QStringLiteral("path"), QStringLiteral("/bench/zyr.bin"));
    const QCommandLineOption download(QStringLiteral("download"), QStringLiteral("File id to download."),
                                      QStringLiteral("id"));
    const QCommandLineOption output(QStringLiteral("out"), QStringLiteral("Where the download goes."),
                                    QStringLiteral("file"));
    const QCommandLineOption chunk(QStringLiteral("chunk"),
                                   QStringLiteral("Read piece size of the download handler (10240, as the client's)."),
                                   QStringLiteral("bytes"), QStringLiteral("10240"));
    parser.addOptions({ server, account, password, workspace, upload, remotePath, download, output, chunk });
    parser.process(app);

    if (!parser.isSet(server) || parser.isSet(upload) == parser.isSet(download)
        || (parser.isSet(download) && !parser.isSet(output))) {
        err() << "need --server and exactly one of --upload FILE or --download ID --out FILE" << Qt::endl;
        return 2;
    }
    ZYRServiceUtil::setServerUrl(QUrl(parser.value(server)));

    BenchReplyHandler::Result result;
    bool finished = false;
    auto done = [&](const BenchReplyHandler::Result& r) {
        result = r;
        finished = true;
    };

    ZYRAccount::Login(parser.value(account), parser.value(password), new BenchReplyHandler(done));
    wait(app, finished);
    const QString token = QJsonDocument::fromJson(result.body).object().value(QStringLiteral("accessToken")).toString();
    if (result.status != 200 || token.isEmpty()) {
        err() << "sign-in failed: status " << result.status << ' ' << result.errorString << Qt::endl;
        return 1;
    }

    QElapsedTimer timer;
    finished = false;
    if (parser.isSet(upload)) {
        QFile source(parser.value(upload));
        if (!source.open(QIODevice::ReadOnly)) {
            err() << "cannot read " << source.fileName() << Qt::endl;
            return 1;
        }
        const QString path = parser.value(remotePath);
        const QString parent = QFileInfo(path).path();
        timer.start();
        ZYRDocument::UploadFile(token, parser.value(workspace), parent, path, source.size(), 0, &source,
                                new BenchReplyHandler(done));
        wait(app, finished);
        const qint64 elapsed = timer.nsecsElapsed();
        if (result.status != 200) {
            err() << "upload failed: status " << result.status << ' ' << result.errorString << Qt::endl;
            return 1;
        }
        report("upload", source.size(), elapsed);
        const QJsonObject data = QJsonDocument::fromJson(result.body).object().value(QStringLiteral("data")).toObject();
        out() << "fileId=" << data.value(QStringLiteral("id")).toString() << Qt::endl;
        return 0;
    }

    QFile sink(parser.value(output));
    if (!sink.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        err() << "cannot write " << sink.fileName() << Qt::endl;
        return 1;
    }
    timer.start();
    ZYRDocument::DownloadFile(token, parser.value(workspace), parser.value(download), 0, 0,
                              new BenchReplyHandler(done, &sink, parser.value(chunk).toLongLong()));
    wait(app, finished);
    sink.close(); // inside the timed part: the data must be on its way to disk
    const qint64 elapsed = timer.nsecsElapsed();
    if (result.status != 200 || !result.writeOk) {
        err() << "download failed: status " << result.status << ' ' << result.errorString << Qt::endl;
        return 1;
    }
    report("download", result.bytesWritten, elapsed);
    return 0;
}
