// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

class QIODevice;

namespace Trelan::Oku::ZYRController {

/// Writes a download's body into an open device as it arrives and forwards
/// progress and completion to its caller. The device is not owned; it must
/// stay open until the handler has finished.
class ZYRCONTROLLER_EXPORT BDownloadFileHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    /// Size of the pieces read from the reply and written to the device.
    static constexpr qint64 CopyBufferSize = 10240;

    BDownloadFileHandler(BActionFinishedCallerBase* caller, QIODevice* target);

    /// Bytes written to the device by this handler.
    qint64 bytesWritten() const;
    /// False once a write to the device failed; the rest of the body is dropped.
    bool isWriteOk() const;

public Q_SLOTS:
    void slotReadyRead() override;
    void slotDownloadProgress(qint64 bytesReceived, qint64 bytesTotal) override;
    void slotFinished() override;

private:
    void drainReply();

    QIODevice* m_target;
    qint64 m_bytesWritten = 0;
    bool m_writeOk = true;
};

} // namespace Trelan::Oku::ZYRController
