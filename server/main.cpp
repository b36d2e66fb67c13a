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
#include <memory>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr int ExitBadOptions = 2;
constexpr int ExitFailure = 1;

int s_signalPipe[2] = { -1, -1 };

void onStopSignal(int signal)
{
    const int savedErrno = errno;
    const char byte = static_cast<char>(signal);
    // Nothing else is async-signal-safe enough to do here.
    [[maybe_unused]] const ssize_t written = ::write(s_signalPipe[1], &byte, 1);
    errno = savedErrno;
}

sigset_t stopSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

// A signal only writes its number into a pipe; a watcher thread reads it and
// stops the server, which must not happen in signal context. The signals
// stay blocked everywhere except in the watcher, so they interrupt nothing
// else (an interrupted accept() would end cpp-httplib's listening loop) and
// runtimes that defer handlers until a blocking call returns, such as
// ThreadSanitizer, still deliver them.
bool installStopSignals()
{
    if (::pipe2(s_signalPipe, O_CLOEXEC) != 0) {
        Log::error(std::string("cannot create the signal pipe: ") + std::strerror(errno));
        return false;
    }
    struct sigaction action { };
    action.sa_handler = onStopSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0; // no SA_RESTART: the watcher's read() must return
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    const sigset_t signals = stopSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return true;
}

// The data directory, made when missing; without --data a scratch directory
// of the server's own, removed when it stops (for a quick try).
class DataDirectory {
public:
    ~DataDirectory()
    {
        if (m_temporary) {
            std::error_code ignored;
            std::filesystem::remove_all(m_path, ignored);
        }
    }

    bool open(const std::string& path)
    {
        m_path = path;
        if (m_path.empty()) {
            const char* tmp = std::getenv("TMPDIR");
            std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/zyr-cloud-XXXXXX";
            if (!::mkdtemp(pattern.data())) {
                Log::error(std::string("cannot create a temporary data directory: ") + std::strerror(errno));
                return false;
            }
            m_path = pattern;
            m_temporary = true;
            Log::info("data directory " + m_path + " (temporary)");
        }
        struct stat st { };
        if (::mkdir(m_path.c_str(), 0700) != 0
            && (errno != EEXIST || ::stat(m_path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))) {
            Log::error("cannot use data directory " + m_path + ": " + std::strerror(errno));
            return false;
        }
        return true;
    }

    const std::string& path() const { return m_path; }
    std::string databasePath() const { return m_path + "/zyr.db"; }

private:
    std::string m_path;
    bool m_temporary = false;
};

struct Store {
    std::unique_ptr<BlobStore> blobs;
    std::unique_ptr<Database> db;
};

// Opens the database, filling it from the seed on a fresh directory; a
// failed seed leaves no database behind that a later start would take up.
bool openStore(const DataDirectory& data, const std::string& seedFile, Store& store)
{
    const std::string dbPath = data.databasePath();
    const bool fresh = !std::filesystem::exists(dbPath);
    if (fresh && seedFile.empty()) {
        Log::error("the data directory has no database yet; give --seed FILE");
        return false;
    }
    try {
        store.blobs = std::make_unique<BlobStore>(data.path());
        store.db = std::make_unique<Database>(dbPath);
        if (fresh) {
            SeedLoader::load(seedFile, *store.db, *store.blobs);
            Log::info("data directory filled from " + seedFile);
        } else if (!seedFile.empty()) {
            Log::info("existing database kept; seed file ignored");
        }
        return true;
    } catch (const std::exception& e) {
        Log::error(e.what());
        store.db.reset();
        if (fresh) {
            for (const char* suffix : { "", "-wal", "-shm" }) {
                ::unlink((dbPath + suffix).c_str());
            }
        }
        return false;
    }
}

// Serves until a stop signal, or until the listening socket fails.
int serve(const ServerOptions& options, Store& store)
{
    CloudServer server(options, *store.db, *store.blobs);
    const int port = server.bind();
    if (port <= 0) {
        Log::error("cannot listen on " + options.host + ":" + std::to_string(options.port));
        return ExitFailure;
    }
    std::printf("listening on %s:%d\n", options.host.c_str(), port);
    std::fflush(stdout);

    std::thread watcher([&server] {
        const sigset_t signals = stopSignals();
        pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
        char signal = 0;
        while (::read(s_signalPipe[0], &signal, 1) < 0 && errno == EINTR) { }
        if (signal != 0) {
            Log::info(std::string("stopping on ") + (signal == SIGINT ? "SIGINT" : "SIGTERM"));
            server.stop();
        }
    });
    const bool ok = server.run();
    // Wakes the watcher when the server ended on its own (a zero byte).
    const char wake = 0;
    while (::write(s_signalPipe[1], &wake, 1) < 0 && errno == EINTR) { }
    watcher.join();
    if (!ok) {
        Log::error("the listening socket failed");
        return ExitFailure;
    }
    return 0;
}
} // namespace

int main(int argc, char** argv)
{
    std::string error;
    const auto options = ServerOptions::parse(std::vector<std::string>(argv + 1, argv + argc), error);
    if (!options) {
        std::fprintf(stderr, "zyr-cloud: %s\n%s\n", error.c_str(), ServerOptions::usage().c_str());
        return ExitBadOptions;
    }
    Log::setVerbose(options->verbose);
    if (!installStopSignals()) {
        return ExitFailure;
    }
    DataDirectory data;
    Store store;
    if (!data.open(options->dataDir) || !openStore(data, options->seedFile, store)) {
        return ExitFailure;
    }
    return serve(*options, store);
}
