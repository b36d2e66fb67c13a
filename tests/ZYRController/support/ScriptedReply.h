// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QByteArray>
#include <QList>
#include <QNetworkReply>
#include <QPair>

namespace Trelan::Oku::ZYRTest {

/// A QNetworkReply whose answer a test scripts: status, raw headers, body,
/// network error. Nothing happens until start(); then the reply plays its
/// script from the event loop, one step per turn, never synchronously:
/// uploadProgress (if an upload size was set), metaDataChanged, the body in
/// pieces (readyRead then downloadProgress for each), errorOccurred (if an
/// error was set), finished.
///
/// abort() behaves as Qt's HTTP reply does: it finishes at once, inside the
/// call, with OperationCanceledError and without a status.
///
/// The reply has no parent unless given one; a reply handed to a handler is
/// deleted by the handler when it finishes.
class ScriptedReply : public QNetworkReply {
    Q_OBJECT
public:
    explicit ScriptedReply(QObject* parent = nullptr);
    /// A reply that will answer \a statusCode with \a body once started.
    ScriptedReply(int statusCode, const QByteArray& body, QObject* parent = nullptr);
    ~ScriptedReply() override;

    /// A status of 0 or less means the answer carries none (as after a
    /// connection failure).
    void setStatusCode(int statusCode);
    void setHeader(const QByteArray& name, const QByteArray& value);
    void setBody(const QByteArray& body);
    /// Delivers the body in pieces of at most \a bytes (0: all at once).
    void setChunkSize(qint64 bytes);
    /// Reported through errorOccurred() just before finished().
    void setNetworkError(QNetworkReply::NetworkError error, const QString& text = QString());
    /// Emits uploadProgress(bytes, bytes) before the answer arrives.
    void setUploadSize(qint64 bytes);

    /// Plays the script from the event loop. Calling it again does nothing.
    void start();
    bool isStarted() const;
    bool wasAborted() const;

    void abort() override;
    bool isSequential() const override;
    qint64 bytesAvailable() const override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;

private:
    enum class Phase { Idle, Upload, Headers, Body, Error, Finish, Done };

    void scheduleStep();
    void step();

    Phase m_phase = Phase::Idle;
    int m_statusCode = 200;
    QList<QPair<QByteArray, QByteArray>> m_headers;
    QByteArray m_body;
    qint64 m_chunkSize = 0;
    qint64 m_delivered = 0;
    QNetworkReply::NetworkError m_error = QNetworkReply::NoError;
    QString m_errorText;
    qint64 m_uploadSize = 0;
    QByteArray m_buffer; // delivered, not yet read
    bool m_aborted = false;
};

} // namespace Trelan::Oku::ZYRTest
