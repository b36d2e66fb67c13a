// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QHash>

#include <mutex>

class QNetworkReply;
class QThread;
namespace Trelan::Oku::ZYRInterface {
class INetworkReplyHandler;
}

namespace Trelan::Oku::ZYRService {

/// The process-wide list of requests in flight, each with its handler and
/// the thread it runs on, so that they can be cancelled from any thread.
/// A reply enters when it is sent and leaves when it finishes or is
/// destroyed. The registry owns nothing; a mutex guards the list, and a
/// reply or handler is only ever touched on its own thread. (A std::mutex,
/// not a QMutex: ThreadSanitizer sees through pthread mutexes only, and this
/// is the lock that makes the cross-thread cancel safe.)
class ZYRReplyRegistry {
public:
    static ZYRReplyRegistry& instance();

    /// Registers \a reply (running on the calling thread) with its
    /// \a handler, which may be null.
    void add(QNetworkReply* reply, ZYRInterface::INetworkReplyHandler* handler);
    /// The handler of \a reply is being destroyed before its reply.
    void forgetHandler(QNetworkReply* reply);

    /// Cancels every registered request: those of the calling thread at
    /// once, those of other threads through their own event loops.
    void cancelAll();
    /// Cancels the calling thread's requests at once; returns how many.
    int cancelCurrentThread();

private:
    struct Entry {
        ZYRInterface::INetworkReplyHandler* handler;
        QThread* thread;
    };

    ZYRReplyRegistry() = default;
    void remove(QNetworkReply* reply);
    // Runs on the reply's own thread.
    void cancelOne(QNetworkReply* reply);

    std::mutex m_mutex;
    QHash<QNetworkReply*, Entry> m_entries;
};

} // namespace Trelan::Oku::ZYRService
