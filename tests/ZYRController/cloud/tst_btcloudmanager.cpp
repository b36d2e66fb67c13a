// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CloudTestSession.h"

#include <ZYRController/BTimings.h>
#include <ZYRModel/MFileShareLink.h>
#include <ZYRModel/MWorkspaceQuota.h>

#include <QFile>
#include <QJsonDocument>
#include <QMetaMethod>
#include <QPointer>
#include <QTimer>

#include <functional>

using namespace CloudTestSession;
using Trelan::Oku::ZYRModel::MFileShareLink;
using Trelan::Oku::ZYRModel::MToken;
using Trelan::Oku::ZYRService::ZYRServiceUtil;

namespace {

const QString Design = QStringLiteral("w-design");
const QByteArray DesignRoute = "/api/v1/workspaces/w-design/";
const QStringList AllPrivileges{ "enter", "view", "download", "create", "update", "delete", "grant" };

// Everything a view could see of the manager's model, as text.
void dumpTree(const FilePtr& node, QString& out)
{
    out += node->getId() + '/' + node->getFileName() + '/' + node->getPrivileges().join(',') + '/'
            + QString::number(node->getStatus()) + '/' + QString::number(node->getRevisionNumber()) + '{';
    for (const FilePtr& child : node->getChildren())
        dumpTree(child, out);
    out += '}';
}

QString dumpModel(BTCloudManager& manager)
{
    QString out = manager.getActiveWorkspace() ? manager.getActiveWorkspace()->getId() : QString();
    for (MWorkspace* workspace : *manager.getWorkspaces()) {
        out += '|' + workspace->getId() + '=' + workspace->getName() + " favourites:";
        for (const FilePtr& favorite : workspace->getFavoriteFiles())
            out += favorite->getId() + ',';
        dumpTree(workspace->getRootFolder(), out);
    }
    return out;
}

// The first argument of the first emission of \a signal after \a call, as an int.
template <typename Signal>
int firstResult(BTCloudManager& manager, Signal signal, const std::function<void()>& call)
{
    QSignalSpy spy(&manager, signal);
    call();
    return (spy.count() > 0 || spy.wait()) ? spy.at(0).at(0).toInt() : -100;
}

QStringList ids(const QList<FilePtr>& files)
{
    QStringList list;
    for (const FilePtr& file : files)
        list.append(file->getId());
    return list;
}

QStringList jsonIds(const QJsonObject& reply)
{
    QStringList list;
    for (const QJsonValue& item : reply.value("items").toArray())
        list.append(item.toObject().value("id").toString());
    return list;
}

} // namespace

class tst_BTCloudManager : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void cleanupTestCase();

    void signInLoadsUserWorkspacesAndRoot();
    void childrenCarryThePrivilegesOfTheRole_data();
    void childrenCarryThePrivilegesOfTheRole();
    void queriesFillTheNode();
    void logoUrlGetsHttpsInFront_data();
    void logoUrlGetsHttpsInFront();
    void workspaceListMergesOrRebuilds_data();
    void workspaceListMergesOrRebuilds();
    void nothingIsSentWithoutTokenOrArguments();
    void failedAnswersLeaveTheModelUnchanged_data();
    void failedAnswersLeaveTheModelUnchanged();
    void otherRepliesAreHandledWhileMetaWaits();
    void metaWaitEndsAfterTheSyncInterval();
    void destroyedManagerIsNeverCalledBack_data();
    void destroyedManagerIsNeverCalledBack();
    void favouritesShareLinksAndAttributes();
    void fileOperationsChangeTreeAndServer();
    void logoutDropsTheSession();

private:
    QStringList onServer(const QString& path) { return serverChildren(*m_cloud, m_token, Design, path); }
    QJsonObject get(const QByteArray& route)
    {
        return m_cloud->request("GET", DesignRoute + route, {}, m_token).json();
    }

    std::unique_ptr<CloudServerFixture> m_cloud;
    QTemporaryDir m_dir;
    QString m_token;
};

void tst_BTCloudManager::initTestCase()
{
    m_cloud = std::make_unique<CloudServerFixture>();
    QVERIFY2(m_cloud->start(), qPrintable(m_cloud->errorString()));
    useCloud(*m_cloud, m_dir);
    m_token = m_cloud->signIn();
    QVERIFY(!m_token.isEmpty());
}

void tst_BTCloudManager::cleanup()
{
    ZYRServiceUtil::setServerUrl(m_cloud->baseUrl());
    QVERIFY(m_cloud->clearFaults());
}

void tst_BTCloudManager::cleanupTestCase()
{
    m_cloud.reset();
}

void tst_BTCloudManager::signInLoadsUserWorkspacesAndRoot()
{
    BTCloudManager manager;
    QSignalSpy login(&manager, &BTCloudManager::loginFinished);
    QSignalSpy user(&manager, &BTCloudManager::queryUserInfoFinished);
    QSignalSpy workspaces(&manager, &BTCloudManager::queryAllWorkspaceFinished);
    QSignalSpy active(&manager, &BTCloudManager::activeWorkspaceChanged);
    manager.login("alice", "wrong");
    QVERIFY(login.wait());
    QVERIFY(login.takeFirst().at(0).toInt() != 0);
    QVERIFY(!manager.getToken());

    manager.login("alice", "alice-pass");
    QVERIFY(login.wait());
    QCOMPARE(login.at(0).at(0).toInt(), 0);
    QVERIFY(manager.queryUserInfo());
    QVERIFY(workspaces.wait());
    QCOMPARE(user.count(), 1);
    QVERIFY(user.at(0).at(0).toBool() && workspaces.at(0).at(0).toBool());
    QCOMPARE(manager.getCurrentUser()->getId(), "u-alice");
    QCOMPARE(manager.getWorkspaces()->size(), 2);
    QCOMPARE(manager.getWorkspaces()->at(1)->getId(), "w-projects");

    // The default workspace is active, its root's metadata and privileges applied first.
    QCOMPARE(active.count(), 1);
    QCOMPARE(manager.getActiveWorkspace()->getId(), Design);
    const FilePtr root = manager.getActiveWorkspace()->getRootFolder();
    QCOMPARE(root->getId(), "w-design-root");
    QCOMPARE(root->getPrivileges(), AllPrivileges);
    const QByteArray avatar = m_cloud->request("GET", "/api/v1/users/u-alice/avatar", {}, m_token).body;
    QVERIFY(!avatar.isEmpty());
    QTRY_COMPARE(manager.getCurrentUser()->getAvatarData32(), avatar);

    QCOMPARE(list(manager, root), 200);
    QStringList names;
    for (const FilePtr& child : root->getChildren())
        names.append(child->getFileName());
    QCOMPARE(names, onServer("/"));
}

void tst_BTCloudManager::childrenCarryThePrivilegesOfTheRole_data()
{
    QTest::addColumn<QString>("account");
    QTest::addColumn<QString>("workspace");
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("byPath");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("childName");
    QTest::addColumn<QStringList>("privileges");

    QTest::newRow("creator, root by path") << "alice" << Design << "/" << true << "/"
                                           << "Design" << AllPrivileges;
    QTest::newRow("member of value 47, folder by id") << "bob" << Design << "f-design" << false << "/Design"
                                                      << "overview.txt" << QStringList{ "enter", "view", "download" };
    QTest::newRow("application data, whatever the role")
            << "bob" << Design << "/应用数据" << true << "/应用数据"
            << "settings.json" << QStringList{ "view", "download", "grant" };
    QTest::newRow("member of value 48943, nested by path") << "alice"
                                                           << "w-projects"
                                                           << "/Alpha" << true << "/Alpha"
                                                           << "notes.txt" << AllPrivileges.mid(0, 5);
    QTest::newRow("creator of the other workspace, by id") << "bob"
                                                           << "w-projects"
                                                           << "f-p-alpha" << false << "/Alpha"
                                                           << "notes.txt" << AllPrivileges;
}

void tst_BTCloudManager::childrenCarryThePrivilegesOfTheRole()
{
    QFETCH(QString, account);
    QFETCH(QString, workspace);
    QFETCH(QString, key);
    QFETCH(bool, byPath);
    QFETCH(QString, path);
    QFETCH(QString, childName);
    QFETCH(QStringList, privileges);

    auto manager = signedIn(account);
    QVERIFY(manager);
    QSignalSpy listed(manager.get(), &BTCloudManager::queryChildrenByInfoFinished);
    QStringList seenAtSignal;
    connect(manager.get(), &BTCloudManager::queryChildrenByInfoFinished, this,
            [&](int, const QString&, const MWeakFile& folder) {
                if (const FilePtr node = child(folder, childName))
                    seenAtSignal = node->getPrivileges();
            });
    QVERIFY(manager->queryChildrenByInfo(workspace, key, byPath));
    QVERIFY(listed.wait());
    QCOMPARE(listed.at(0).at(0).toInt(), 200);
    const FilePtr folder = listed.at(0).at(2).value<MWeakFile>().toStrongRef();
    QVERIFY(folder);
    QCOMPARE(folder->getPath(), path);
    QCOMPARE(manager->getActiveWorkspace()->getId(), workspace);
    QVERIFY(manager->isActiveFolder(folder));
    QCOMPARE(seenAtSignal, privileges); // waited for before the signal
    QVERIFY(!manager->queryChildrenByInfo(workspace, key, byPath)); // the active folder is not asked again
}

void tst_BTCloudManager::queriesFillTheNode()
{
    auto manager = signedIn();
    QVERIFY(manager);
    QSignalSpy listed(manager.get(), &BTCloudManager::queryChildrenByInfoFinished);
    QVERIFY(manager->queryChildrenByInfo(Design, "/Design/2019", true));
    QVERIFY(listed.wait());
    const FilePtr plan = child(manager->getActiveFolder(), "plan.dwg");
    QVERIFY(plan);

    plan->setRevisionNumber(0);
    plan->setPrivileges({});
    QSignalSpy meta(manager.get(), &BTCloudManager::queryFileMetaFinished);
    QVERIFY(manager->queryFileMeta(Design, plan));
    QCOMPARE(meta.count(), 1); // answered before it returned
    QCOMPARE(plan->getRevisionNumber(), 3);
    QCOMPARE(plan->getPrivileges(), AllPrivileges);

    QSignalSpy thumbnail(manager.get(), &BTCloudManager::queryFileThumbnailFinished);
    QVERIFY(manager->queryFileThumbnail(Design, plan));
    QVERIFY(thumbnail.wait());
    QCOMPARE(plan->getThumbnailData(), m_cloud->request("GET", DesignRoute + "thumbnail?id=f-plan", {}, m_token).body);
    QVERIFY(!manager->queryFileThumbnail(Design, plan)); // fetched once

    QSignalSpy viewcode(manager.get(), &BTCloudManager::queryViewcodeFinished);
    QVERIFY(manager->queryViewCode(Design, plan));
    QVERIFY(viewcode.wait());
    QVERIFY(viewcode.at(0).at(0).toBool());
    QVERIFY(viewcode.at(0).at(3).toString().startsWith("vc-"));
    QVERIFY(viewcode.at(0).at(4).toString().endsWith("/view/" + viewcode.at(0).at(3).toString()));

    QSignalSpy quota(manager.get(), &BTCloudManager::queryWorkspaceQuotaFinished);
    QVERIFY(manager->queryWorkspaceQuota(Design));
    QVERIFY(quota.wait());
    QCOMPARE(manager->getWorkspaceById(Design)->getQuota()->getUsedSize(), get("quota").value("usedSize").toInteger());

    QSignalSpy loginToken(manager.get(), &BTCloudManager::queryTargetLoginTokenFinished);
    QVERIFY(manager->queryTargetLoginToken("https://viewer.example/d"));
    QVERIFY(loginToken.wait());
    QVERIFY(loginToken.at(0).at(1).toString().startsWith("lt-"));
    QCOMPARE(loginToken.at(0).at(2).toString(), "https://viewer.example/d");
}

void tst_BTCloudManager::logoUrlGetsHttpsInFront_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<bool>("success");
    QTest::newRow("without scheme, as the server sends it") << "//HOST/api/v1/workspaces/w-design/logo" << true;
    QTest::newRow("https in any letter case is kept") << "HTTPS://HOST/api/v1/workspaces/w-design/logo" << true;
    QTest::newRow("any other scheme gets it in front too") << "http://HOST/api/v1/workspaces/w-design/logo" << false;
}

void tst_BTCloudManager::logoUrlGetsHttpsInFront()
{
    QFETCH(QString, url);
    QFETCH(bool, success);
    auto manager = signedIn();
    QVERIFY(manager);
    MWorkspace* workspace = manager->getWorkspaceById(Design);
    workspace->setLogoUrl(url.replace("HOST", m_cloud->baseUrl().authority()));
    QSignalSpy logo(manager.get(), &BTCloudManager::queryWorkspaceLogoFinished);
    QVERIFY(manager->queryWorkspaceLogo(Design));
    QVERIFY(logo.wait());
    QCOMPARE(logo.at(0).at(0).toBool(), success);
    QCOMPARE(workspace->getLogoData(),
             success ? m_cloud->request("GET", DesignRoute + "logo", {}, m_token).body : QByteArray());
}

void tst_BTCloudManager::workspaceListMergesOrRebuilds_data()
{
    QTest::addColumn<bool>("merge");
    QTest::addColumn<QString>("layout"); // the second server's list: id, "*" for the default, "=name"
    QTest::addColumn<QStringList>("order");
    QTest::addColumn<QString>("active");
    QTest::addColumn<QStringList>("kept"); // same objects, trees included

    QTest::newRow("merge follows the answer and keeps objects and the active one")
            << true << "w-projects=Projects 2,w-design,w-extra" << QStringList{ "w-projects", Design, "w-extra" }
            << Design << QStringList{ "w-projects", Design };
    QTest::newRow("merge without the active one activates the first")
            << true << "w-projects,w-extra" << QStringList{ "w-projects", "w-extra" } << "w-projects"
            << QStringList{ "w-projects" };
    QTest::newRow("full update rebuilds and activates the default")
            << false << "w-projects*,w-design,w-extra" << QStringList{ "w-projects", Design, "w-extra" } << "w-projects"
            << QStringList{};
    QTest::newRow("full update without a default activates the first")
            << false << "w-extra,w-design" << QStringList{ "w-extra", Design } << "w-extra" << QStringList{};
}

void tst_BTCloudManager::workspaceListMergesOrRebuilds()
{
    QFETCH(bool, merge);
    QFETCH(QString, layout);
    QFETCH(QStringList, order);
    QFETCH(QString, active);
    QFETCH(QStringList, kept);

    auto manager = signedIn();
    QVERIFY(manager);
    QCOMPARE(list(*manager, manager->getActiveWorkspace()->getRootFolder()), 200);
    QMap<QString, FilePtr> roots; // held here, so that no new root can take an old one's address
    for (MWorkspace* workspace : *manager->getWorkspaces())
        roots.insert(workspace->getId(), workspace->getRootFolder());

    // A second server whose list for alice differs: workspaces cannot change on a running one.
    QFile sample(CloudServerFixture::defaultOptions().seedFile);
    QVERIFY(sample.open(QIODevice::ReadOnly));
    QJsonObject seed = QJsonDocument::fromJson(sample.readAll()).object();
    QMap<QString, QJsonObject> known;
    for (const QJsonValue& workspace : seed.value("workspaces").toArray())
        known.insert(workspace.toObject().value("id").toString(), workspace.toObject());
    QJsonArray workspaces;
    for (const QString& entry : layout.split(',')) {
        QString id = entry.section('=', 0, 0);
        const bool isDefault = id.endsWith('*');
        id.remove('*');
        const QJsonObject creator{ { "userId", "u-alice" }, { "role", "CREATOR" } };
        QJsonObject workspace = known.value(id, { { "id", id }, { "name", id }, { "members", QJsonArray{ creator } } });
        workspace.insert("isDefault", isDefault);
        if (entry.contains('='))
            workspace.insert("name", entry.section('=', 1));
        workspaces.append(workspace);
    }
    seed.insert("workspaces", workspaces);
    static int seeds = 0;
    QFile seedFile(m_dir.filePath(QStringLiteral("seed%1.json").arg(++seeds)));
    QVERIFY(seedFile.open(QIODevice::WriteOnly) && seedFile.write(QJsonDocument(seed).toJson()) > 0);
    seedFile.close();
    CloudServerFixture::Options options = CloudServerFixture::defaultOptions();
    options.seedFile = seedFile.fileName();
    CloudServerFixture other(options);
    QVERIFY2(other.start(), qPrintable(other.errorString()));
    ZYRServiceUtil::setServerUrl(other.baseUrl());
    auto* token = new MToken;
    token->setAccessToken(other.signIn());
    manager->setToken(token);

    QSignalSpy activeChanged(manager.get(), &BTCloudManager::activeWorkspaceChanged);
    QCOMPARE(firstResult(*manager, &BTCloudManager::queryAllWorkspaceFinished,
                         [&] { manager->queryAllWorkspace(merge); }),
             1);
    QStringList listed;
    for (MWorkspace* workspace : *manager->getWorkspaces()) {
        listed.append(workspace->getId());
        QCOMPARE(workspace->getRootFolder() == roots.value(workspace->getId()), kept.contains(workspace->getId()));
    }
    QCOMPARE(listed, order);
    QCOMPARE(manager->getActiveWorkspace()->getId(), active);
    QCOMPARE(activeChanged.count(), merge && active == Design ? 0 : 1);
    QCOMPARE(manager->getActiveWorkspace()->getRootFolder()->getId(), active + "-root");
    if (merge)
        QCOMPARE(manager->getWorkspaceById("w-projects")->getName(),
                 layout.contains("Projects 2") ? "Projects 2" : "Projects");
}

void tst_BTCloudManager::nothingIsSentWithoutTokenOrArguments()
{
    auto manager = signedIn();
    QVERIFY(manager);
    BTCloudManager signedOut;
    const FilePtr root = manager->getActiveWorkspace()->getRootFolder();
    QCOMPARE(list(*manager, root), 200);
    const FilePtr design = child(root, "Design");
    MWeakFile gone = FilePtr::create();
    QList<std::shared_ptr<QSignalSpy>> spies;
    for (BTCloudManager* object : { manager.get(), &signedOut }) {
        const QMetaObject* meta = object->metaObject();
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
            if (meta->method(i).methodType() == QMetaMethod::Signal)
                spies.append(std::make_shared<QSignalSpy>(object, meta->method(i)));
        }
    }
    // Every request the server sees from here on would use this fault up.
    QVERIFY(!m_cloud->addFault({ { "pathPrefix", "/api/" }, { "status", 503 }, { "times", 1000 } }).isEmpty());

    const QList<std::pair<const char*, std::function<bool()>>> calls{
        { "a listed folder without refresh", [&] { return manager->queryChildren(Design, root); } },
        { "a gone folder", [&] { return manager->queryChildren(Design, gone, true, true); } },
        { "an empty workspace id", [&] { return manager->queryFileMeta(QString(), design); } },
        { "metadata of a gone node", [&] { return manager->queryFileMeta(Design, gone); } },
        { "a copy into its own folder", [&] { return manager->copyFiles(Design, root, root, { design }, false); } },
        { "a copy of nothing", [&] { return manager->copyFiles(Design, root, design, {}, true); } },
        { "a delete of gone files", [&] { return manager->deleteFiles(Design, root, { gone }); } },
        { "a rename of a gone node", [&] { return manager->renameName(Design, gone, "a", "b"); } },
        { "favourites of gone files", [&] { return manager->addFavoriteFiles(Design, { gone }); } },
        { "an empty target link", [&] { return manager->queryTargetLoginToken(QString()); } },
        { "signed out: user", [&] { return signedOut.queryUserInfo(); } },
        { "signed out: workspaces", [&] { return signedOut.queryAllWorkspace(true); } },
        { "signed out, no id: logo", [&] { return signedOut.queryWorkspaceLogo(QString()); } },
        { "signed out: children", [&] { return signedOut.queryChildren(Design, root, false, true); } },
        { "signed out: rename", [&] { return signedOut.renameName(Design, design, "Design", "X"); } },
    };
    for (const auto& [name, call] : calls)
        QVERIFY2(!call(), name);
    QCOMPARE(design->getFileName(), "Design");
    const QJsonObject faults = m_cloud->request("GET", "/admin/faults").json(); // a round trip's worth of events
    QCOMPARE(faults.value("items").toArray().at(0).toObject().value("times").toInt(), 1000);
    for (const auto& spy : spies)
        QVERIFY2(spy->isEmpty(), spy->signal().constData());
}

void tst_BTCloudManager::failedAnswersLeaveTheModelUnchanged_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<int>("result"); // the finished signal's first argument
    const QByteArray children = R"({"pathPrefix":"/api/v1/workspaces/w-design/children",)";
    const QByteArray meta = R"({"pathPrefix":"/api/v1/workspaces/w-design/meta",)";
    const QByteArray list = R"({"method":"GET","pathPrefix":"/api/v1/workspaces",)";

    QTest::newRow("children 500") << "children" << children + R"("status":500})" << 500;
    QTest::newRow("children 404") << "children" << children + R"("status":404})" << 404;
    QTest::newRow("children not JSON") << "children" << children + R"("cutAfterBytes":12})"
                                       << int(BTCloudManager::AnswerNotApplied);
    QTest::newRow("meta 401") << "meta" << meta + R"("status":401})" << 0;
    QTest::newRow("meta not JSON") << "meta" << meta + R"("cutAfterBytes":9})" << 0;
    QTest::newRow("workspaces 500") << "workspaces" << list + R"("status":500,"times":1})" << 0;
    QTest::newRow("workspaces not JSON") << "workspaces" << list + R"("cutAfterBytes":7,"times":1})" << 0;
    QTest::newRow("favourites not JSON")
            << "favourites"
            << QByteArray(R"({"method":"GET","pathPrefix":"/api/v1/workspaces/w-design/favorites",)"
                          R"("cutAfterBytes":5})")
            << 0;
    QTest::newRow("rename 403") << "rename" << QByteArray(R"({"method":"PUT","pathPrefix":"/api/","status":403})") << 0;
    QTest::newRow("create, name taken") << "create" << QByteArray() << 0;
    QTest::newRow("delete 403") << "delete" << QByteArray(R"({"method":"DELETE","pathPrefix":"/api/","status":403})")
                                << 0;
    QTest::newRow("copy 500") << "copy" << QByteArray(R"({"method":"POST","pathPrefix":"/api/","status":500})") << 0;
}

void tst_BTCloudManager::failedAnswersLeaveTheModelUnchanged()
{
    QFETCH(QString, operation);
    QFETCH(QByteArray, fault);
    QFETCH(int, result);

    auto manager = signedIn();
    QVERIFY(manager);
    const FilePtr root = manager->getActiveWorkspace()->getRootFolder();
    QCOMPARE(list(*manager, root), 200);
    const FilePtr design = child(root, "Design");
    manager->getActiveWorkspace()->setFavoriteFiles({ design });
    const QString before = dumpModel(*manager);
    if (!fault.isEmpty())
        QVERIFY(!m_cloud->addFault(QJsonDocument::fromJson(fault).object()).isEmpty());

    BTCloudManager& m = *manager;
    const QMap<QString, std::function<int()>> operations{
        { "children",
          [&] {
              return firstResult(m, &BTCloudManager::queryChildrenFinished,
                                 [&] { m.queryChildren(Design, root, false, true); });
          } },
        { "meta",
          [&] {
              return firstResult(m, &BTCloudManager::queryFileMetaFinished, [&] { m.queryFileMeta(Design, design); });
          } },
        { "workspaces",
          [&] {
              return firstResult(m, &BTCloudManager::queryAllWorkspaceFinished, [&] { m.queryAllWorkspace(false); });
          } },
        { "favourites",
          [&] {
              return firstResult(m, &BTCloudManager::queryFavoriteFilesFinished, [&] { m.queryFavoriteFiles(Design); });
          } },
        { "rename",
          [&] {
              return firstResult(m, &BTCloudManager::renameFileFinished,
                                 [&] { m.renameName(Design, design, "Design", "D2"); });
          } },
        { "create",
          [&] {
              const FilePtr placeholder = FilePtr::create();
              MFile::addChild(placeholder, root);
              return firstResult(m, &BTCloudManager::createFolderFinished,
                                 [&] { m.createFolder(Design, root, placeholder, "Design"); });
          } },
        { "delete",
          [&] {
              return firstResult(m, &BTCloudManager::deleteFilesFinished,
                                 [&] { m.deleteFiles(Design, root, { design }); });
          } },
        { "copy",
          [&] {
              return firstResult(m, &BTCloudManager::addFilesFinished,
                                 [&] { m.copyFiles(Design, root, child(root, "Empty"), { design }, false); });
          } },
    };
    QCOMPARE(operations.value(operation)(), result);
    QCOMPARE(dumpModel(*manager), before);
}

void tst_BTCloudManager::otherRepliesAreHandledWhileMetaWaits()
{
    auto manager = signedIn();
    QVERIFY(manager);
    const FilePtr root = manager->getActiveWorkspace()->getRootFolder();
    QCOMPARE(list(*manager, root), 200);
    QVERIFY(!m_cloud->addFault({ { "pathPrefix", "/api/v1/workspaces/w-design/meta" }, { "delayMs", 1000 } })
                     .isEmpty());
    QSignalSpy children(manager.get(), &BTCloudManager::queryChildrenFinished);
    QSignalSpy meta(manager.get(), &BTCloudManager::queryFileMetaFinished);
    QVERIFY(manager->queryChildren(Design, root, false, true));
    QVERIFY(manager->queryFileMeta(Design, child(root, "Design")));
    QCOMPARE(children.count(), 1);
    QCOMPARE(meta.count(), 1);
}

void tst_BTCloudManager::metaWaitEndsAfterTheSyncInterval()
{
    BTimings fast;
    fast.syncWaitMs = 300;
    BTimings::Override scope(fast);
    auto manager = signedIn();
    QVERIFY(manager);
    QVERIFY(!m_cloud->addFault({ { "pathPrefix", "/api/v1/workspaces/w-design/meta" }, { "hang", true } }).isEmpty());
    QSignalSpy meta(manager.get(), &BTCloudManager::queryFileMetaFinished);
    QVERIFY(manager->queryFileMeta(Design, manager->getActiveWorkspace()->getRootFolder()));
    QCOMPARE(meta.count(), 0); // back without the answer
}

void tst_BTCloudManager::destroyedManagerIsNeverCalledBack_data()
{
    QTest::addColumn<bool>("duringAWait");
    QTest::newRow("with requests out") << false;
    QTest::newRow("inside a nested wait") << true;
}

void tst_BTCloudManager::destroyedManagerIsNeverCalledBack()
{
    QFETCH(bool, duringAWait);
    QPointer<BTCloudManager> manager(signedIn().release());
    QVERIFY(manager);
    const FilePtr root = manager->getActiveWorkspace()->getRootFolder();
    QCOMPARE(list(*manager, root), 200);
    if (duringAWait) {
        QVERIFY(!m_cloud->addFault({ { "pathPrefix", "/api/v1/workspaces/w-design/meta" }, { "hang", true } })
                         .isEmpty());
        QTimer::singleShot(100, this, [&] { delete manager.data(); });
        manager->queryFileMeta(Design, child(root, "Design"));
    } else {
        QVERIFY(manager->queryChildren(Design, root, false, true));
        QVERIFY(manager->queryChildrenAttributes(root));
        QVERIFY(manager->queryFavoriteFiles(Design) && manager->queryAllWorkspace(true));
        QVERIFY(manager->queryWorkspaceQuota(Design) && manager->queryUserInfo());
        delete manager.data();
    }
    QVERIFY(!manager);
    QVERIFY(m_cloud->clearFaults()); // the answers, if any still come, meet no manager
    QCOMPARE(m_cloud->request("GET", "/admin/faults").status, 200);
}

void tst_BTCloudManager::favouritesShareLinksAndAttributes()
{
    auto manager = signedIn();
    QVERIFY(manager);
    MWorkspace* workspace = manager->getActiveWorkspace();
    const FilePtr root = workspace->getRootFolder();
    QCOMPARE(list(*manager, root), 200);
    const FilePtr design = child(root, "Design");
    const FilePtr readme = child(root, "readme.md");

    QCOMPARE(firstResult(*manager, &BTCloudManager::addFavoriteFilesFinished,
                         [&] {
                             manager->addFavoriteFiles(Design, { design, readme });
                         }),
             1);
    QCOMPARE(ids(workspace->getFavoriteFiles()), QStringList({ "f-design", "f-readme" }));
    QCOMPARE(jsonIds(get("favorites")), QStringList({ "f-design", "f-readme" }));
    QCOMPARE(firstResult(*manager, &BTCloudManager::removeFavoriteFilesFinished,
                         [&] { manager->removeFavoriteFiles(Design, { design }); }),
             1);
    QCOMPARE(ids(workspace->getFavoriteFiles()), QStringList{ "f-readme" });
    QCOMPARE(jsonIds(get("favorites")), QStringList{ "f-readme" });
    QCOMPARE(firstResult(*manager, &BTCloudManager::queryFavoriteFilesFinished,
                         [&] { manager->queryFavoriteFiles(Design); }),
             1);
    QCOMPARE(workspace->getFavoriteFiles().value(0)->getPrivileges(), AllPrivileges);

    MFileShareLink link;
    link.setFileIds({ "f-readme" });
    link.setEncrypt(true);
    link.setPrivilege(MFileShareLink::PrivilegePreview, true);
    QSignalSpy created(manager.get(), &BTCloudManager::createShareLinkFinished);
    QVERIFY(manager->createShareLink(Design, link));
    QVERIFY(created.wait());
    const auto made = created.at(0).at(2).value<QWeakPointer<MFileShareLink>>().toStrongRef();
    QVERIFY(made && made->getEncrypt() && made->getPassword().size() == 4);
    QCOMPARE(workspace->getShareLinks().value(0), made);
    QCOMPARE(jsonIds(get("share-links")), QStringList{ made->getId() });

    MFileShareLink change;
    change.setPrivilege(MFileShareLink::PrivilegeDownload, true);
    QCOMPARE(firstResult(*manager, &BTCloudManager::updateShareLinkFinished,
                         [&] { manager->updateShareLink(Design, change, made); }),
             1);
    QCOMPARE(made->getPrivileges(), QStringList{ "download" });
    QVERIFY(!made->getEncrypt());
    QCOMPARE(get("share-links").value("items").toArray().at(0).toObject().value("privileges").toArray(),
             QJsonArray{ "download" });
    QCOMPARE(firstResult(*manager, &BTCloudManager::removeShareLinksFinished,
                         [&] { manager->removeShareLinks(Design, { made }); }),
             1);
    QVERIFY(workspace->getShareLinks().isEmpty());
    QVERIFY(jsonIds(get("share-links")).isEmpty());

    QCOMPARE(firstResult(*manager, &BTCloudManager::addAttributesFinished,
                         [&] {
                             manager->updateFileAttributes(readme, { { "stage", "review" } });
                         }),
             1);
    QCOMPARE(readme->getAttributes().value("stage"), "review");
    const QJsonObject stage{ { "key", "stage" }, { "value", "review" } };
    QCOMPARE(get("attributes?id=f-readme").value("data").toArray(), QJsonArray{ stage });
}

void tst_BTCloudManager::fileOperationsChangeTreeAndServer()
{
    auto manager = signedIn();
    QVERIFY(manager);
    const FilePtr root = manager->getActiveWorkspace()->getRootFolder();
    QCOMPARE(list(*manager, root), 200);

    const FilePtr reviews = FilePtr::create();
    QCOMPARE(firstResult(*manager, &BTCloudManager::createFolderFinished,
                         [&] { manager->createFolder(Design, root, reviews, "Reviews"); }),
             1);
    QCOMPARE(child(root, "Reviews"), reviews);
    QVERIFY(onServer("/").contains("Reviews"));

    const FilePtr readme = child(root, "readme.md");
    QSignalSpy renamed(manager.get(), &BTCloudManager::renameFileFinished);
    QVERIFY(manager->renameName(Design, readme, "readme.md", "notes.md"));
    QCOMPARE(readme->getFileName(), "notes.md"); // at once
    QVERIFY(renamed.wait());
    QVERIFY(renamed.at(0).at(0).toBool());
    QVERIFY(onServer("/").contains("notes.md"));

    // One request and one signal per file.
    const FilePtr empty = child(root, "Empty");
    const FilePtr big = child(root, "big.bin");
    QSignalSpy added(manager.get(), &BTCloudManager::addFilesFinished);
    QVERIFY(manager->copyFiles(Design, root, empty, { readme, big }, false));
    QTRY_COMPARE(added.count(), 2);
    for (const QList<QVariant>& signal : std::as_const(added))
        QVERIFY(signal.at(0).toBool() && signal.at(3).value<QList<MWeakFile>>().size() == 1);
    QVERIFY(child(empty, "notes.md") && child(empty, "big.bin") && child(root, "notes.md"));
    QCOMPARE(onServer("/Empty"), QStringList({ "big.bin", "notes.md" }));

    QSignalSpy deleted(manager.get(), &BTCloudManager::deleteFilesFinished);
    added.clear();
    QVERIFY(manager->copyFiles(Design, root, reviews, { big }, true));
    QVERIFY(added.wait());
    QCOMPARE(deleted.count(), 1); // the source's signal came first
    QVERIFY(!child(root, "big.bin"));
    QCOMPARE(child(reviews, "big.bin")->getId(), "f-big");
    QCOMPARE(onServer("/Reviews"), QStringList{ "big.bin" });

    deleted.clear();
    QVERIFY(manager->deleteFiles(Design, empty, { child(empty, "notes.md"), MWeakFile(), child(empty, "big.bin") }));
    QTRY_COMPARE(deleted.count(), 2);
    QVERIFY(deleted.at(0).at(0).toBool() && deleted.at(1).at(0).toBool());
    QVERIFY(empty->getChildren().isEmpty());
    QVERIFY(onServer("/Empty").isEmpty());
}

void tst_BTCloudManager::logoutDropsTheSession()
{
    auto manager = signedIn();
    QVERIFY(manager);
    QSignalSpy active(manager.get(), &BTCloudManager::activeWorkspaceChanged);
    QSignalSpy loggedOut(manager.get(), &BTCloudManager::logoutFinished);
    manager->logout();
    QCOMPARE(active.count(), 1);
    QVERIFY(!active.at(0).at(0).value<MWorkspace*>() && !manager->getActiveWorkspace());
    QVERIFY(!manager->getToken() && !manager->getCurrentUser() && manager->getWorkspaces()->isEmpty());
    manager->logout();
    QCOMPARE(loggedOut.count(), 2);
    QCOMPARE(active.count(), 1);
    QVERIFY(!manager->queryUserInfo());
}

QTEST_GUILESS_MAIN(tst_BTCloudManager)
#include "tst_btcloudmanager.moc"
