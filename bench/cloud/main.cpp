// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// zyr-bench-cloud: signs in through BTCloudManager against a running
// zyr-cloud, then lists one folder with queryChildren() (the listing and one
// privilege request per child, waited for) and times it until
// queryChildrenFinished. bench/run-cloud.sh runs it next to curl sending the
// same requests; bench/README.md has results.

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRController/BTCloudManager.h>
#include <ZYRModel/MWorkspace.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QLoggingCategory>
#include <QTextStream>
#include <QTimer>

using namespace Trelan::Oku::ZYRController;
using Trelan::Oku::ZYRModel::MFile;
using Trelan::Oku::ZYRModel::MWeakFile;
using Trelan::Oku::ZYRModel::MWorkspace;

namespace {

// Runs the event loop until \a signal of \a manager, or 120 s.
template <typename Signal>
bool waitFor(BTCloudManager& manager, Signal signal)
{
    QEventLoop loop;
    QObject::connect(&manager, signal, &loop, &QEventLoop::quit);
    QTimer::singleShot(120000, &loop, [&loop] { loop.exit(1); });
    return loop.exec() == 0;
}

// A line of /proc/self/status in MiB ("VmRSS", "VmHWM"); -1 elsewhere.
double statusMib(const char* key)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(line.indexOf(':') + 1).trimmed().split(' ').value(0).toDouble() / 1024;
    }
    return -1;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("zyr.*.debug=false"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("List a folder with its children's privileges."));
    parser.addHelpOption();
    parser.addOption({ QStringLiteral("server"), QStringLiteral("zyr-cloud address"), QStringLiteral("url") });
    parser.addOption(
            { QStringLiteral("data"), QStringLiteral("directory for the client's stores"), QStringLiteral("dir") });
    parser.addOption({ QStringLiteral("workspace"), QStringLiteral("workspace id"), QStringLiteral("id") });
    parser.addOption(
            { QStringLiteral("folder"), QStringLiteral("name of a folder in its root"), QStringLiteral("name") });
    parser.process(app);
    QTextStream out(stdout);
    QTextStream err(stderr);

    Trelan::Oku::ZYRService::ZYRServiceUtil::setServerUrl(QUrl(parser.value(QStringLiteral("server"))));
    Trelan::Oku::ZYRCommon::ApplicationSettings::setDatabaseLocation(parser.value(QStringLiteral("data")));
    Trelan::Oku::ZYRCommon::ApplicationSettings::setFileCacheLocation(parser.value(QStringLiteral("data")));
    BTCloudManager manager;
    manager.login(QStringLiteral("alice"), QStringLiteral("alice-pass"));
    if (!waitFor(manager, &BTCloudManager::loginFinished) || !manager.queryUserInfo()
        || !waitFor(manager, &BTCloudManager::queryAllWorkspaceFinished)) {
        err << "sign-in failed\n";
        return 1;
    }
    MWorkspace* workspace = manager.getWorkspaceById(parser.value(QStringLiteral("workspace")));
    if (!workspace) {
        err << "no such workspace\n";
        return 1;
    }
    manager.setActiveWorkspace(workspace);
    const QSharedPointer<MFile> root = workspace->getRootFolder();
    if (!manager.queryChildren(workspace->getId(), root) || !waitFor(manager, &BTCloudManager::queryChildrenFinished)
        || !root->getChild(parser.value(QStringLiteral("folder")))) {
        err << "no such folder\n";
        return 1;
    }
    const QSharedPointer<MFile> folder = root->getChild(parser.value(QStringLiteral("folder")));
    const double rssBefore = statusMib("VmRSS");

    int status = 0;
    QObject::connect(&manager, &BTCloudManager::queryChildrenFinished,
                     [&status](int answer, const QString&, const MWeakFile&) { status = answer; });
    QElapsedTimer timer;
    timer.start();
    manager.queryChildren(workspace->getId(), folder);
    const bool finished = waitFor(manager, &BTCloudManager::queryChildrenFinished);
    const double seconds = double(timer.nsecsElapsed()) / 1e9;

    int withPrivileges = 0;
    for (const QSharedPointer<MFile>& child : folder->getChildren())
        withPrivileges += child->hasStatus(MFile::StatusPrivilegesLoaded) ? 1 : 0;
    out << "status=" << status << " children=" << folder->getChildren().size() << " privileged=" << withPrivileges
        << " seconds=" << QString::number(seconds, 'f', 3) << " rss_before_mib=" << QString::number(rssBefore, 'f', 1)
        << " rss_after_mib=" << QString::number(statusMib("VmRSS"), 'f', 1)
        << " peak_mib=" << QString::number(statusMib("VmHWM"), 'f', 1) << '\n';
    return finished && status == 200 && withPrivileges == folder->getChildren().size() ? 0 : 1;
}
