// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// zyr-cloud: the local cloud server. See README.md beside this file.

#include "BlobStore.h"
#include "CloudServer.h"
#include "Database.h"
#include "Log.h"
#include "SeedLoader.h"
#include "ServerOptions.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <memory>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {
constexpr int ExitBadOptions = 2;
constexpr int ExitFailure = 1;

bool fileExists(const std::string& path)
{
    struct stat st { };
    return ::stat(path.c_str(), &st) == 0;
}

bool makeDataDirectory(const std::string& path)
{
    if (::mkdir(path.c_str(), 0700) == 0) {
        return true;
    }
    struct stat st { };
    return errno == EEXIST && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

int s_signalPipe[2] = { -1, -1 };

void onStopSignal(int signal)
{
    const int savedErrno = errno;
    const char byte = static_cast<char>(signal);
    // Nothing else is async-signal-safe enough to do here.
    [[maybe_unused]] const ssize_t written = ::write(s_signalPipe[1], &byte, 1);
    errno = savedErrno;
}

void removeDatabaseFiles(const std::string& dbPath)
{
    for (const char* suffix : { "", "-wal", "-shm" }) {
        ::unlink((dbPath + suffix).c_str());
    }
}
} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    std::string error;
    auto options = ServerOptions::parse(args, error);
    if (!options) {
        std::fprintf(stderr, "zyr-cloud: %s\n%s\n", error.c_str(), ServerOptions::usage().c_str());
        return ExitBadOptions;
    }
    Log::setVerbose(options->verbose);

    // A signal only writes its number into a pipe; a watcher thread reads
    // it and stops the server, which must not happen in signal context.
    // The signals stay blocked everywhere except in the watcher, so they
    // interrupt nothing else (an interrupted accept() would end cpp-httplib's
    // listening loop) and runtimes that defer handlers until a blocking call
    // returns, such as ThreadSanitizer, still deliver them.
    if (::pipe2(s_signalPipe, O_CLOEXEC) != 0) {
        Log::error(std::string("cannot create the signal pipe: ") + std::strerror(errno));
        return ExitFailure;
    }
    struct sigaction action { };
    action.sa_handler = onStopSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0; // no SA_RESTART: the watcher's read() must return
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    // Without --data the server runs on a scratch directory of its own,
    // which is handy for a quick try and is removed when it stops.
    bool temporaryData = false;
    if (options->dataDir.empty()) {
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/zyr-cloud-XXXXXX";
        if (!::mkdtemp(pattern.data())) {
            Log::error(std::string("cannot create a temporary data directory: ") + std::strerror(errno));
            return ExitFailure;
        }
        options->dataDir = pattern;
        temporaryData = true;
        Log::info("data directory " + options->dataDir + " (temporary)");
    }
    auto removeTemporaryData = [&] {
        if (temporaryData) {
            std::error_code ignored;
            std::filesystem::remove_all(options->dataDir, ignored);
        }
    };

    if (!makeDataDirectory(options->dataDir)) {
        Log::error("cannot use data directory " + options->dataDir + ": " + std::strerror(errno));
        return ExitFailure;
    }
    const std::string dbPath = options->dataDir + "/zyr.db";
    const bool fresh = !fileExists(dbPath);
    if (fresh && options->seedFile.empty()) {
        Log::error("the data directory has no database yet; give --seed FILE");
        removeTemporaryData();
        return ExitFailure;
    }

    std::unique_ptr<BlobStore> blobs;
    std::unique_ptr<Database> db;
    try {
        blobs = std::make_unique<BlobStore>(options->dataDir);
        db = std::make_unique<Database>(dbPath);
        if (fresh) {
            SeedLoader::load(options->seedFile, *db, *blobs);
            Log::info("data directory filled from " + options->seedFile);
        } else if (!options->seedFile.empty()) {
            Log::info("existing database kept; seed file ignored");
        }
    } catch (const std::exception& e) {
        Log::error(e.what());
        db.reset();
        if (fresh) {
            removeDatabaseFiles(dbPath);
        }
        removeTemporaryData();
        return ExitFailure;
    }

    auto server = std::make_unique<CloudServer>(*options, *db, *blobs);
    const int port = server->bind();
    if (port <= 0) {
        Log::error("cannot listen on " + options->host + ":" + std::to_string(options->port));
        server.reset();
        db.reset();
        removeTemporaryData();
        return ExitFailure;
    }
    std::printf("listening on %s:%d\n", options->host.c_str(), port);
    std::fflush(stdout);

    std::thread signalThread([&] {
        pthread_sigmask(SIG_UNBLOCK, &stopSignals, nullptr);
        char signal = 0;
        while (::read(s_signalPipe[0], &signal, 1) < 0 && errno == EINTR) { }
        if (signal != 0) {
            Log::info(std::string("stopping on ") + (signal == SIGINT ? "SIGINT" : "SIGTERM"));
            server->stop();
        }
    });

    const bool ok = server->run();
    // Wakes the watcher when the server ended on its own (a zero byte).
    const char wake = 0;
    while (::write(s_signalPipe[1], &wake, 1) < 0 && errno == EINTR) { }
    signalThread.join();
    server.reset();
    db.reset();
    blobs.reset();
    removeTemporaryData();
    if (!ok) {
        Log::error("the listening socket failed");
        return ExitFailure;
    }
    return 0;
}
