// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QByteArray>
#include <QString>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace Trelan::Oku::ZYRController {

class BSha256Hasher;

/// SHA-256 of a file as it is written, on a thread of its own, so that the
/// hashing overlaps with the download instead of adding to it.
///
/// The writer fills pieces of a fixed ring (piece(), then submit()); the
/// thread hashes them in order and hands them back. While every piece waits
/// to be hashed, piece() blocks: memory stays at the ring's size however fast
/// the bytes arrive. The bytes a file already held (a resumed download) are
/// read back from the file by the thread first; the writer only appends.
class BBackgroundSha256 {
public:
    static constexpr qint64 PieceSize = 256 * 1024;
    static constexpr quint64 PieceCount = 8;

    /// Starts the thread; it first hashes the first \a keptSize bytes of
    /// \a keptFile (none when \a keptSize is 0).
    BBackgroundSha256(const QString& keptFile, qint64 keptSize);
    /// Stops the thread, dropping what was not hashed yet.
    ~BBackgroundSha256();
    BBackgroundSha256(const BBackgroundSha256&) = delete;
    BBackgroundSha256& operator=(const BBackgroundSha256&) = delete;

    /// The piece of PieceSize bytes to fill next; the same one until it is
    /// submitted. Blocks while every piece waits to be hashed.
    char* piece();
    /// Queues the first \a size bytes of the piece last returned by piece().
    void submit(qint64 size);
    /// Waits until everything submitted is hashed and ends the hashing: the
    /// digest as lower-case hex, empty when the kept bytes could not be read.
    QByteArray hexResult();

private:
    void run();
    bool hashKeptBytes(BSha256Hasher& hasher);

    const QString m_keptFile;
    const qint64 m_keptSize;
    // Not zeroed: a page of the ring is touched only when a piece uses it.
    const std::unique_ptr<char[]> m_ring;
    qint64 m_sizes[PieceCount] = {};
    // Standard rather than Qt threads and locks: ThreadSanitizer sees
    // through pthreads, not through the futexes of a QtCore built without
    // it, so it can check the hand-over of every piece.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    // Pieces [m_hashed, m_submitted) (modulo PieceCount) wait for the thread;
    // the writer fills piece m_submitted. Both only grow.
    quint64 m_hashed = 0;
    quint64 m_submitted = 0;
    bool m_closed = false; // nothing more comes: the result was asked for
    bool m_abandoned = false; // the owner is going; stop at once
    bool m_done = false; // the thread has set m_result
    QByteArray m_result;
    std::thread m_thread;
};

} // namespace Trelan::Oku::ZYRController
