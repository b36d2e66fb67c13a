// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

// Shared by the transfer suites: zyr-cloud signed in as alice, a folder and store per test.

#include "CloudServerFixture.h"
#include "TransferTestUtils.h"

#include <ZYRModel/MFile.h>

#include <QJsonObject>
#include <QMap>
#include <QSharedPointer>
#include <QTcpServer>
#include <QTemporaryDir>
#include <functional>
#include <memory>

class TransferFixture {
public:
    static inline const QString Workspace = QStringLiteral("w-design");
    static inline const QByteArray ContentRoute = "/api/v1/workspaces/w-design/files/";
    static inline const QByteArray UploadRoute = "/api/v1/workspaces/w-design/upload";

    /// Starts the server and signs in; the service library talks to it.
    bool start();
    /// A new temporary folder, which also holds the stores.
    bool beginTest();
    /// Clears faults, waits until every worker thread is gone, removes the folder.
    bool endTest();

    QString path(const QString& relative) const;
    QString putFile(const QString& remotePath, const QByteArray& bytes);
    QJsonObject remoteMeta(const QString& remotePath);
    QSharedPointer<Trelan::Oku::ZYRModel::MFile> cloudFile(const QString& remotePath);
    QString addFault(const QByteArray& method, const QByteArray& pathPrefix, QJsonObject fault);
    /// How many requests a fault added with \a times has seen.
    int faultUses(const QString& faultId, int times);

    std::unique_ptr<CloudServerFixture> cloud;
    QString token;
    std::unique_ptr<QTemporaryDir> dir;
};

/// A loopback server that answers each GET with what `answer` gives for its
/// target and Range header: a whole HTTP response, sent as it is (a response
/// with "Connection: close" ends by closing the connection).
class ScriptedServer : public QTcpServer {
public:
    ScriptedServer();
    QUrl url() const;
    std::function<QByteArray(const QByteArray& target, const QByteArray& range)> answer;
    QList<QByteArray> targets;
    QList<QByteArray> ranges;

private:
    void read(QTcpSocket* socket);
    QHash<QTcpSocket*, QByteArray> m_buffers;
};
/// A response of \a status with \a headers ("Name: value\r\n" each) and
/// \a body; \a cut: without a length, ended by closing the connection.
QByteArray httpAnswer(int status, const QByteArray& headers, const QByteArray& body, bool cut = false);

using namespace TransferTestUtils;
QSharedPointer<Trelan::Oku::ZYRModel::MFile> fileFromJson(const QJsonObject& object);
/// Every file below \a root by relative path with its bytes; folders as "path/".
QMap<QString, QByteArray> treeContents(const QString& root);
/// Waits until every worker thread is gone, so that none outlives its test's files.
bool waitForWorkersGone();
