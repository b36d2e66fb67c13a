// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// zyr-bench-backup: backs up one workspace through BFileBackupWorker (its
// own thread, transfer queue and cache) against a running zyr-cloud, with
// the backup's own timings, and prints how long it took and how much it
// wrote. bench/run-backup.sh runs it next to curl; bench/README.md has results.

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRController/BFileBackupWorker.h>
#include <ZYRController/BTimings.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QTextStream>

#include <optional>

using namespace Trelan::Oku::ZYRController;
using Trelan::Oku::ZYRCommon::ApplicationSettings;
using Trelan::Oku::ZYRService::ZYRServiceUtil;

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("zyr.*.debug=false"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Back up one workspace through the backup worker."));
    parser.addHelpOption();
    const QCommandLineOption server(QStringLiteral("server"), QStringLiteral("Server address."), QStringLiteral("url"));
    const QCommandLineOption token(QStringLiteral("token"), QStringLiteral("Access token."), QStringLiteral("token"));
    const QCommandLineOption user(QStringLiteral("user"), QStringLiteral("User id (u-alice)."), QStringLiteral("id"),
                                  QStringLiteral("u-alice"));
    const QCommandLineOption workspace(QStringLiteral("workspace"), QStringLiteral("Workspace id."),
                                       QStringLiteral("id"));
    const QCommandLineOption output(QStringLiteral("out"), QStringLiteral("Backup directory."), QStringLiteral("dir"));
    const QCommandLineOption noPause(QStringLiteral("no-completion-pause"),
                                     QStringLiteral("Diagnostic only: leave out the queue's pause after each "
                                                    "completed transfer, to see where the rest of the time goes."));
    parser.addOptions({ server, token, user, workspace, output, noPause });
    parser.process(app);
    QTextStream out(stdout);
    QTextStream err(stderr);
    if (!parser.isSet(server) || !parser.isSet(token) || !parser.isSet(workspace) || !parser.isSet(output)) {
        err << "need --server URL --token TOKEN --workspace ID --out DIR" << Qt::endl;
        return 2;
    }
    const QUrl base(parser.value(server));
    ZYRServiceUtil::setServerUrl(base);
    // The cache store beside the backup, so that runs into the same
    // directory find their copies and other runs start empty.
    ApplicationSettings::setDatabaseLocation(parser.value(output) + QStringLiteral(".db"));

    std::optional<BTimings::Override> timings;
    BTimings used = BTimings::current();
    if (parser.isSet(noPause)) {
        used.completionPauseMs = 0;
        timings.emplace(used);
    }

    BFileBackupWorker worker(parser.value(user), parser.value(token), parser.value(output),
                             { parser.value(workspace) });
    std::optional<bool> result;
    QObject::connect(&worker, &BFileBackupWorker::backupFinished, &app, [&result](bool ok) { result = ok; });
    QElapsedTimer timer;
    timer.start();
    worker.start();
    while (!result)
        app.processEvents(QEventLoop::WaitForMoreEvents);
    const double seconds = double(timer.nsecsElapsed()) / 1e9;
    worker.wait();
    if (!*result) {
        err << "the backup failed" << Qt::endl;
        return 1;
    }

    // What the backup holds now; a run that found everything cached wrote
    // nothing, so the pause count uses the files that are newer than the start.
    qint64 files = 0;
    qint64 bytes = 0;
    qint64 written = 0;
    const QDateTime started = QDateTime::currentDateTime().addMSecs(-qint64(seconds * 1000));
    QDirIterator it(parser.value(output), QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        ++files;
        bytes += it.fileInfo().size();
        written += it.fileInfo().lastModified() >= started ? 1 : 0;
    }
    const double pauses = double(written) * used.completionPauseMs / 1000.0;
    out << "files=" << files << " bytes=" << bytes << " downloaded=" << written
        << " seconds=" << QString::number(seconds, 'f', 3)
        << " MiBps=" << QString::number(double(bytes) / (1024.0 * 1024.0) / seconds, 'f', 1)
        << " filesPerSecond=" << QString::number(double(files) / seconds, 'f', 1)
        << " completionPauseSeconds=" << QString::number(pauses, 'f', 1)
        << " completionPauseShare=" << QString::number(100.0 * pauses / seconds, 'f', 1) << '%' << Qt::endl;
    return 0;
}
