// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

// What the cloud manager's suites share: a signed-in manager on the test's
// zyr-cloud, and short ways to list and find nodes.

#include "CloudServerFixture.h"

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRController/BTCloudManager.h>
#include <ZYRModel/MToken.h>
#include <ZYRModel/MUser.h>
#include <ZYRModel/MWorkspace.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QJsonArray>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <memory>

namespace CloudTestSession {

using namespace Trelan::Oku::ZYRController;
using Trelan::Oku::ZYRModel::MFile;
using Trelan::Oku::ZYRModel::MWeakFile;
using Trelan::Oku::ZYRModel::MWorkspace;
using FilePtr = QSharedPointer<MFile>;

/// Client stores in \a dir, the service library on \a cloud.
inline void useCloud(const CloudServerFixture& cloud, const QTemporaryDir& dir)
{
    using Trelan::Oku::ZYRCommon::ApplicationSettings;
    ApplicationSettings::setDatabaseLocation(dir.filePath(QStringLiteral("db")));
    ApplicationSettings::setFileCacheLocation(dir.filePath(QStringLiteral("cache")));
    ApplicationSettings::setTempDataLocation(dir.filePath(QStringLiteral("temp")));
    Trelan::Oku::ZYRService::ZYRServiceUtil::setServerUrl(cloud.baseUrl());
}

/// A manager signed in as \a account, its default workspace active; null
/// (with a failed check) when that did not happen.
inline std::unique_ptr<BTCloudManager> signedIn(const QString& account = QStringLiteral("alice"))
{
    auto manager = std::make_unique<BTCloudManager>();
    QSignalSpy login(manager.get(), &BTCloudManager::loginFinished);
    QSignalSpy active(manager.get(), &BTCloudManager::activeWorkspaceChanged);
    manager->login(account, account + QStringLiteral("-pass"));
    if (!login.wait() || login.at(0).at(0).toInt() != 0 || !manager->queryUserInfo()
        || !(active.count() > 0 || active.wait()))
        return nullptr;
    return manager;
}

/// \a name among \a folder's children, or null.
inline FilePtr child(const MWeakFile& folder, const QString& name)
{
    const FilePtr node = folder.toStrongRef();
    return node ? node->getChild(name) : FilePtr();
}

/// Lists \a folder and waits for the answer; its status.
inline int list(BTCloudManager& manager, const MWeakFile& folder, bool refresh = true)
{
    const FilePtr node = folder.toStrongRef();
    QSignalSpy done(&manager, &BTCloudManager::queryChildrenFinished);
    if (!node || !manager.queryChildren(node->getWorkspaceId(), folder, false, refresh) || !done.wait())
        return -100;
    return done.at(0).at(0).toInt();
}

/// The names of \a folder's children on the server, in its order.
inline QStringList serverChildren(CloudServerFixture& cloud, const QString& token, const QString& workspace,
                                  const QString& path)
{
    const QByteArray query
            = "/api/v1/workspaces/" + workspace.toUtf8() + "/children?path=" + QUrl::toPercentEncoding(path);
    QStringList names;
    const QJsonArray items
            = cloud.request("GET", query, QByteArray(), token).json().value(QStringLiteral("items")).toArray();
    for (const QJsonValue& item : items)
        names.append(item.toObject().value(QStringLiteral("name")).toString());
    return names;
}

} // namespace CloudTestSession
