// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRInterface/INetworkReplyHandler.h>

#include <QByteArray>
#include <QElapsedTimer>

#include <functional>

class QFileDevice;

/// The benchmark's reply handler. With a sink it writes the body to the
/// sink as it arrives, the way the client's download handler does: on every
/// readyRead it reads pieces of at most chunkSize bytes until a read returns
/// nothing, writes each and flushes. Without a sink it keeps the (small)
/// body. It calls \a done once, then deletes its reply and itself.
class BenchReplyHandler : public Trelan::Oku::ZYRInterface::INetworkReplyHandler {
    Q_OBJECT
public:
    struct Result {
        int status = 0;
        int error = 0;
        QString errorString;
        QByteArray body; ///< without a sink
        qint64 bytesWritten = 0; ///< with a sink
        bool writeOk = true;
    };

    BenchReplyHandler(std::function<void(const Result&)> done, QFileDevice* sink = nullptr, qint64 chunkSize = 10240);

public Q_SLOTS:
    void slotError(QNetworkReply::NetworkError error) override;
    void slotSslErrors(QList<QSslError> sslErrors) override;
    void slotReadyRead() override;
    void slotFinished() override;
    void slotDownloadProgress(qint64 bytesReceived, qint64 bytesTotal) override;
    void slotUploadProgress(qint64 bytesSent, qint64 bytesTotal) override;
    void slotCancel() override;

private:
    void drain();

    std::function<void(const Result&)> m_done;
    QFileDevice* m_sink;
    QByteArray m_buffer;
    Result m_result;
};
