// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <QByteArray>
#include <memory>

class QIODevice;

namespace Trelan::Oku::ZYRController {

class BBackgroundSha256;

/// Writes a download's body into an open file as it arrives and forwards
/// progress and completion to its caller. The file is not owned; it must
/// stay open until the handler has finished.
///
/// Only a body that is the file's content goes into the file: a 206 whose
/// Content-Range starts where the request asked to resume (appended), or a
/// 200, which is the whole file (the file is emptied first, so a server that
/// ignores the range still gives exact bytes). Any other answer's body is a
/// message and is dropped. Bytes beyond the expected file size are dropped
/// too. When the answer carries "X-Digest", the file's bytes are hashed as
/// they are written (after its kept beginning, for a resume), on a thread of
/// their own, so that the caller can compare.
class ZYRCONTROLLER_EXPORT BDownloadFileHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    /// Size of the pieces read from the reply and written to the device when
    /// no digest is checked (a checked download uses the hasher's pieces).
    static constexpr qint64 CopyBufferSize = 10240;

    BDownloadFileHandler(BActionFinishedCallerBase* caller, QIODevice* target);
    ~BDownloadFileHandler() override;

    /// The offset the request resumes from (the bytes the file holds) and
    /// the size the file must reach (-1: no limit). Without it a 206 is
    /// written as it comes, a 200 after what the device holds, and no digest
    /// is checked.
    void setExpectedFile(qint64 resumeOffset, qint64 fileSize);

    /// Bytes written to the device by this handler.
    qint64 bytesWritten() const;
    /// False once a write to the device failed; the rest of the body is dropped.
    bool isWriteOk() const;
    /// Where the body goes in the file: the resume offset for a usable 206,
    /// 0 for a 200; -1 while no usable answer arrived.
    qint64 bodyOffset() const;
    /// The file size the answer gave (Content-Range total, or a 200's
    /// Content-Length); -1 when it gave none.
    qint64 announcedSize() const;
    /// True when the body went beyond the expected file size.
    bool exceededSize() const;
    /// False when the answer carried a digest that differs from the hash of
    /// the file's bytes; true when it carried none.
    bool digestMatches();

public Q_SLOTS:
    void slotReadyRead() override;
    void slotDownloadProgress(qint64 bytesReceived, qint64 bytesTotal) override;
    void slotFinished() override;

private:
    void decide(QNetworkReply* reply);
    bool emptyFile();
    void drainReply();

    QIODevice* m_target;
    qint64 m_resumeOffset = -1;
    qint64 m_fileSize = -1;
    qint64 m_bytesWritten = 0;
    qint64 m_bodyOffset = -1;
    qint64 m_announcedSize = -1;
    bool m_writeOk = true;
    bool m_decided = false;
    bool m_exceeded = false;
    QByteArray m_digest;
    QByteArray m_result;
    std::unique_ptr<BBackgroundSha256> m_hasher;
};

} // namespace Trelan::Oku::ZYRController
