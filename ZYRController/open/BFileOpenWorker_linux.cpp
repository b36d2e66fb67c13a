// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// The open worker on Linux: the desktop's default program for the file's
// MIME type, found and started through GIO (mimeapps.list, desktop entries,
// Exec field codes), then its process and the file are watched.
#include <ZYRController/BFileOpenWorker.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>

// GLib's headers use "signals" as a name, which Qt defines as a keyword.
#pragma push_macro("signals")
#undef signals
#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#pragma pop_macro("signals")

#include <cerrno>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcOpenWorker, "zyr.controller.open.worker", QtWarningMsg)

namespace Trelan::Oku::ZYRController {

namespace {

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GFree {
    void operator()(gpointer memory) const { g_free(memory); }
};

QString takeError(GError* error)
{
    const QString message = error ? QString::fromUtf8(error->message) : QString();
    g_clear_error(&error);
    return message;
}

void recordPid(GDesktopAppInfo*, GPid pid, gpointer data)
{
    *static_cast<GPid*>(data) = pid;
}

// Starts the desktop's default program for the file. \a pid stays 0 when the
// program was started without a process of ours (D-Bus activation).
bool launchDefaultProgram(const QByteArray& path, GPid* pid)
{
    GObjectPtr<GFile> file(g_file_new_for_path(path.constData()));
    GError* error = nullptr;
    GObjectPtr<GFileInfo> info(g_file_query_info(file.get(), G_FILE_ATTRIBUTE_STANDARD_CONTENT_TYPE,
                                                 G_FILE_QUERY_INFO_NONE, nullptr, &error));
    if (!info) {
        qCWarning(lcOpenWorker) << "cannot read the type of the file:" << takeError(error);
        return false;
    }
    const char* type = g_file_info_get_content_type(info.get());
    GObjectPtr<GAppInfo> app(type ? g_app_info_get_default_for_type(type, FALSE) : nullptr);
    if (!app || !G_IS_DESKTOP_APP_INFO(app.get())) {
        qCWarning(lcOpenWorker) << "no program is associated with" << type;
        return false;
    }

    std::unique_ptr<char, GFree> uri(g_file_get_uri(file.get()));
    GList uris = { uri.get(), nullptr, nullptr };
    // Not reaped by GLib, so the process stays ours to wait for.
    const auto flags = GSpawnFlags(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD);
    if (!g_desktop_app_info_launch_uris_as_manager(G_DESKTOP_APP_INFO(app.get()), &uris, nullptr, flags, nullptr,
                                                   nullptr, recordPid, pid, &error)) {
        qCWarning(lcOpenWorker) << "cannot start" << g_app_info_get_id(app.get()) << takeError(error);
        return false;
    }
    return true;
}

bool hasExited(GPid pid)
{
    int status = 0;
    const pid_t result = waitpid(pid, &status, WNOHANG);
    return result == pid || (result < 0 && errno != EINTR);
}

// Whether a process other than this one has \a file open, as far as
// /proc/<pid>/fd shows: the processes of this user.
bool isOpenByAnyProcess(const struct stat& file)
{
    DIR* proc = opendir("/proc");
    if (!proc)
        return false;
    const QByteArray self = QByteArray::number(getpid());
    bool open = false;
    while (const dirent* process = readdir(proc)) {
        const QByteArray pid(process->d_name);
        if (pid.isEmpty() || pid == self || pid.front() < '1' || pid.front() > '9')
            continue;
        const QByteArray fdDir = "/proc/" + pid + "/fd/";
        DIR* fds = opendir(fdDir.constData());
        if (!fds)
            continue;
        while (const dirent* fd = readdir(fds)) {
            struct stat target = {};
            if (fd->d_name[0] != '.' && stat(QByteArray(fdDir + fd->d_name).constData(), &target) == 0
                && target.st_dev == file.st_dev && target.st_ino == file.st_ino) {
                open = true;
                break;
            }
        }
        closedir(fds);
        if (open)
            break;
    }
    closedir(proc);
    return open;
}

// The lock files that editors place beside a file while they have it:
// LibreOffice ".~lock.<name>#", Emacs ".#<name>" (a symbolic link that
// points nowhere), Vim ".<name>.swp".
bool hasLockFile(const QFileInfo& file)
{
    const QString name = file.fileName();
    const QString locks[] = { QStringLiteral(".~lock.") + name + QLatin1Char('#'), QStringLiteral(".#") + name,
                              QLatin1Char('.') + name + QStringLiteral(".swp") };
    for (const QString& lock : locks) {
        const QFileInfo info(file.dir(), lock);
        if (info.exists() || info.isSymLink())
            return true;
    }
    return false;
}

bool isHeld(const QString& path)
{
    struct stat file = {};
    const bool exists = stat(QFile::encodeName(path).constData(), &file) == 0;
    return hasLockFile(QFileInfo(path)) || (exists && isOpenByAnyProcess(file));
}

} // namespace

bool BFileOpenWorker::openAndWait() const
{
    GPid pid = 0;
    if (!launchDefaultProgram(QFile::encodeName(m_localPath), &pid))
        return false;

    QElapsedTimer started;
    started.start();
    if (pid > 0) {
        while (!hasExited(pid))
            msleep(static_cast<unsigned long>(m_timings.openExitPollMs));
    }
    // A program gone within the first wait most likely handed the file to an
    // instance that was already running, and one started over D-Bus never
    // was a process of ours: give the program that has the file time to
    // open it before looking whether it is held.
    if (pid <= 0 || started.elapsed() < m_timings.openIdleWaitMs)
        msleep(static_cast<unsigned long>(m_timings.openFallbackSleepMs));
    while (isHeld(m_localPath))
        msleep(static_cast<unsigned long>(m_timings.openLockPollMs));
    return true;
}

} // namespace Trelan::Oku::ZYRController
