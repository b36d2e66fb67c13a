// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CloudTestSession.h"

#include <ZYRController/BFileAttributeUpdateHelper.h>
#include <ZYRController/BQueryChildrenAttributesHelper.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>

using namespace CloudTestSession;
using Attributes = QMap<QString, QString>;

namespace {

const QString Design = QStringLiteral("w-design");

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

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

class tst_CloudAttributeHelpers : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void uploadKeysFollowTheLocalTree_data();
    void uploadKeysFollowTheLocalTree();
    void folderUploadEndsWithAttributesAtTheirPaths();
    void childrenAttributesCompleteOnce_data();
    void childrenAttributesCompleteOnce();

private:
    Attributes serverAttributes(const QString& path);

    std::unique_ptr<CloudServerFixture> m_cloud;
    QTemporaryDir m_dir;
    QString m_token;
};

void tst_CloudAttributeHelpers::initTestCase()
{
    m_cloud = std::make_unique<CloudServerFixture>();
    QVERIFY2(m_cloud->start(), qPrintable(m_cloud->errorString()));
    useCloud(*m_cloud, m_dir);
    m_token = m_cloud->signIn();
    QVERIFY(!m_token.isEmpty());
    QVERIFY(QDir(m_dir.path()).mkpath("D/proj/sub") && QDir(m_dir.path()).mkpath("D/project"));
}

void tst_CloudAttributeHelpers::cleanup()
{
    QVERIFY(m_cloud->clearFaults());
}

Attributes tst_CloudAttributeHelpers::serverAttributes(const QString& path)
{
    const QByteArray route = "/api/v1/workspaces/w-design/attributes?path=" + QUrl::toPercentEncoding(path);
    Attributes attributes;
    for (const QJsonValue& item : m_cloud->request("GET", route, {}, m_token).json().value("data").toArray())
        attributes.insert(item["key"].toString(), item["value"].toString());
    return attributes;
}

void tst_CloudAttributeHelpers::uploadKeysFollowTheLocalTree_data()
{
    QTest::addColumn<QStringList>("uploaded"); // below the test's directory
    QTest::addColumn<QStringList>("files"); // with attributes; each gets {"<file>": "x"}
    QTest::addColumn<QStringList>("remotePaths"); // one per key, in key order
    QTest::addColumn<int>("attributesOfFirst");

    QTest::newRow("a file in an uploaded folder keeps its place")
            << QStringList{ "D/proj" } << QStringList{ "D/proj/sub/x.dwg" } << QStringList{ "/R/proj/sub/x.dwg" } << 1;
    QTest::newRow("a file in no uploaded folder lands in the target")
            << QStringList{ "D/proj", "D/y.txt" } << QStringList{ "D/y.txt" } << QStringList{ "/R/y.txt" } << 1;
    QTest::newRow("a folder sharing only a prefix is not the file's")
            << QStringList{ "D/proj", "D/project" } << QStringList{ "D/project/z" } << QStringList{ "/R/project/z" }
            << 1;
    QTest::newRow("two files with one key merge")
            << QStringList{ "D/proj" } << QStringList{ "D/proj/a", "D\\proj//a" } << QStringList{ "/R/proj/a" } << 2;
}

void tst_CloudAttributeHelpers::uploadKeysFollowTheLocalTree()
{
    QFETCH(QStringList, uploaded);
    QFETCH(QStringList, files);
    QFETCH(QStringList, remotePaths);
    QFETCH(int, attributesOfFirst);

    BFileAttributeUpdateHelper helper(nullptr);
    QStringList localPaths;
    for (const QString& path : std::as_const(uploaded))
        localPaths.append(m_dir.filePath(path));
    QMap<QString, Attributes> attributes;
    for (const QString& file : std::as_const(files))
        attributes.insert(m_dir.filePath(file), { { file, "x" } });
    helper.addUploadedFileAttributes(Design, "/R", localPaths, attributes);

    QStringList keys;
    for (const QString& remotePath : std::as_const(remotePaths))
        keys.append(BFileAttributeUpdateHelper::generateUploadedFileKey(Design, remotePath));
    QCOMPARE(helper.pendingAttributes().keys(), keys);
    QCOMPARE(helper.pendingAttributes().first().size(), attributesOfFirst);
    helper.slotFileUploaded(Design, "/R/elsewhere"); // a file without attributes: nothing changes
    QCOMPARE(helper.pendingAttributes().keys(), keys);
}

void tst_CloudAttributeHelpers::folderUploadEndsWithAttributesAtTheirPaths()
{
    auto manager = signedIn();
    QVERIFY(manager);
    const FilePtr root = manager->getActiveWorkspace()->getRootFolder();
    QCOMPARE(list(*manager, root), 200);
    const FilePtr empty = child(root, "Empty");
    QCOMPARE(list(*manager, empty), 200);

    const QString local = m_dir.filePath("upload");
    QVERIFY(writeFile(local + "/proj/a.txt", "alpha") && writeFile(local + "/proj/sub/b.txt", "beta"));
    QVERIFY(writeFile(local + "/c.txt", "gamma"));
    const QMap<QString, Attributes> attributes{
        { local + "/proj/a.txt", { { "k", "a" } } },
        { local + "/proj/sub/b.txt", { { "k", "b" }, { "stage", "draft" } } },
        { local + "/c.txt", { { "k", "c" } } },
    };
    BFileAttributeUpdateHelper* helper = manager->getFileAttributeUpdateHelper();
    QSignalSpy added(helper, &BFileAttributeUpdateHelper::addAttributesByPathFinished);
    QVERIFY(manager->uploadFilesWithAttributes({ local + "/proj", local + "/c.txt" }, Design, "Empty", attributes));
    QTRY_COMPARE_WITH_TIMEOUT(added.count(), 3, 60000);
    QVERIFY(helper->pendingAttributes().isEmpty());

    QCOMPARE(serverAttributes("/Empty/proj/a.txt"), attributes.value(local + "/proj/a.txt"));
    QCOMPARE(serverAttributes("/Empty/proj/sub/b.txt"), attributes.value(local + "/proj/sub/b.txt"));
    QCOMPARE(serverAttributes("/Empty/c.txt"), attributes.value(local + "/c.txt"));
    // What the queue uploaded into a listed folder shows there.
    QTRY_VERIFY(child(empty, "proj") && child(empty, "c.txt"));
    QVERIFY(child(empty, "proj")->getIsFolder());
}

void tst_CloudAttributeHelpers::childrenAttributesCompleteOnce_data()
{
    QTest::addColumn<bool>("failOne");
    QTest::addColumn<bool>("askTwice");
    QTest::addColumn<bool>("skipOne");

    QTest::newRow("every child answers") << false << false << false;
    QTest::newRow("a 500 answer still counts") << true << false << false;
    QTest::newRow("asked twice in a row") << false << true << false;
    QTest::newRow("a child with known attributes is skipped") << false << false << true;
}

void tst_CloudAttributeHelpers::childrenAttributesCompleteOnce()
{
    QFETCH(bool, failOne);
    QFETCH(bool, askTwice);
    QFETCH(bool, skipOne);

    auto manager = signedIn();
    QVERIFY(manager);
    const FilePtr root = manager->getActiveWorkspace()->getRootFolder();
    QCOMPARE(list(*manager, root), 200);
    for (const FilePtr& node : root->getChildren()) {
        const QByteArray body = R"({"id":")" + node->getId().toUtf8() + R"(","attributes":{"mark":"x"}})";
        QCOMPARE(m_cloud->request("POST", "/api/v1/workspaces/w-design/attributes", body, m_token).status, 200);
    }
    if (skipOne)
        root->getChildren().first()->setStatus(MFile::StatusAttributesLoaded);
    if (failOne) {
        const QJsonObject fault{ { "method", "GET" },
                                 { "pathPrefix", "/api/v1/workspaces/w-design/attributes" },
                                 { "status", 500 },
                                 { "times", 1 } };
        QVERIFY(!m_cloud->addFault(fault).isEmpty());
    }

    CountingHelper helper(manager.get());
    QSignalSpy done(&helper, &BQueryChildrenAttributesHelper::childrenAttributesQueried);
    QVERIFY(helper.queryChildrenAttributes(root));
    if (askTwice)
        QVERIFY(helper.queryChildrenAttributes(root));
    const int asked = int(root->getChildren().size()) - (skipOne ? 1 : 0);
    QTRY_COMPARE(helper.answers, asked * (askTwice ? 2 : 1));
    QCOMPARE(done.count(), 1);
    QCOMPARE(done.at(0).at(0).value<MWeakFile>().toStrongRef(), root);
    int marked = 0;
    for (const FilePtr& node : root->getChildren())
        marked += node->getAttributes().value("mark") == "x" ? 1 : 0;
    QCOMPARE(marked, asked - (failOne ? 1 : 0));
}

QTEST_GUILESS_MAIN(tst_CloudAttributeHelpers)
#include "tst_cloudattributehelpers.moc"
