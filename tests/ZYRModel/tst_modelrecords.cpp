// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MDocumentViewcode.h>
#include <ZYRModel/MFile.h>
#include <ZYRModel/MFileCacheItem.h>
#include <ZYRModel/MFileShareLink.h>
#include <ZYRModel/MFileTransferItem.h>
#include <ZYRModel/MInstallInfo.h>
#include <ZYRModel/MToken.h>
#include <ZYRModel/MUser.h>
#include <ZYRModel/MWorkspace.h>
#include <ZYRModel/MWorkspaceQuota.h>

#include <QJsonDocument>
#include <QTest>

#include <functional>

using namespace Trelan::Oku::ZYRModel;

namespace {

QJsonObject parse(const char* json)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray(json), &error);
    if (error.error != QJsonParseError::NoError)
        qFatal("bad test JSON: %s", qPrintable(error.errorString()));
    return doc.object();
}

// Reads \a object into a record of \a type and writes it out again.
template <typename Record>
QJsonObject reread(const QJsonObject& object)
{
    Record record;
    Record::fromJson(object, record);
    return record.toJson();
}

QJsonObject rereadAs(const QString& type, const QJsonObject& object)
{
    if (type == QLatin1String("MFile"))
        return reread<MFile>(object);
    if (type == QLatin1String("MWorkspace"))
        return reread<MWorkspace>(object);
    if (type == QLatin1String("MWorkspaceQuota"))
        return reread<MWorkspaceQuota>(object);
    if (type == QLatin1String("MUser"))
        return reread<MUser>(object);
    if (type == QLatin1String("MToken"))
        return reread<MToken>(object);
    if (type == QLatin1String("MFileShareLink"))
        return reread<MFileShareLink>(object);
    if (type == QLatin1String("MDocumentViewcode"))
        return reread<MDocumentViewcode>(object);
    if (type == QLatin1String("MInstallInfo"))
        return reread<MInstallInfo>(object);
    qFatal("unknown record type");
}

} // namespace

class tst_ModelRecords : public QObject {
    Q_OBJECT

private slots:
    void roundTrip_data();
    void roundTrip();
    void lenientFile_data();
    void lenientFile();
    void lenientOtherRecords();
    void missingKeysLeaveBlanks_data();
    void missingKeysLeaveBlanks();
    void fileArraySkipsNonObjects();
    void installInfoString();
    void transferItemRemoteFileName_data();
    void transferItemRemoteFileName();
    void storedRecordsCompareEveryField();
};

// Every documented key, with non-default values: reading and writing again
// must give the same object, so a key misspelt on either side, or on both,
// shows.
void tst_ModelRecords::roundTrip_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QJsonObject>("json");

    QTest::newRow("MFile") << "MFile" << parse(R"({"id": "f1", "name": "报告 2024.pdf", "workspaceId": "w1",
                                        "parentId": "p1", "isFolder": false, "size": 5000000000,
                                        "digest": "abc", "revision": 7, "createTime": 1767225600123,
                                        "updateTime": 1767225600999, "uploading": true,
                                        "uploadedSize": 42, "path": "/A/B/报告 2024.pdf"})");
    QTest::newRow("MFile folder without path")
            << "MFile" << parse(R"({"id": "d1", "name": "A", "workspaceId": "w1", "parentId": "", "isFolder": true,
                     "size": 0, "digest": "", "revision": 0, "createTime": 0, "updateTime": 0,
                     "uploading": false, "uploadedSize": 0})");
    QTest::newRow("MWorkspace") << "MWorkspace"
                                << parse(R"({"id": "w1", "name": "团队", "isDefault": true, "logoUrl": "http://x/l.png",
                                             "role": "owner", "ownerId": "u1", "createTime": 1767225600000})");
    QTest::newRow("MWorkspaceQuota") << "MWorkspaceQuota" << parse(R"({"workspaceId": "w1", "usedSize": 123456789012,
                                                  "totalSize": 999999999999, "fileCount": 17})");
    QTest::newRow("MUser") << "MUser" << parse(R"({"id": "u1", "account": "alice", "displayName": "Alice",
                                        "fullName": "Alice A.", "email": "a@example.org",
                                        "avatarPaths": ["/a/32.png", "/a/64.png"]})");
    QTest::newRow("MToken") << "MToken" << parse(R"({"accessToken": "at", "refreshToken": "rt", "tokenType": "Bearer",
                                         "expiresIn": 7200})");
    QTest::newRow("MFileShareLink")
            << "MFileShareLink" << parse(R"({"id": "s1", "token": "tok", "workspaceId": "w1", "url": "http://x/s/tok",
                     "fileIds": ["f1", "f2"], "encrypt": true, "password": "pw", "expireTime": 1767225600000,
                     "privileges": ["preview", "download"], "createTime": 1767225500000})");
    QTest::newRow("MDocumentViewcode") << "MDocumentViewcode"
                                       << parse(R"({"viewcode": "vc", "viewURL": "http://x/v?c=vc"})");
    QTest::newRow("MInstallInfo") << "MInstallInfo"
                                  << parse(R"({"machineId": "m", "osName": "Debian", "osVersion": "12",
                                               "clientVersion": "0.1.0", "installTime": 1767225600000})");
}

void tst_ModelRecords::roundTrip()
{
    QFETCH(QString, type);
    QFETCH(QJsonObject, json);
    QCOMPARE(rereadAs(type, json), json);
}

void tst_ModelRecords::lenientFile_data()
{
    QTest::addColumn<QJsonObject>("json");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("parentId");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<bool>("isFolder");
    QTest::addColumn<qint64>("updateTime");

    QTest::newRow("ids as numbers") << parse(R"({"id": 1234567890123, "parentId": 7, "size": 10})") << "1234567890123"
                                    << "7" << qint64(10) << false << qint64(0);
    QTest::newRow("numbers as strings") << parse(R"({"id": "a", "size": "5000000000", "updateTime": "1000"})") << "a"
                                        << "" << qint64(5000000000) << false << qint64(1000);
    QTest::newRow("flag as text") << parse(R"({"id": "a", "isFolder": "TRUE"})") << "a"
                                  << "" << qint64(0) << true << qint64(0);
    QTest::newRow("flag as number") << parse(R"({"id": "a", "isFolder": 1})") << "a"
                                    << "" << qint64(0) << true << qint64(0);
    QTest::newRow("flag as other text") << parse(R"({"id": "a", "isFolder": "yes"})") << "a"
                                        << "" << qint64(0) << false << qint64(0);
    QTest::newRow("nulls and wrong types") << parse(R"({"id": null, "parentId": [1], "size": {"x": 1},
                                                        "isFolder": null, "updateTime": "soon"})")
                                           << ""
                                           << "" << qint64(0) << false << qint64(0);
}

void tst_ModelRecords::lenientFile()
{
    QFETCH(QJsonObject, json);
    QFETCH(QString, id);
    QFETCH(QString, parentId);
    QFETCH(qint64, size);
    QFETCH(bool, isFolder);
    QFETCH(qint64, updateTime);

    MFile file;
    MFile::fromJson(json, file);
    QCOMPARE(file.getId(), id);
    QCOMPARE(file.getParentId(), parentId);
    QCOMPARE(file.getSize(), size);
    QCOMPARE(file.getIsFolder(), isFolder);
    QCOMPARE(file.getUpdateTime().isValid(), updateTime != 0);
    if (updateTime != 0)
        QCOMPARE(file.getUpdateTime().toMSecsSinceEpoch(), updateTime);
}

void tst_ModelRecords::lenientOtherRecords()
{
    MUser user;
    MUser::fromJson(parse(R"({"id": 42, "avatarPaths": ["a", 7]})"), user);
    QCOMPARE(user.getId(), QStringLiteral("42"));
    QCOMPARE(user.getAvatarPaths(), (QList<QString>{ QStringLiteral("a"), QStringLiteral("7") }));

    MWorkspace workspace;
    MWorkspace::fromJson(parse(R"({"id": 9, "ownerId": 3, "isDefault": "true", "createTime": "77"})"), workspace);
    QCOMPARE(workspace.getId(), QStringLiteral("9"));
    QCOMPARE(workspace.getOwnerId(), QStringLiteral("3"));
    QVERIFY(workspace.isDefaultWorkspace());
    QCOMPARE(workspace.getCreateTime(), qint64(77));

    MWorkspaceQuota quota;
    MWorkspaceQuota::fromJson(parse(R"({"workspaceId": 5, "usedSize": "100", "fileCount": "3"})"), quota);
    QCOMPARE(quota.getWorkspaceId(), QStringLiteral("5"));
    QCOMPARE(quota.getUsedSize(), qint64(100));
    QCOMPARE(quota.getFileCount(), qint64(3));

    MFileShareLink link;
    MFileShareLink::fromJson(parse(R"({"id": 1, "fileIds": [10, "11"], "encrypt": 0})"), link);
    QCOMPARE(link.getId(), QStringLiteral("1"));
    QCOMPARE(link.getFileIds(), (QList<QString>{ QStringLiteral("10"), QStringLiteral("11") }));
    QVERIFY(!link.getEncrypt());

    MToken token;
    MToken::fromJson(parse(R"({"accessToken": "a", "expiresIn": "3600"})"), token);
    QCOMPARE(token.getExpiresIn(), qint64(3600));
}

void tst_ModelRecords::missingKeysLeaveBlanks_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QJsonObject>("blank");

    // What an empty object reads as, written out again: every field blank.
    QTest::newRow("MFile") << "MFile" << reread<MFile>(QJsonObject());
    QTest::newRow("MWorkspace") << "MWorkspace" << reread<MWorkspace>(QJsonObject());
    QTest::newRow("MWorkspaceQuota") << "MWorkspaceQuota" << reread<MWorkspaceQuota>(QJsonObject());
    QTest::newRow("MUser") << "MUser" << reread<MUser>(QJsonObject());
    QTest::newRow("MToken") << "MToken" << reread<MToken>(QJsonObject());
    QTest::newRow("MFileShareLink") << "MFileShareLink" << reread<MFileShareLink>(QJsonObject());
    QTest::newRow("MDocumentViewcode") << "MDocumentViewcode" << reread<MDocumentViewcode>(QJsonObject());
    QTest::newRow("MInstallInfo") << "MInstallInfo" << reread<MInstallInfo>(QJsonObject());
}

void tst_ModelRecords::missingKeysLeaveBlanks()
{
    QFETCH(QString, type);
    QFETCH(QJsonObject, blank);
    QVERIFY(!blank.isEmpty());
    for (auto it = blank.constBegin(); it != blank.constEnd(); ++it) {
        const QJsonValue value = it.value();
        const bool isBlank = (value.isString() && value.toString().isEmpty())
                || (value.isDouble() && value.toDouble() == 0) || (value.isBool() && !value.toBool())
                || (value.isArray() && value.toArray().isEmpty());
        QVERIFY2(isBlank, qPrintable(type + QLatin1Char('.') + it.key()));
    }
}

void tst_ModelRecords::fileArraySkipsNonObjects()
{
    QList<QSharedPointer<MFile>> files;
    MFile::fromJson(QJsonDocument::fromJson(R"([{"id": "a"}, 3, null, "x", {"id": 2}])").array(), files);
    QCOMPARE(files.size(), 2);
    QCOMPARE(files.at(0)->getId(), QStringLiteral("a"));
    QCOMPARE(files.at(1)->getId(), QStringLiteral("2"));

    QList<QSharedPointer<MFileShareLink>> links;
    MFileShareLink::fromJson(QJsonDocument::fromJson(R"([{"id": "s"}, []])").array(), links);
    QCOMPARE(links.size(), 1);
}

void tst_ModelRecords::installInfoString()
{
    MInstallInfo info;
    info.setMachineId(QStringLiteral("m"));
    info.setInstallTime(QDateTime::fromMSecsSinceEpoch(1000));
    const QString text = info.toJsonString();
    QVERIFY(!text.contains(QLatin1Char('\n')));
    QCOMPARE(QJsonDocument::fromJson(text.toUtf8()).object(), info.toJson());
}

void tst_ModelRecords::transferItemRemoteFileName_data()
{
    QTest::addColumn<QString>("remotePath");
    QTest::addColumn<QString>("expected");

    QTest::newRow("path") << "/A/B/报告 2024.pdf"
                          << "报告 2024.pdf";
    QTest::newRow("name only") << "f.txt"
                               << "f.txt";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("trailing slash") << "/A/"
                                    << "";
}

void tst_ModelRecords::transferItemRemoteFileName()
{
    QFETCH(QString, remotePath);
    QFETCH(QString, expected);
    MFileTransferItem item;
    item.setRemotePath(remotePath);
    QCOMPARE(item.getRemoteFileName(), expected);
}

// The stores' tests rely on == seeing every field of the two stored records.
void tst_ModelRecords::storedRecordsCompareEveryField()
{
    MFileTransferItem base;
    base.setId(QStringLiteral("i"));
    const QList<std::function<void(MFileTransferItem&)>> transferChanges{
        [](MFileTransferItem& t) { t.setId(QStringLiteral("j")); },
        [](MFileTransferItem& t) { t.setUserId(QStringLiteral("u")); },
        [](MFileTransferItem& t) { t.setFileId(QStringLiteral("f")); },
        [](MFileTransferItem& t) { t.setIsDownload(true); },
        [](MFileTransferItem& t) { t.setLocalPath(QStringLiteral("/l")); },
        [](MFileTransferItem& t) { t.setRemoteParentPath(QStringLiteral("/r")); },
        [](MFileTransferItem& t) { t.setRemotePath(QStringLiteral("/r/x")); },
        [](MFileTransferItem& t) { t.setSize(1); },
        [](MFileTransferItem& t) { t.setBytesCompleted(1); },
        [](MFileTransferItem& t) { t.setWorkspaceId(QStringLiteral("w")); },
        [](MFileTransferItem& t) { t.setCreateTime(QDateTime::fromMSecsSinceEpoch(1)); },
        [](MFileTransferItem& t) { t.setUpdateTime(QDateTime::fromMSecsSinceEpoch(1)); },
        [](MFileTransferItem& t) { t.setStatus(MFileTransferItem::Failed); },
    };
    for (const auto& change : transferChanges) {
        MFileTransferItem changed = base;
        QVERIFY(changed == base);
        change(changed);
        QVERIFY(changed != base);
    }

    MFileCacheItem cache;
    const QList<std::function<void(MFileCacheItem&)>> cacheChanges{
        [](MFileCacheItem& c) { c.setId(QStringLiteral("i")); },
        [](MFileCacheItem& c) { c.setFileId(QStringLiteral("f")); },
        [](MFileCacheItem& c) { c.setDigest(QStringLiteral("d")); },
        [](MFileCacheItem& c) { c.setLocalDir(QStringLiteral("/d")); },
        [](MFileCacheItem& c) { c.setLocalName(QStringLiteral("n")); },
        [](MFileCacheItem& c) { c.setCachedTime(QDateTime::fromMSecsSinceEpoch(1)); },
    };
    for (const auto& change : cacheChanges) {
        MFileCacheItem changed = cache;
        change(changed);
        QVERIFY(changed != cache);
    }
}

QTEST_GUILESS_MAIN(tst_ModelRecords)
#include "tst_modelrecords.moc"
