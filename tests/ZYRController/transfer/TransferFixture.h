// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

// What the transfer worker and queue suites share: zyr-cloud signed in as
// alice, a fresh folder and transfer store per test, and file helpers.

#include "CloudServerFixture.h"

#include <ZYRModel/MFile.h>

#include <QJsonObject>
#include <QMap>
#include <QSharedPointer>
#include <QTemporaryDir>
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
    /// Uploads \a bytes to \a remotePath with a plain request; the file's id.
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

QByteArray generatedBytes(qint64 size, int seed = 0);
QString sha256(const QByteArray& bytes);
QSharedPointer<Trelan::Oku::ZYRModel::MFile> fileFromJson(const QJsonObject& object);
QByteArray readAll(const QString& path);
bool writeAll(const QString& path, const QByteArray& bytes);
/// Every file below \a root by relative path with its bytes; folders as
/// "path/" with no bytes.
QMap<QString, QByteArray> treeContents(const QString& root);
/// Waits until no worker thread of this process is left and every worker
/// object is deleted, so that none outlives the files of its test.
bool waitForWorkersGone();
