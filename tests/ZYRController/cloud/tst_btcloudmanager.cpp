// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CloudServerFixture.h"

#include <ZYRController/BFileAttributeUpdateHelper.h>
#include <ZYRController/BFileOpenManager.h>
#include <ZYRController/BQueryAttributesHandler.h>
#include <ZYRController/BQueryChildrenAttributesHelper.h>
#include <ZYRController/BTCloudManager.h>
#include <ZYRController/BTimings.h>
#include <ZYRModel/MInstallInfo.h>
#include <ZYRModel/MToken.h>
#include <ZYRModel/MUser.h>
#include <ZYRModel/MWorkspaceQuota.h>
#include <ZYRService/ZYRServiceUtil.h>

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <functional>

using namespace Trelan::Oku::ZYRController;
using namespace Trelan::Oku::ZYRModel;
using Trelan::Oku::ZYRService::ZYRServiceUtil;
using FilePtr = QSharedPointer<MFile>;
using Attributes = QMap<QString, QString>;

// The first argument of the first emission of a signal of m after the call, as an int.
#define RESULT(signal, ...) firstResult(m, &BTCloudManager::signal, [&] { __VA_ARGS__; })

namespace {

const QString Design = "w-design";
const QByteArray DesignRoute = "/api/v1/workspaces/w-design/";
const QStringList AllPrivileges{ "enter", "view", "download", "create", "update", "delete", "grant" };

template <typename Signal>
int firstResult(BTCloudManager* manager, Signal signal, const std::function<void()>& call)
{
    QSignalSpy spy(manager, signal);
    call();
    return (spy.count() > 0 || spy.wait()) ? spy.at(0).at(0).toInt() : -100;
}

// A manager signed in as \a account with its default workspace active; null when that failed.
std::unique_ptr<BTCloudManager> signedIn(const QString& account = "alice")
{
    auto manager = std::make_unique<BTCloudManager>();
    BTCloudManager* m = manager.get();
    QSignalSpy active(m, &BTCloudManager::activeWorkspaceChanged);
    if (RESULT(loginFinished, m->login(account, account + "-pass")) != 0 || !m->queryUserInfo()
        || !(active.count() > 0 || active.wait()))
        return nullptr;
    return manager;
}

FilePtr child(const MWeakFile& folder, const QString& name)
{
    const FilePtr node = folder.toStrongRef();
    return node ? node->getChild(name) : FilePtr();
}

int list(BTCloudManager* m, const FilePtr& folder)
{
    return RESULT(queryChildrenFinished, m->queryChildren(folder->getWorkspaceId(), folder, false, true));
}

FilePtr listedRoot(BTCloudManager* m) // the active workspace's root, listed
{
    const FilePtr root = m ? m->getActiveWorkspace()->getRootFolder() : FilePtr();
    return root && list(m, root) == 200 ? root : FilePtr();
}

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

QStringList fieldOf(const QJsonArray& items, const char* field)
{
    QStringList values;
    for (const QJsonValue& item : items)
        values.append(item[QLatin1String(field)].toString());
    return values;
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly)
            && file.write(bytes) == bytes.size();
}

// Counts the answers it receives, so that a test knows when all are in.
class CountingHelper : public BQueryChildrenAttributesHelper {
public:
    using BQueryChildrenAttributesHelper::BQueryChildrenAttributesHelper;
    void onQueryAttributesFinished(BReplyHandlerBase* handler) override
    {
        ++answers;
        BQueryChildrenAttributesHelper::onQueryAttributesFinished(handler);
    }
    int answers = 0;
};

} // namespace

class tst_BTCloudManager : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanup();
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
    void nestedWaitsLetOtherEventsThrough_data();
    void nestedWaitsLetOtherEventsThrough();
    void uploadKeysFollowTheLocalTree_data();
    void uploadKeysFollowTheLocalTree();
    void folderUploadEndsWithAttributesAtTheirPaths();
    void childrenAttributesCompleteOnce_data();
    void childrenAttributesCompleteOnce();
    void changesShowInTheTreeAndOnTheServer();

private:
    BTCloudManager* signIn(const QString& account = "alice");
    QJsonObject get(const QByteArray& route);
    QStringList onServer(const QString& path);

    std::unique_ptr<CloudServerFixture> m_cloud;
    std::unique_ptr<BTCloudManager> m_manager;
    QTemporaryDir m_dir;
    QString m_token;
};

BTCloudManager* tst_BTCloudManager::signIn(const QString& account)
{
    return (m_manager = signedIn(account)).get();
}

QJsonObject tst_BTCloudManager::get(const QByteArray& route)
{
    return m_cloud->request("GET", DesignRoute + route, {}, m_token).json();
}

QStringList tst_BTCloudManager::onServer(const QString& path)
{
    return fieldOf(get("children?path=" + QUrl::toPercentEncoding(path))["items"].toArray(), "name");
}

void tst_BTCloudManager::initTestCase()
{
    m_cloud = std::make_unique<CloudServerFixture>();
    QVERIFY2(m_cloud->start(), qPrintable(m_cloud->errorString()));
    qputenv("ZYR_DATA_DIR", m_dir.filePath("client").toLocal8Bit()); // the client's stores
    ZYRServiceUtil::setServerUrl(m_cloud->baseUrl());
    m_token = m_cloud->signIn();
    QVERIFY(!m_token.isEmpty());
    QVERIFY(QDir(m_dir.path()).mkpath("D/proj/sub") && QDir(m_dir.path()).mkpath("D/project"));
    // More children than privilege queries go out at once.
    const QJsonObject many{ { "parentId", "f-2019" }, { "name", "Many" } };
    const auto made = m_cloud->request("POST", DesignRoute + "folders", QJsonDocument(many).toJson(), m_token);
    for (int i = 0; i < 49; ++i) {
        const QJsonObject child{ { "parentId", made.json()["id"] }, { "name", QString::asprintf("c%02d", i) } };
        QCOMPARE(m_cloud->request("POST", DesignRoute + "folders", QJsonDocument(child).toJson(), m_token).status, 200);
    }
}

void tst_BTCloudManager::cleanup()
{
    m_manager.reset();
    ZYRServiceUtil::setServerUrl(m_cloud->baseUrl());
    QVERIFY(m_cloud->clearFaults());
}

void tst_BTCloudManager::signInLoadsUserWorkspacesAndRoot()
{
    BTCloudManager manager;
    BTCloudManager* m = &manager;
    QVERIFY(RESULT(loginFinished, m->login("alice", "wrong")) != 0 && !m->getToken());
    QCOMPARE(RESULT(loginFinished, m->login("alice", "alice-pass")), 0);
    QSignalSpy user(m, &BTCloudManager::queryUserInfoFinished);
    QString rootAtSignal;
    connect(m, &BTCloudManager::activeWorkspaceChanged, this, [&](MWorkspace* workspace) {
        const FilePtr root = workspace ? workspace->getRootFolder() : FilePtr::create();
        rootAtSignal = root->getId() + ':' + root->getPrivileges().join(',');
    });
    QCOMPARE(RESULT(queryAllWorkspaceFinished, m->queryUserInfo()), 1);
    QVERIFY(user.count() == 1 && user.at(0).at(0).toBool() && m->getCurrentUser()->getId() == "u-alice");
    QCOMPARE(rootAtSignal, "w-design-root:" + AllPrivileges.join(','));
    const QByteArray avatar = m_cloud->request("GET", "/api/v1/users/u-alice/avatar", {}, m_token).body;
    QTRY_COMPARE(m->getCurrentUser()->getAvatarData32(), avatar);
    const FilePtr root = listedRoot(m);
    QVERIFY(root);
    QCOMPARE(root->getChildren().constLast()->getFileName(), onServer("/").constLast());

    BTCloudManager::reportInstallInfo(MInstallInfo()); // no token, no answer
    QTRY_COMPARE(m_cloud->request("GET", "/admin/install-info").json()["items"].toArray().size(), 1);
    QSignalSpy loggedOut(m, &BTCloudManager::logoutFinished);
    QSignalSpy active(m, &BTCloudManager::activeWorkspaceChanged);
    m->logout();
    m->logout();
    QVERIFY(loggedOut.count() == 2 && active.count() == 1 && !m->getActiveWorkspace());
    QVERIFY(!m->getToken() && !m->getCurrentUser() && m->getWorkspaces()->isEmpty());
}

void tst_BTCloudManager::childrenCarryThePrivilegesOfTheRole_data()
{
    QTest::addColumn<QString>("where"); // account, workspace, key (a path when it starts with "/"), path, child
    QTest::addColumn<QStringList>("privileges");
    QTest::newRow("creator, root by path") << "alice w-design / / Design" << AllPrivileges;
    QTest::newRow("member of value 47, by id")
            << "bob w-design f-design /Design overview.txt" << AllPrivileges.mid(0, 3);
    QTest::newRow("application data, any role")
            << "bob w-design /应用数据 /应用数据 settings.json" << QStringList{ "view", "download", "grant" };
    QTest::newRow("member of value 48943, by path")
            << "alice w-projects /Alpha /Alpha notes.txt" << AllPrivileges.mid(0, 5);
    QTest::newRow("creator of the other workspace") << "bob w-projects f-p-alpha /Alpha notes.txt" << AllPrivileges;
    QTest::newRow("more children than queries in flight")
            << "alice w-design /Design/2019/Many /Design/2019/Many c48" << AllPrivileges;
}

void tst_BTCloudManager::childrenCarryThePrivilegesOfTheRole()
{
    QFETCH(QString, where);
    QFETCH(QStringList, privileges);
    const QStringList w = where.split(' ');
    BTimings fast;
    fast.syncWaitMs = 20000; // a stalled batch ends the wait, not the test's time limit
    BTimings::Override scope(fast);
    BTCloudManager* m = signIn(w[0]);
    QVERIFY(m);
    QStringList atSignal;
    connect(m, &BTCloudManager::queryChildrenByInfoFinished, this, [&](int, const QString&, const MWeakFile& folder) {
        atSignal = child(folder, w[4]) ? child(folder, w[4])->getPrivileges() : QStringList{ "none" };
    });
    QCOMPARE(RESULT(queryChildrenByInfoFinished, m->queryChildrenByInfo(w[1], w[2], w[2].startsWith('/'))), 200);
    const FilePtr folder = m->getActiveFolder().toStrongRef(); // the folder asked for is now the active one
    QVERIFY(folder && folder->getPath() == w[3] && m->getActiveWorkspace()->getId() == w[1]);
    QCOMPARE(atSignal, privileges); // waited for before the signal
    QVERIFY(!m->queryChildrenByInfo(w[1], w[2], w[2].startsWith('/'))); // the active folder is not asked again
    // An id is unique across workspaces, a path is not.
    const QString other = w[1] == Design ? "w-projects" : Design;
    QCOMPARE(m->queryChildrenByInfo(other, w[2], w[2].startsWith('/')), w[2].startsWith('/'));
}

void tst_BTCloudManager::queriesFillTheNode()
{
    BTCloudManager* m = signIn();
    QVERIFY(m);
    QCOMPARE(RESULT(queryChildrenByInfoFinished, m->queryChildrenByInfo(Design, "/Design/2019", true)), 200);
    const FilePtr plan = child(m->getActiveFolder(), "plan.dwg");
    QVERIFY(plan);
    plan->setRevisionNumber(0);
    plan->setPrivileges({});
    QSignalSpy meta(m, &BTCloudManager::queryFileMetaFinished);
    QVERIFY(m->queryFileMeta(Design, plan));
    QCOMPARE(meta.count(), 1); // answered before it returned
    QVERIFY(plan->getRevisionNumber() == 3 && plan->getPrivileges() == AllPrivileges);
    const FilePtr design = plan->getParent()->getParent(); // its own attributes first, waited for
    QCOMPARE(RESULT(queryChildrenFinished, m->queryChildren(Design, design, true, true)), 200);
    QVERIFY(design->getAttributes().value("owner") == "alice" && design->hasStatus(MFile::StatusAttributesLoaded));

    QCOMPARE(RESULT(queryFileThumbnailFinished, m->queryFileThumbnail(Design, plan)), 1);
    QCOMPARE(plan->getThumbnailData(), m_cloud->request("GET", DesignRoute + "thumbnail?id=f-plan", {}, m_token).body);
    QVERIFY(!m->queryFileThumbnail(Design, plan)); // fetched once
    QSignalSpy viewcode(m, &BTCloudManager::queryViewcodeFinished);
    QVERIFY(m->queryViewCode(Design, plan) && viewcode.wait());
    QVERIFY(viewcode.at(0).at(4).toString().endsWith("/view/" + viewcode.at(0).at(3).toString()));
    QCOMPARE(RESULT(queryWorkspaceQuotaFinished, m->queryWorkspaceQuota(Design)), 1);
    QCOMPARE(m->getWorkspaceById(Design)->getQuota()->getUsedSize(), get("quota")["usedSize"].toInteger());
    QSignalSpy loginToken(m, &BTCloudManager::queryTargetLoginTokenFinished);
    QVERIFY(m->queryTargetLoginToken("https://viewer.example/d") && loginToken.wait());
    QVERIFY(loginToken.at(0).at(1).toString().startsWith("lt-")
            && loginToken.at(0).at(2) == "https://viewer.example/d");
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
    BTCloudManager* m = signIn();
    QVERIFY(m);
    MWorkspace* workspace = m->getWorkspaceById(Design);
    workspace->setLogoUrl(url.replace("HOST", m_cloud->baseUrl().authority()));
    QCOMPARE(RESULT(queryWorkspaceLogoFinished, m->queryWorkspaceLogo(Design)), int(success));
    QCOMPARE(workspace->getLogoData(), success ? m_cloud->request("GET", DesignRoute + "logo", {}, m_token).body : "");
}

void tst_BTCloudManager::workspaceListMergesOrRebuilds_data()
{
    QTest::addColumn<bool>("merge");
    QTest::addColumn<QString>("layout"); // the second server's list: id, "*" for the default, "=name"
    QTest::addColumn<QString>("expected"); // the list; the active one; those kept as objects, with their trees
    QTest::newRow("merge follows the answer, keeps objects and the active one")
            << true << "w-projects=Renamed,w-design,w-extra"
            << "w-projects w-design w-extra;w-design;w-projects w-design";
    QTest::newRow("merge without the active one activates the first") << true << "w-projects,w-extra"
                                                                      << "w-projects w-extra;w-projects;w-projects";
    QTest::newRow("full update rebuilds, activates the default") << false << "w-projects*,w-design,w-extra"
                                                                 << "w-projects w-design w-extra;w-projects;";
    QTest::newRow("full update without a default activates the first") << false << "w-extra,w-design"
                                                                       << "w-extra w-design;w-extra;";
    QTest::newRow("full update activates the default only") << false << "w-design,w-projects*"
                                                            << "w-design w-projects;w-projects;";
}

void tst_BTCloudManager::workspaceListMergesOrRebuilds()
{
    QFETCH(bool, merge);
    QFETCH(QString, layout);
    QFETCH(QString, expected);
    const QString order = expected.section(';', 0, 0), active = expected.section(';', 1, 1);
    const QStringList kept = expected.section(';', 2).split(' ');
    BTCloudManager* m = signIn();
    QVERIFY(listedRoot(m));
    QMap<QString, FilePtr> roots; // held, so that no new root can take an old one's address
    for (MWorkspace* workspace : *m->getWorkspaces())
        roots.insert(workspace->getId(), workspace->getRootFolder());

    // A running server's workspaces cannot change: a second one is seeded with the changed list.
    QFile sample(CloudServerFixture::defaultOptions().seedFile);
    QVERIFY(sample.open(QIODevice::ReadOnly));
    QJsonObject seed = QJsonDocument::fromJson(sample.readAll()).object();
    QMap<QString, QJsonObject> known;
    for (const QJsonValue& workspace : seed["workspaces"].toArray())
        known.insert(workspace["id"].toString(), workspace.toObject());
    QJsonArray workspaces;
    const QJsonArray members{ QJsonObject{ { "userId", "u-alice" }, { "role", "CREATOR" } } };
    for (const QString& entry : layout.split(',')) {
        const QString id = entry.section('=', 0, 0).remove('*');
        QJsonObject workspace = known.value(id, { { "id", id }, { "name", id }, { "members", members } });
        workspace.insert("isDefault", entry.section('=', 0, 0).endsWith('*'));
        workspace.insert("name", entry.contains('=') ? entry.section('=', 1) : workspace["name"].toString());
        workspaces.append(workspace);
    }
    seed.insert("workspaces", workspaces);
    CloudServerFixture::Options options = CloudServerFixture::defaultOptions();
    options.seedFile = m_dir.filePath(QString::number(qHash(layout)) + ".json");
    QVERIFY(writeFile(options.seedFile, QJsonDocument(seed).toJson()));
    CloudServerFixture other(options);
    QVERIFY2(other.start(), qPrintable(other.errorString()));
    ZYRServiceUtil::setServerUrl(other.baseUrl());
    auto* token = new MToken;
    token->setAccessToken(other.signIn());
    m->setToken(token);

    QSignalSpy activeChanged(m, &BTCloudManager::activeWorkspaceChanged);
    QCOMPARE(RESULT(queryAllWorkspaceFinished, m->queryAllWorkspace(merge)), 1);
    QStringList listed;
    for (MWorkspace* workspace : *m->getWorkspaces()) {
        listed.append(workspace->getId());
        QCOMPARE(workspace->getRootFolder() == roots.value(workspace->getId()), kept.contains(workspace->getId()));
    }
    QCOMPARE(listed.join(' '), order);
    QCOMPARE(m->getActiveWorkspace()->getId(), active);
    QCOMPARE(activeChanged.count(), merge && active == Design ? 0 : 1);
    QCOMPARE(m->getActiveWorkspace()->getRootFolder()->getId(), active + "-root"); // its meta applied
    QVERIFY(!layout.contains("Renamed") || m->getWorkspaceById("w-projects")->getName() == "Renamed");
}

void tst_BTCloudManager::nothingIsSentWithoutTokenOrArguments()
{
    BTCloudManager* m = signIn();
    BTCloudManager signedOut;
    const FilePtr root = listedRoot(m);
    QVERIFY(root);
    const FilePtr design = child(root, "Design");
    MWeakFile gone = FilePtr::create();
    QList<std::shared_ptr<QSignalSpy>> spies;
    for (BTCloudManager* object : { m, &signedOut }) {
        for (int i = object->metaObject()->methodOffset(); i < object->metaObject()->methodCount(); ++i) {
            if (object->metaObject()->method(i).methodType() == QMetaMethod::Signal)
                spies.append(std::make_shared<QSignalSpy>(object, object->metaObject()->method(i)));
        }
    }
    // Any request the server sees from here on uses this fault up.
    QVERIFY(!m_cloud->addFault({ { "pathPrefix", "/api/" }, { "status", 503 }, { "times", 1000 } }).isEmpty());
    const QList<std::pair<const char*, std::function<bool()>>> calls{
        { "a listed folder without refresh", [&] { return m->queryChildren(Design, root); } },
        { "a copy into its own folder", [&] { return m->copyFiles(Design, root, root, { design }, false); } },
        { "a copy of nothing", [&] { return m->copyFiles(Design, root, design, {}, true); } },
        { "a delete of gone files", [&] { return m->deleteFiles(Design, root, { gone }); } },
        { "a rename of a gone node", [&] { return m->renameName(Design, gone, "a", "b"); } },
        { "an empty target link", [&] { return m->queryTargetLoginToken(QString()); } },
        { "signed out: workspaces", [&] { return signedOut.queryAllWorkspace(true); } },
        { "signed out, no id: logo", [&] { return signedOut.queryWorkspaceLogo(QString()); } },
    };
    for (const auto& [name, call] : calls)
        QVERIFY2(!call(), name);
    const QJsonObject faults = m_cloud->request("GET", "/admin/faults").json(); // a round trip of events
    QCOMPARE(faults["items"][0]["times"].toInt(), 1000);
    for (const auto& spy : spies)
        QVERIFY2(spy->isEmpty(), spy->signal().constData());
}

void tst_BTCloudManager::failedAnswersLeaveTheModelUnchanged_data()
{
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<int>("result"); // the signal's first argument
    const QByteArray children = R"({"pathPrefix":"/api/v1/workspaces/w-design/children",)";
    const QByteArray meta = R"({"pathPrefix":"/api/v1/workspaces/w-design/meta",)";
    const QByteArray list = R"({"method":"GET","pathPrefix":"/api/v1/workspaces","times":1,)";
    const QByteArray favourites = R"({"method":"GET","pathPrefix":"/api/v1/workspaces/w-design/favorites",)";
    const QByteArray change = R"({"pathPrefix":"/api/","method":)";
    QTest::newRow("children 500") << "queryChildrenFinished" << children + R"("status":500})" << 500;
    QTest::newRow("children not JSON") << "queryChildrenFinished" << children + R"("cutAfterBytes":12})" << -1;
    QTest::newRow("meta 401") << "queryFileMetaFinished" << meta + R"("status":401})" << 0;
    QTest::newRow("meta not JSON") << "queryFileMetaFinished" << meta + R"("cutAfterBytes":9})" << 0;
    QTest::newRow("workspaces not JSON") << "queryAllWorkspaceFinished" << list + R"("cutAfterBytes":7})" << 0;
    QTest::newRow("favourites not JSON") << "queryFavoriteFilesFinished" << favourites + R"("cutAfterBytes":5})" << 0;
    QTest::newRow("rename 403") << "renameFileFinished" << change + R"("PUT","status":403})" << 0;
    QTest::newRow("create, name taken") << "createFolderFinished" << QByteArray() << 0;
    QTest::newRow("delete 403") << "deleteFilesFinished" << change + R"("DELETE","status":403})" << 0;
    QTest::newRow("copy 500") << "addFilesFinished" << change + R"("POST","status":500})" << 0;
}

void tst_BTCloudManager::failedAnswersLeaveTheModelUnchanged()
{
    QFETCH(QString, signal);
    QFETCH(QByteArray, fault);
    QFETCH(int, result);
    BTCloudManager* m = signIn();
    const FilePtr root = listedRoot(m);
    QVERIFY(root);
    const FilePtr design = child(root, "Design");
    m->getActiveWorkspace()->setFavoriteFiles({ design });
    const QString before = dumpModel(*m);
    QVERIFY(fault.isEmpty() || !m_cloud->addFault(QJsonDocument::fromJson(fault).object()).isEmpty());

    const QMetaObject& meta = BTCloudManager::staticMetaObject;
    int index = meta.methodOffset();
    while (index < meta.methodCount() && meta.method(index).name() != signal.toLatin1())
        ++index;
    QSignalSpy spy(m, meta.method(index));
    const FilePtr placeholder = FilePtr::create();
    if (signal == "queryChildrenFinished")
        m->queryChildren(Design, root, false, true);
    else if (signal == "queryFileMetaFinished")
        m->queryFileMeta(Design, design);
    else if (signal == "queryAllWorkspaceFinished")
        m->queryAllWorkspace(false);
    else if (signal == "queryFavoriteFilesFinished")
        m->queryFavoriteFiles(Design);
    else if (signal == "renameFileFinished")
        m->renameName(Design, design, "Design", "D2");
    else if (signal == "createFolderFinished")
        MFile::addChild(placeholder, root), m->createFolder(Design, root, placeholder, "Design");
    else if (signal == "deleteFilesFinished")
        m->deleteFiles(Design, root, { design });
    else
        m->copyFiles(Design, root, child(root, "Empty"), { design }, false);
    QVERIFY(spy.count() > 0 || spy.wait());
    QCOMPARE(spy.at(0).at(0).toInt(), result);
    QCOMPARE(dumpModel(*m), before);
}

void tst_BTCloudManager::nestedWaitsLetOtherEventsThrough_data()
{
    QTest::addColumn<QString>("meanwhile");
    QTest::newRow("another answer is handled") << "children";
    QTest::newRow("the sync interval ends an endless wait") << "nothing";
    QTest::newRow("the manager is deleted, with requests out") << "delete";
}

void tst_BTCloudManager::nestedWaitsLetOtherEventsThrough()
{
    QFETCH(QString, meanwhile);
    BTimings fast;
    fast.syncWaitMs = meanwhile == "nothing" ? 300 : 60000;
    BTimings::Override scope(fast);
    QPointer<BTCloudManager> manager(signedIn().release());
    const FilePtr root = listedRoot(manager);
    QVERIFY(root);
    QJsonObject fault{ { "pathPrefix", QString::fromLatin1(DesignRoute + "meta") } };
    fault.insert(meanwhile == "children" ? "delayMs" : "hang", meanwhile == "children" ? QJsonValue(1000) : true);
    QVERIFY(!m_cloud->addFault(fault).isEmpty());
    QSignalSpy children(manager, &BTCloudManager::queryChildrenFinished);
    QSignalSpy meta(manager, &BTCloudManager::queryFileMetaFinished);
    if (meanwhile == "children")
        QVERIFY(manager->queryChildren(Design, root, false, true));
    if (meanwhile == "delete") {
        QVERIFY(manager->queryChildrenAttributes(root) && manager->queryFavoriteFiles(Design));
        QTimer::singleShot(100, this, [&] { delete manager.data(); });
    }
    QVERIFY(manager->queryFileMeta(Design, child(root, "Design")));
    QVERIFY(children.count() == meta.count() && meta.count() == (meanwhile == "children" ? 1 : 0));
    QCOMPARE(manager.isNull(), meanwhile == "delete");
    delete manager.data();
}

void tst_BTCloudManager::uploadKeysFollowTheLocalTree_data()
{
    QTest::addColumn<QString>("uploaded"); // below the test's directory
    QTest::addColumn<QStringList>("files"); // with attributes, each its own
    QTest::addColumn<QString>("remotePath"); // of the one key, holding every file's attribute
    QTest::newRow("in an uploaded folder") << "D/proj" << QStringList{ "D/proj/sub/x.dwg" } << "/R/proj/sub/x.dwg";
    QTest::newRow("in no uploaded folder") << "D/proj D/y.txt" << QStringList{ "D/y.txt" } << "/R/y.txt";
    QTest::newRow("in a folder that only shares a prefix")
            << "D/proj D/project" << QStringList{ "D/project/z" } << "/R/project/z";
    QTest::newRow("two files of one key merge") << "D/proj" << QStringList{ "D/proj/a", "D\\proj//a" } << "/R/proj/a";
}

void tst_BTCloudManager::uploadKeysFollowTheLocalTree()
{
    QFETCH(QString, uploaded);
    QFETCH(QStringList, files);
    QFETCH(QString, remotePath);
    BFileAttributeUpdateHelper helper(nullptr);
    QStringList localPaths;
    for (const QString& path : uploaded.split(' '))
        localPaths.append(m_dir.filePath(path));
    QMap<QString, Attributes> byFile;
    for (const QString& file : std::as_const(files))
        byFile.insert(m_dir.filePath(file), { { file, "x" } });
    helper.addUploadedFileAttributes(Design, "/R", localPaths, byFile);
    const QStringList keys{ BFileAttributeUpdateHelper::generateUploadedFileKey(Design, remotePath) };
    QCOMPARE(helper.pendingAttributes().keys(), keys);
    QCOMPARE(helper.pendingAttributes().first().size(), files.size());
}

void tst_BTCloudManager::folderUploadEndsWithAttributesAtTheirPaths()
{
    BTCloudManager* m = signIn();
    const FilePtr target = child(listedRoot(m), "Design");
    QVERIFY(target && list(m, target) == 200);
    const QString local = m_dir.filePath("upload");
    QVERIFY(writeFile(local + "/proj/a.txt", "alpha") && writeFile(local + "/proj/sub/b.txt", "beta"));
    QVERIFY(writeFile(local + "/c.txt", "gamma"));
    const QMap<QString, Attributes> attributes{ { local + "/proj/a.txt", { { "k", "a" } } },
                                                { local + "/proj/sub/b.txt", { { "k", "b" }, { "stage", "draft" } } },
                                                { local + "/c.txt", { { "k", "c" } } } };
    BFileAttributeUpdateHelper* helper = m->getFileAttributeUpdateHelper();
    QSignalSpy added(helper, &BFileAttributeUpdateHelper::addAttributesByPathFinished);
    QVERIFY(m->uploadFilesWithAttributes({ local + "/proj", local + "/c.txt" }, Design, "Design", attributes));
    QTRY_COMPARE_WITH_TIMEOUT(added.count(), 3, 60000);
    QVERIFY(helper->pendingAttributes().isEmpty());
    for (const QString& file : QStringList{ "proj/a.txt", "proj/sub/b.txt", "c.txt" }) {
        const QByteArray route = "attributes?path=" + QUrl::toPercentEncoding("/Design/" + file);
        Attributes onServer;
        for (const QJsonValue& item : get(route)["data"].toArray())
            onServer.insert(item["key"].toString(), item["value"].toString());
        QCOMPARE(onServer, attributes.value(local + '/' + file));
    }
    QTRY_VERIFY(child(target, "proj") && child(target, "c.txt")); // shown in the listed folder
    QVERIFY(child(target, "proj")->getIsFolder());

    const FilePtr old = child(target, "c.txt"); // a new version from the open-for-editing flow replaces it
    auto edited = FilePtr::create(*old);
    edited->setId("f-new-version");
    QSignalSpy updated(m, &BTCloudManager::updateFilesFinished);
    Q_EMIT m->getFileOpenManager()->uploadModifiedFileMetaAvailable(Design, "/Design", edited);
    QVERIFY(updated.count() == 1 && child(target, "c.txt") == old && old->getId() == "f-new-version");
}

void tst_BTCloudManager::childrenAttributesCompleteOnce_data()
{
    QTest::addColumn<QString>("variant");
    QTest::addColumn<int>("answers");
    QTest::addColumn<int>("marked"); // children given the server's attributes
    QTest::newRow("every child answers") << "" << 5 << 5;
    QTest::newRow("a 500 answer still counts") << "fail one" << 5 << 4;
    QTest::newRow("a child with known attributes is skipped") << "skip one" << 4 << 4;
    QTest::newRow("a second answer of one child counts once") << "duplicate" << 6 << 0;
}

void tst_BTCloudManager::childrenAttributesCompleteOnce()
{
    QFETCH(QString, variant);
    QFETCH(int, answers);
    QFETCH(int, marked);
    BTCloudManager* m = signIn();
    const FilePtr root = listedRoot(m);
    QVERIFY(root && root->getChildren().size() == 5);
    for (const FilePtr& node : root->getChildren()) {
        const QByteArray body = R"({"id":")" + node->getId().toUtf8() + R"(","attributes":{"mark":"x"}})";
        QCOMPARE(m_cloud->request("POST", DesignRoute + "attributes", body, m_token).status, 200);
    }
    if (variant == "skip one")
        root->getChildren().first()->setStatus(MFile::StatusAttributesLoaded);
    const bool hang = variant == "duplicate";
    QJsonObject fault{ { "pathPrefix", QString(DesignRoute + "attributes") }, { "times", hang ? 0 : 1 } };
    fault.insert(hang ? "hang" : "status", hang ? QJsonValue(true) : 500);
    QVERIFY((!hang && variant != "fail one") || !m_cloud->addFault(fault).isEmpty());

    CountingHelper helper(m);
    QSignalSpy done(&helper, &BQueryChildrenAttributesHelper::childrenAttributesQueried);
    QVERIFY(helper.queryChildrenAttributes(root));
    for (int index : variant == "duplicate" ? QList<int>{ 0, 0, 1, 2, 3, 4 } : QList<int>{}) {
        QCOMPARE(done.count(), 0); // the requests hang; these answers stand in for them
        BQueryAttributesHandler answer(nullptr, root->getChildren().at(index));
        helper.onQueryAttributesFinished(&answer);
    }
    QTRY_COMPARE(helper.answers, answers);
    QCOMPARE(done.count(), 1);
    int withMark = 0;
    for (const FilePtr& node : root->getChildren())
        withMark += node->getAttributes().value("mark") == "x" ? 1 : 0;
    QCOMPARE(withMark, marked);
    m_manager.reset(); // cancels the helper's requests before the helper goes
}

void tst_BTCloudManager::changesShowInTheTreeAndOnTheServer()
{
    BTCloudManager* m = signIn();
    const FilePtr root = listedRoot(m);
    QVERIFY(root);
    MWorkspace* workspace = m->getActiveWorkspace();
    const FilePtr design = child(root, "Design");
    const FilePtr readme = child(root, "readme.md");
    QCOMPARE(RESULT(addFavoriteFilesFinished, m->addFavoriteFiles(Design, { design, readme })), 1);
    QCOMPARE(workspace->getFavoriteFiles(), QList<FilePtr>({ design, readme }));
    QCOMPARE(fieldOf(get("favorites")["items"].toArray(), "id"), QStringList({ "f-design", "f-readme" }));
    QCOMPARE(RESULT(removeFavoriteFilesFinished, m->removeFavoriteFiles(Design, { design })), 1);
    QCOMPARE(workspace->getFavoriteFiles(), QList<FilePtr>{ readme });
    QCOMPARE(RESULT(queryFavoriteFilesFinished, m->queryFavoriteFiles(Design)), 1);
    QCOMPARE(workspace->getFavoriteFiles().value(0)->getPrivileges(), AllPrivileges);

    MFileShareLink link;
    link.setFileIds({ "f-readme" });
    link.setEncrypt(true);
    link.setPrivilege(MFileShareLink::PrivilegePreview, true);
    QCOMPARE(RESULT(createShareLinkFinished, m->createShareLink(Design, link)), 1);
    const QString created = workspace->getShareLinks().value(0)->getId();
    QCOMPARE(fieldOf(get("share-links")["items"].toArray(), "id"), QStringList{ created });
    QCOMPARE(RESULT(queryShareLinksFinished, m->queryShareLinks(Design)), 1);
    const auto made = workspace->getShareLinks().value(0);
    QVERIFY(made && made->getId() == created && made->getEncrypt() && made->getPassword().size() == 4);
    MFileShareLink change;
    change.setPrivilege(MFileShareLink::PrivilegeDownload, true);
    QCOMPARE(RESULT(updateShareLinkFinished, m->updateShareLink(Design, change, made)), 1);
    QVERIFY(made->getPrivileges() == QStringList{ "download" } && !made->getEncrypt());
    QCOMPARE(get("share-links")["items"][0]["privileges"].toArray(), QJsonArray{ "download" });
    QCOMPARE(RESULT(removeShareLinksFinished, m->removeShareLinks(Design, { made })), 1);
    QVERIFY(workspace->getShareLinks().isEmpty() && get("share-links")["items"].toArray().isEmpty());

    QCOMPARE(RESULT(addAttributesFinished, m->updateFileAttributes(readme, { { "stage", "review" } })), 1);
    QVERIFY(readme->getAttributes().value("stage") == "review"
            && get("attributes?id=f-readme&attributeKey=stage")["data"][0]["value"] == "review");

    const FilePtr reviews = FilePtr::create();
    QCOMPARE(RESULT(createFolderFinished, m->createFolder(Design, root, reviews, "Reviews")), 1);
    QVERIFY(child(root, "Reviews") == reviews && onServer("/").contains("Reviews"));

    QSignalSpy renamed(m, &BTCloudManager::renameFileFinished);
    QVERIFY(m->renameName(Design, readme, "readme.md", "notes.md"));
    QCOMPARE(readme->getFileName(), "notes.md"); // at once
    QVERIFY(renamed.wait() && renamed.at(0).at(0).toBool() && onServer("/").contains("notes.md"));
    QCOMPARE(workspace->getFavoriteFiles().value(0)->getFileName(), "notes.md"); // the lists follow

    const FilePtr empty = child(root, "Empty");
    const FilePtr big = child(root, "big.bin");
    QSignalSpy added(m, &BTCloudManager::addFilesFinished);
    QVERIFY(m->copyFiles(Design, root, empty, { readme, big }, false)); // a request and a signal per file
    QTRY_COMPARE(added.count(), 2);
    for (const QList<QVariant>& signal : std::as_const(added))
        QVERIFY(signal.at(0).toBool() && signal.at(3).value<QList<MWeakFile>>().size() == 1);
    QVERIFY(child(empty, "notes.md") && child(empty, "big.bin") && child(root, "notes.md"));
    QCOMPARE(onServer("/Empty"), QStringList({ "big.bin", "notes.md" }));

    QSignalSpy deleted(m, &BTCloudManager::deleteFilesFinished);
    added.clear();
    QVERIFY(m->copyFiles(Design, root, reviews, { big }, true) && added.wait());
    QCOMPARE(deleted.count(), 1); // the source's signal came first
    QVERIFY(!child(root, "big.bin") && child(reviews, "big.bin")->getId() == "f-big");
    QCOMPARE(onServer("/Reviews"), QStringList{ "big.bin" });

    deleted.clear();
    QVERIFY(m->deleteFiles(Design, empty, { child(empty, "notes.md"), MWeakFile(), child(empty, "big.bin") }));
    QTRY_COMPARE(deleted.count(), 2);
    QVERIFY(deleted.at(0).at(0).toBool() && deleted.at(1).at(0).toBool() && empty->getChildren().isEmpty()
            && onServer("/Empty").isEmpty());
}

QTEST_GUILESS_MAIN(tst_BTCloudManager)
#include "tst_btcloudmanager.moc"
