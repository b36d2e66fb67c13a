// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// Downloads with ranges, resumable uploads, new versions and many
// transfers at once.

#include "HttpClient.h"
#include "ServerProcess.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <vector>

namespace {
const QString Design = "/api/v1/workspaces/w-design";
const QByteArray Octets = "application/octet-stream";
const RawHeaders OctetStream{ { "Content-Type", "application/octet-stream" } };

QString sha256(const QByteArray& bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

// The seed's generated content: byte i is i mod 251.
QByteArray generated(qint64 first, qint64 count)
{
    QByteArray bytes(count, Qt::Uninitialized);
    for (qint64 i = 0; i < count; ++i) {
        bytes[i] = char((first + i) % 251);
    }
    return bytes;
}

QByteArray randomBytes(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator::global()->fillRange(reinterpret_cast<quint32*>(bytes.data()), size / 4);
    return bytes;
}
} // namespace

class TestServerTransfer : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void downloadWholeFile();
    void downloadRanges_data();
    void downloadRanges();
    void downloadErrors();
    void uploadCreatesFileAndParents();
    void uploadOverExistingMakesNewVersion();
    void uploadChecks_data();
    void uploadChecks();
    void streamingUploadIsVisible();
    void resumeAfterAbortedUpload();
    void uploadReplyCutByFault();
    void emptyFile();
    void deleteDiscardsUnfinishedUploads();
    void concurrentTransfers();

private:
    HttpReply upload(const QString& path, const QByteArray& bytes, qint64 size = -1, qint64 offset = 0,
                     const QString& workspace = "w-design");
    QJsonObject metaByPath(const QString& path);

    QTemporaryDir m_dir;
    ServerProcess m_server;
    std::unique_ptr<HttpClient> m_alice;
};

void TestServerTransfer::initTestCase()
{
    QVERIFY(m_server.start(m_dir.filePath("data"), ServerProcess::sampleSeed()));
    m_alice = std::make_unique<HttpClient>(m_server.baseUrl());
    QVERIFY(!m_alice->signIn("alice", "alice-pass").isEmpty());
}

HttpReply TestServerTransfer::upload(const QString& path, const QByteArray& bytes, qint64 size, qint64 offset,
                                     const QString& workspace)
{
    if (size < 0) {
        size = offset + bytes.size();
    }
    return m_alice->send("PUT", HttpClient::uploadTarget(workspace, path, size, offset), bytes, OctetStream);
}

QJsonObject TestServerTransfer::metaByPath(const QString& path)
{
    return m_alice->get(Design + "/meta?path=" + HttpClient::q(path)).data();
}

void TestServerTransfer::downloadWholeFile()
{
    // QNetworkAccessManager offers gzip; the server must not use it.
    const HttpReply reply
            = m_alice->get(Design + "/files/f-big/content", { { "Accept-Encoding", "gzip, deflate, br" } });
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.header("Content-Length"), QByteArray("1048576"));
    QCOMPARE(reply.header("Content-Type"), Octets);
    QCOMPARE(reply.header("Accept-Ranges"), QByteArray("bytes"));
    QVERIFY(reply.header("Content-Encoding").isEmpty());
    QCOMPARE(reply.body, generated(0, 1048576));
    QCOMPARE(QString::fromLatin1(reply.header("X-Digest")), sha256(reply.body));
}

void TestServerTransfer::downloadRanges_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("contentRange");
    QTest::addColumn<QByteArray>("body");
    // f-overview holds "hello world" (11 bytes).
    QTest::newRow("first byte") << QByteArray("bytes=0-0") << 206 << QByteArray("bytes 0-0/11") << QByteArray("h");
    QTest::newRow("open end") << QByteArray("bytes=6-") << 206 << QByteArray("bytes 6-10/11") << QByteArray("world");
    QTest::newRow("end past the size") << QByteArray("bytes=6-100") << 206 << QByteArray("bytes 6-10/11")
                                       << QByteArray("world");
    QTest::newRow("last byte") << QByteArray("bytes=10-10") << 206 << QByteArray("bytes 10-10/11") << QByteArray("d");
    QTest::newRow("whole file as range") << QByteArray("bytes=0-") << 206 << QByteArray("bytes 0-10/11")
                                         << QByteArray("hello world");
    QTest::newRow("start at the size") << QByteArray("bytes=11-") << 416 << QByteArray("bytes */11") << QByteArray();
    QTest::newRow("start past the size") << QByteArray("bytes=50-60") << 416 << QByteArray("bytes */11")
                                         << QByteArray();
    QTest::newRow("suffix range") << QByteArray("bytes=-5") << 400 << QByteArray() << QByteArray();
    QTest::newRow("two ranges") << QByteArray("bytes=0-1,3-4") << 400 << QByteArray() << QByteArray();
    QTest::newRow("other unit") << QByteArray("items=0-1") << 400 << QByteArray() << QByteArray();
    QTest::newRow("reversed") << QByteArray("bytes=5-2") << 400 << QByteArray() << QByteArray();
    QTest::newRow("garbage") << QByteArray("bytes=a-b") << 400 << QByteArray() << QByteArray();
}

void TestServerTransfer::downloadRanges()
{
    QFETCH(QByteArray, range);
    QFETCH(int, status);
    QFETCH(QByteArray, contentRange);
    QFETCH(QByteArray, body);
    const HttpReply reply = m_alice->get(Design + "/files/f-overview/content", { { "Range", range } });
    QCOMPARE(reply.status, status);
    QCOMPARE(reply.header("Content-Range"), contentRange);
    if (status == 206) {
        QCOMPARE(reply.body, body);
        QCOMPARE(reply.header("Content-Length"), QByteArray::number(body.size()));
    } else {
        QCOMPARE(reply.object().value("code").toInt(), status);
    }
}

void TestServerTransfer::downloadErrors()
{
    QCOMPARE(m_alice->get(Design + "/files/f-design/content").status, 400);
    QCOMPARE(m_alice->get(Design + "/files/f-none/content").status, 404);
    QCOMPARE(m_alice->get(Design + "/files/f-p-notes/content").status, 404); // another workspace
    const HttpReply big = m_alice->get(Design + "/files/f-big/content", { { "Range", "bytes=1000000-" } });
    QCOMPARE(big.status, 206);
    QCOMPARE(big.header("Content-Range"), QByteArray("bytes 1000000-1048575/1048576"));
    QCOMPARE(big.body, generated(1000000, 48576));
}

void TestServerTransfer::uploadCreatesFileAndParents()
{
    const QByteArray bytes = randomBytes(300000);
    const qint64 before = m_alice->get(Design + "/quota").object().value("usedSize").toInteger();
    const HttpReply reply = upload("/Design/New/Deeper/data.bin", bytes);
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.object().value("code").toInt(), 0);
    const QJsonObject file = reply.data();
    QVERIFY(QRegularExpression("^f-\\d{6}$").match(file.value("id").toString()).hasMatch());
    QCOMPARE(file.value("digest").toString(), sha256(bytes));
    QCOMPARE(file.value("size").toInteger(), bytes.size());
    QCOMPARE(file.value("uploadedSize").toInteger(), bytes.size());
    QCOMPARE(file.value("revision").toInt(), 1);
    QCOMPARE(file.value("uploading").toBool(), false);
    QCOMPARE(file.value("path").toString(), QString("/Design/New/Deeper/data.bin"));

    const QJsonObject deeper = metaByPath("/Design/New/Deeper");
    QCOMPARE(deeper.value("isFolder").toBool(), true);
    QCOMPARE(file.value("parentId").toString(), deeper.value("id").toString());
    QCOMPARE(metaByPath("/Design/New").value("parentId").toString(), QString("f-design"));
    QCOMPARE(m_alice->get(Design + "/files/" + file.value("id").toString() + "/content").body, bytes);
    QCOMPARE(m_alice->get(Design + "/quota").object().value("usedSize").toInteger(), before + bytes.size());
}

void TestServerTransfer::uploadOverExistingMakesNewVersion()
{
    QCOMPARE(m_alice->postJson(Design + "/favorites", { { "fileIds", QJsonArray{ "f-plan" } } }).status, 200);
    const QByteArray bytes = "PLAN-REVISION-04";
    // parentPath is informative only: a wrong one does not matter.
    const HttpReply reply = m_alice->send("PUT",
                                          Design + "/upload?parentPath=%2Felsewhere&path="
                                                  + HttpClient::q("Design/2019/plan.dwg") + "&size=16&offset=0",
                                          bytes, OctetStream);
    QCOMPARE(reply.status, 200);
    const QJsonObject file = reply.data();
    const QString id = file.value("id").toString();
    QVERIFY(id != QString("f-plan"));
    QCOMPARE(file.value("revision").toInt(), 4);
    QCOMPARE(file.value("parentId").toString(), QString("f-2019"));
    QVERIFY(qAbs(file.value("createTime").toInteger() - QDateTime::currentMSecsSinceEpoch()) < 60000);

    QCOMPARE(m_alice->get(Design + "/meta?id=f-plan&withPath=true").status, 404);
    QCOMPARE(m_alice->get(Design + "/files/f-plan/content").status, 404);
    QCOMPARE(m_alice->get(Design + "/files/" + id + "/content").body, bytes);
    QCOMPARE(m_alice->get(Design + "/attributes?id=" + id).object().value("data").toArray().size(), 2);
    QCOMPARE(m_alice->get(Design + "/favorites").items().at(0).toObject().value("id").toString(), id);
    QCOMPARE(m_alice->get(Design + "/thumbnail?id=" + id).status, 404);
    QCOMPARE(m_alice->get(Design + "/children?id=f-2019").items().size(), 1);
}

void TestServerTransfer::uploadChecks_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("status");
    auto q = [](const QString& path) { return "path=" + HttpClient::q(path); };
    QTest::newRow("body shorter than size") << q("/u1.bin") + "&size=10&offset=0" << QByteArray(5, 'x') << 400;
    QTest::newRow("body longer than size") << q("/u1.bin") + "&size=3&offset=0" << QByteArray(5, 'x') << 400;
    QTest::newRow("offset past size") << q("/u1.bin") + "&size=3&offset=4" << QByteArray() << 400;
    QTest::newRow("negative size") << q("/u1.bin") + "&size=-1&offset=0" << QByteArray() << 400;
    QTest::newRow("size not a number") << q("/u1.bin") + "&size=ten&offset=0" << QByteArray() << 400;
    QTest::newRow("size missing") << q("/u1.bin") + "&offset=0" << QByteArray() << 400;
    QTest::newRow("path missing") << QString("size=1&offset=0") << QByteArray("x") << 400;
    QTest::newRow("path is the root") << q("/") + "&size=1&offset=0" << QByteArray("x") << 400;
    QTest::newRow("invalid name") << q("/a..b") + "&size=1&offset=0" << QByteArray("x") << 400;
    QTest::newRow("over the quota") << q("/huge.bin") + "&size=20000000000&offset=19999999999" << QByteArray("x")
                                    << 400;
    QTest::newRow("path names a folder") << q("/Design") + "&size=1&offset=0" << QByteArray("x") << 409;
    QTest::newRow("path runs through a file") << q("/readme.md/x") + "&size=1&offset=0" << QByteArray("x") << 409;
    QTest::newRow("resume without upload") << q("/never.bin") + "&size=4&offset=2" << QByteArray("xx") << 409;
}

void TestServerTransfer::uploadChecks()
{
    QFETCH(QString, query);
    QFETCH(QByteArray, body);
    QFETCH(int, status);
    const HttpReply reply = m_alice->send("PUT", Design + "/upload?" + query, body, OctetStream);
    QCOMPARE(reply.status, status);
    QCOMPARE(reply.object().value("code").toInt(), status);
    // The connection stays usable after a rejected body.
    QCOMPARE(m_alice->get("/api/v1/users/me").status, 200);
}

void TestServerTransfer::streamingUploadIsVisible()
{
    const QByteArray bytes = randomBytes(200000);
    QObject owner;
    QTcpSocket* socket
            = m_alice->startPartialUpload("w-design", "/Design/stream.bin", bytes.size(), 0, bytes.left(50000), &owner);
    QTRY_COMPARE(metaByPath("/Design/stream.bin").value("uploadedSize").toInt(), 50000);
    QJsonObject meta = metaByPath("/Design/stream.bin");
    QCOMPARE(meta.value("uploading").toBool(), true);
    QCOMPARE(meta.value("size").toInt(), bytes.size());
    QCOMPARE(meta.value("digest").toString(), QString());
    QCOMPARE(meta.value("revision").toInt(), 0);
    QCOMPARE(meta.value("parentId").toString(), QString("f-design"));
    QCOMPARE(meta.value("name").toString(), QString("stream.bin"));
    const QString provisional = meta.value("id").toString();
    QVERIFY(QRegularExpression("^up-\\d+$").match(provisional).hasMatch());
    QCOMPARE(m_alice->get(Design + "/meta?id=" + provisional).status, 404);
    QCOMPARE(m_alice->get(Design + "/files/" + provisional + "/content").status, 404);
    QVERIFY(!m_alice->get(Design + "/children?id=f-design").items().contains(meta));

    // While it streams, nobody else may upload that path.
    QCOMPARE(upload("/Design/stream.bin", bytes).status, 409);

    socket->write(bytes.mid(50000, 50000));
    QTRY_COMPARE(metaByPath("/Design/stream.bin").value("uploadedSize").toInt(), 100000);
    socket->abort();
    QTRY_COMPARE(metaByPath("/Design/stream.bin").value("uploading").toBool(), false);
    QCOMPARE(metaByPath("/Design/stream.bin").value("uploadedSize").toInt(), 100000);

    // Resuming needs exactly the bytes held and the same size.
    QCOMPARE(upload("/Design/stream.bin", bytes.mid(99999), bytes.size(), 99999).status, 409);
    QCOMPARE(upload("/Design/stream.bin", bytes.mid(100000), bytes.size() + 1, 100000).status, 400); // length mismatch
    QCOMPARE(upload("/Design/stream.bin", bytes.mid(100000) + "x", bytes.size() + 1, 100000).status, 409);
    QCOMPARE(metaByPath("/Design/stream.bin").value("uploadedSize").toInt(), 100000);
    const HttpReply done = upload("/Design/stream.bin", bytes.mid(100000), bytes.size(), 100000);
    QCOMPARE(done.status, 200);
    QCOMPARE(done.data().value("digest").toString(), sha256(bytes));
    QVERIFY(done.data().value("id").toString() != provisional);

    // An unfinished upload under a missing folder has no parent id yet.
    socket = m_alice->startPartialUpload("w-design", "/Later/x.bin", 10, 0, "abc", &owner);
    QTRY_COMPARE(metaByPath("/Later/x.bin").value("uploadedSize").toInt(), 3);
    QCOMPARE(metaByPath("/Later/x.bin").value("parentId").toString(), QString());
    socket->abort();
    // Starting over at offset 0 discards the bytes held.
    QTRY_COMPARE(metaByPath("/Later/x.bin").value("uploading").toBool(), false);
    QCOMPARE(upload("/Later/x.bin", "0123456789").data().value("digest").toString(), sha256("0123456789"));
}

void TestServerTransfer::resumeAfterAbortedUpload()
{
    // The delay holds the request before the server reads its body, so the
    // client's abort lands while most of the body is still unsent: the
    // server then finds the body cut off part-way.
    const QByteArray bytes = randomBytes(32 * 1024 * 1024);
    const QString path = "/Design/resumed.bin";
    m_alice->addFault({ { "method", "PUT" },
                        { "pathPrefix", "/api/v1/workspaces/w-design/upload" },
                        { "delayMs", 1000 },
                        { "times", 1 } });
    QNetworkRequest request = m_alice->request(HttpClient::uploadTarget("w-design", path, bytes.size(), 0));
    request.setHeader(QNetworkRequest::ContentTypeHeader, Octets);
    request.setHeader(QNetworkRequest::ContentLengthHeader, bytes.size());
    QNetworkReply* reply = m_alice->manager().put(request, bytes);
    connect(reply, &QNetworkReply::uploadProgress, reply, [reply](qint64 sent, qint64) {
        if (sent >= 1024 * 1024) {
            reply->abort();
        }
    });
    const HttpReply aborted = HttpClient::collect(reply);
    QCOMPARE(aborted.error, QNetworkReply::OperationCanceledError);

    QTRY_VERIFY(m_alice->get(Design + "/meta?path=" + HttpClient::q(path)).status == 200
                && !metaByPath(path).value("uploading").toBool());
    const qint64 held = metaByPath(path).value("uploadedSize").toInteger();
    QVERIFY2(held > 0 && held < bytes.size(), QByteArray::number(held).constData());
    QCOMPARE(metaByPath(path).value("size").toInteger(), bytes.size());
    const HttpReply resumed = upload(path, bytes.mid(held), bytes.size(), held);
    QCOMPARE(resumed.status, 200);
    QCOMPARE(resumed.data().value("digest").toString(), sha256(bytes));
    QCOMPARE(resumed.data().value("revision").toInt(), 1);
    QVERIFY(m_alice->get(Design + "/files/" + resumed.data().value("id").toString() + "/content").body == bytes);
}

void TestServerTransfer::uploadReplyCutByFault()
{
    m_alice->addFault({ { "method", "PUT" },
                        { "pathPrefix", "/api/v1/workspaces/w-design/upload" },
                        { "cutAfterBytes", 10 },
                        { "times", 1 } });
    const QByteArray bytes = "the reply to this upload is cut";
    const HttpReply cut = upload("/Design/cut.txt", bytes);
    QVERIFY(cut.body.size() <= 10); // the envelope is a few hundred bytes
    // The upload itself was handled; only its answer broke off.
    const QJsonObject meta = metaByPath("/Design/cut.txt");
    QCOMPARE(meta.value("digest").toString(), sha256(bytes));
    QCOMPARE(meta.value("uploading").toBool(), false);
    QCOMPARE(upload("/Design/cut2.txt", bytes).status, 200); // the fault was for one request
}

void TestServerTransfer::emptyFile()
{
    const HttpReply reply = upload("/empty.txt", QByteArray());
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.data().value("size").toInt(), 0);
    QCOMPARE(reply.data().value("digest").toString(), sha256(QByteArray()));
    const QString id = reply.data().value("id").toString();
    const HttpReply download = m_alice->get(Design + "/files/" + id + "/content");
    QCOMPARE(download.status, 200);
    QCOMPARE(download.header("Content-Length"), QByteArray("0"));
    QCOMPARE(m_alice->get(Design + "/files/" + id + "/content", { { "Range", "bytes=0-" } }).status, 416);
}

void TestServerTransfer::deleteDiscardsUnfinishedUploads()
{
    const QString folder = m_alice->postJson(Design + "/folders", { { "parentId", "" }, { "name", "Gone" } })
                                   .object()
                                   .value("id")
                                   .toString();
    QObject owner;
    QTcpSocket* socket = m_alice->startPartialUpload("w-design", "/Gone/part.bin", 100, 0, QByteArray(40, 'g'), &owner);
    QTRY_COMPARE(metaByPath("/Gone/part.bin").value("uploadedSize").toInt(), 40);
    socket->abort();
    QTRY_COMPARE(metaByPath("/Gone/part.bin").value("uploading").toBool(), false);
    QCOMPARE(m_alice->del(Design + "/files/" + folder).status, 200);
    QCOMPARE(m_alice->get(Design + "/meta?path=" + HttpClient::q("/Gone/part.bin")).status, 404);
    QCOMPARE(upload("/Gone/part.bin", QByteArray(60, 'g'), 100, 40).status, 409);
}

void TestServerTransfer::concurrentTransfers()
{
    constexpr int Uploads = 8;
    constexpr int Downloads = 8;
    // Two managers: more connections than one manager's six per host.
    HttpClient second(m_server.baseUrl());
    second.setToken(m_alice->token());
    std::vector<QByteArray> contents;
    std::vector<QNetworkReply*> uploads;
    std::vector<QNetworkReply*> downloads;
    for (int i = 0; i < Uploads; ++i) {
        contents.push_back(randomBytes(2 * 1024 * 1024 + i * 4096));
        HttpClient& client = i % 2 ? second : *m_alice;
        QNetworkRequest request = client.request(HttpClient::uploadTarget(
                "w-design", QStringLiteral("/Parallel/file-%1.bin").arg(i), contents.back().size(), 0));
        request.setHeader(QNetworkRequest::ContentTypeHeader, Octets);
        uploads.push_back(client.manager().put(request, contents.back()));
    }
    for (int i = 0; i < Downloads; ++i) {
        HttpClient& client = i % 2 ? *m_alice : second;
        downloads.push_back(client.manager().get(client.request(Design + "/files/f-big/content")));
    }
    const QByteArray big = generated(0, 1048576);
    for (QNetworkReply* reply : downloads) {
        const HttpReply result = HttpClient::collect(reply);
        QCOMPARE(result.status, 200);
        QVERIFY(result.body == big);
    }
    for (int i = 0; i < Uploads; ++i) {
        const HttpReply result = HttpClient::collect(uploads[std::size_t(i)]);
        QCOMPARE(result.status, 200);
        QCOMPARE(result.data().value("digest").toString(), sha256(contents[std::size_t(i)]));
    }
    // Every parent folder was made once, whatever the order of arrival.
    const QJsonArray listed = m_alice->get(Design + "/children?path=%2FParallel").items();
    QCOMPARE(listed.size(), Uploads);
    QCOMPARE(m_alice->get(Design + "/children?id=").items().count(), 8); // 5 seeded + Later, Parallel, empty.txt
}

QTEST_GUILESS_MAIN(TestServerTransfer)
#include "tst_servertransfer.moc"
