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

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <memory>
#include <pthread.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {
constexpr int ExitBadOptions = 2;
constexpr int ExitFailure = 1;

bool fileExists(const std::string &path)
{
    struct stat st{};
    return ::stat(path.c_str(), &st) == 0;
}

bool makeDataDirectory(const std::string &path)
{
    if (::mkdir(path.c_str(), 0700) == 0) {
        return true;
    }
    struct stat st{};
    return errno == EEXIST && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

void removeDatabaseFiles(const std::string &dbPath)
{
    for (const char *suffix : {"", "-wal", "-shm"}) {
        ::unlink((dbPath + suffix).c_str());
    }
}
} // namespace

int main(int argc, char **argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    std::string error;
    auto options = ServerOptions::parse(args, error);
    if (!options) {
        std::fprintf(stderr, "zyr-cloud: %s\n%s\n", error.c_str(), ServerOptions::usage().c_str());
        return ExitBadOptions;
    }
    Log::setVerbose(options->verbose);

    // Signals go to a dedicated thread (sigwait), never to a handler that
    // would have to stop the server from signal context. Blocked before
    // any thread starts, so every thread inherits the mask.
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
        const char *tmp = std::getenv("TMPDIR");
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
    } catch (const std::exception &e) {
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

    std::atomic<bool> finished{false};
    std::thread signalThread([&] {
        int signal = 0;
        sigwait(&stopSignals, &signal);
        if (!finished) {
            Log::info(std::string("stopping on ") + (signal == SIGINT ? "SIGINT" : "SIGTERM"));
        }
        server->stop();
    });

    const bool ok = server->run();
    finished = true;
    // Wakes the signal thread when the server ended on its own.
    pthread_kill(signalThread.native_handle(), SIGTERM);
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
