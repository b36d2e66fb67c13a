// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// What each request function puts on the wire: method, path, query,
// headers and body, checked against a scripted server on loopback.

#include "RecordingHandler.h"
#include "ScriptedHttpServer.h"

#include <ZYRService/ZYRAccount.h>
#include <ZYRService/ZYRDocument.h>
#include <ZYRService/ZYRServiceUtil.h>
#include <ZYRService/ZYRVersion.h>
#include <ZYRService/ZYRWorkspace.h>

#include <QBuffer>
#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QTemporaryFile>
#include <QTest>

#include <functional>

using namespace Trelan::Oku::ZYRService;
using Trelan::Oku::ZYRInterface::INetworkReplyHandler;

using Issue = std::function<void(INetworkReplyHandler*)>;
Q_DECLARE_METATYPE(Issue)

namespace {

const QString kToken = QStringLiteral("tok-1");

QByteArray patternBytes(qint64 size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (qint64 i = 0; i < size; ++i)
        bytes[i] = char(i % 251);
    return bytes;
}

} // namespace

class tst_ZYRServiceRequests : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();

    void sendsWhatTheInterfaceDefines_data();
    void sendsWhatTheInterfaceDefines();
    void rangeHeader_data();
    void rangeHeader();
    void rangedDownloadReportsTheWholeFileAsTotal_data();
    void rangedDownloadReportsTheWholeFileAsTotal();
    void unknownDownloadTotalIsPassedThrough();
    void uploadStreamsTheSourceFromItsOffset_data();
    void uploadStreamsTheSourceFromItsOffset();
    void onlyVersionRequestsFollowRedirects_data();
    void onlyVersionRequestsFollowRedirects();
    void serverAddress_data();
    void serverAddress();
    void noCookiesAreKeptOrSent();
    void installInfoWithoutHandler();

private:
    QSharedPointer<HandlerRecord> issue(const Issue& request);

    ScriptedHttpServer* m_server = nullptr;
};

void tst_ZYRServiceRequests::init()
{
    delete m_server;
    m_server = new ScriptedHttpServer(this);
    QVERIFY(m_server->listen());
    ZYRServiceUtil::setServerUrl(m_server->url());
    ZYRServiceUtil::setRequestTimeout(0);
    qunsetenv("ZYR_SERVER_URL");
}

QSharedPointer<HandlerRecord> tst_ZYRServiceRequests::issue(const Issue& request)
{
    auto record = QSharedPointer<HandlerRecord>::create();
    request(new RecordingHandler(record));
    return record;
}

void tst_ZYRServiceRequests::sendsWhatTheInterfaceDefines_data()
{
    QTest::addColumn<Issue>("request");
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<bool>("withToken");
    QTest::addColumn<QByteArray>("body"); // JSON, compared as a document; empty = no body

    const QString t = kToken;
    const QString w = QStringLiteral("w-design");
    auto row = [](const char* name, Issue request, const char* method, const char* target, bool withToken,
                  const char* body = "") {
        QTest::newRow(name) << request << QByteArray(method) << QByteArray(target) << withToken << QByteArray(body);
    };

    row(
            "Login", [](auto h) { ZYRAccount::Login(QStringLiteral("alice"), QStringLiteral("p&ss wörd"), h); }, "POST",
            "/api/v1/auth/login", false, R"({"account":"alice","password":"p&ss wörd"})");
    row(
            "GetUserInfo", [t](auto h) { ZYRAccount::GetUserInfo(t, h); }, "GET", "/api/v1/users/me", true);
    row(
            "GetUserAvatar",
            [t](auto h) { ZYRAccount::GetUserAvatar(t, QStringLiteral("/api/v1/users/u-alice/avatar"), h); }, "GET",
            "/api/v1/users/u-alice/avatar", true);
    row(
            "GetUserAvatar without slash",
            [t](auto h) { ZYRAccount::GetUserAvatar(t, QStringLiteral("api/v1/users/u-bob/avatar"), h); }, "GET",
            "/api/v1/users/u-bob/avatar", true);
    row(
            "GetUserAvatar absolute",
            [t](auto h) {
                ZYRAccount::GetUserAvatar(t, QStringLiteral("https://cdn.example.com/api/v1/users/u-a/avatar?v=2"), h);
            },
            "GET", "/api/v1/users/u-a/avatar?v=2", true);
    row(
            "GetLoginToken", [t](auto h) { ZYRAccount::GetLoginToken(t, h); }, "GET", "/api/v1/auth/login-token", true);
    row(
            "GetAllWorkspaces", [t](auto h) { ZYRWorkspace::GetAllWorkspaces(t, h); }, "GET", "/api/v1/workspaces",
            true);
    row(
            "GetWorkspaceQuota", [t, w](auto h) { ZYRWorkspace::GetWorkspaceQuota(t, w, h); }, "GET",
            "/api/v1/workspaces/w-design/quota", true);
    row(
            "GetWorkspaceLogo",
            [t, w](auto h) {
                ZYRWorkspace::GetWorkspaceLogo(
                        t, w, QStringLiteral("https://127.0.0.1:1/api/v1/workspaces/w-design/logo"), h);
            },
            "GET", "/api/v1/workspaces/w-design/logo", true);
    row(
            "GetWorkspaceLogo without address",
            [t](auto h) { ZYRWorkspace::GetWorkspaceLogo(t, QStringLiteral("w 2"), QString(), h); }, "GET",
            "/api/v1/workspaces/w%202/logo", true);
    row(
            "PostInstallInfo",
            [](auto h) { ZYRWorkspace::PostInstallInfo(QStringLiteral(R"({"machineId":"m-1","installTime":5})"), h); },
            "POST", "/api/v1/install-info", false, R"({"machineId":"m-1","installTime":5})");

    row(
            "GetChildFiles by id",
            [t, w](auto h) { ZYRDocument::GetChildFiles(t, w, QStringLiteral("f-design"), h, false); }, "GET",
            "/api/v1/workspaces/w-design/children?id=f-design", true);
    row(
            "GetChildFiles by path",
            [t, w](auto h) { ZYRDocument::GetChildFiles(t, w, QStringLiteral("/Design/2019"), h, true); }, "GET",
            "/api/v1/workspaces/w-design/children?path=%2FDesign%2F2019", true);
    row(
            "GetChildFiles root", [t, w](auto h) { ZYRDocument::GetChildFiles(t, w, QString(), h, false); }, "GET",
            "/api/v1/workspaces/w-design/children?id=", true);
    row(
            "QueryAttributes all",
            [t, w](auto h) { ZYRDocument::QueryAttributes(t, w, QStringLiteral("f-plan"), false, h, QString()); },
            "GET", "/api/v1/workspaces/w-design/attributes?id=f-plan", true);
    row(
            "QueryAttributes one key by path",
            [t, w](auto h) {
                ZYRDocument::QueryAttributes(t, w, QStringLiteral("/Design"), true, h, QStringLiteral("stage one"));
            },
            "GET", "/api/v1/workspaces/w-design/attributes?path=%2FDesign&attributeKey=stage%20one", true);
    row(
            "GetFileMetaById with path",
            [t, w](auto h) { ZYRDocument::GetFileMetaById(t, w, QStringLiteral("f-plan"), true, h); }, "GET",
            "/api/v1/workspaces/w-design/meta?id=f-plan&withPath=true", true);
    row(
            "GetFileMetaById without path", [t, w](auto h) { ZYRDocument::GetFileMetaById(t, w, QString(), false, h); },
            "GET", "/api/v1/workspaces/w-design/meta?id=&withPath=false", true);
    row(
            "GetFileMetaByPath",
            [t, w](auto h) { ZYRDocument::GetFileMetaByPath(t, w, QStringLiteral("/Design/a+b &c=d#1 %中.dwg"), h); },
            "GET", "/api/v1/workspaces/w-design/meta?path=%2FDesign%2Fa%2Bb%20%26c%3Dd%231%20%25%E4%B8%AD.dwg", true);
    row(
            "GetFilePath", [t, w](auto h) { ZYRDocument::GetFilePath(t, w, QStringLiteral("f-2019"), h); }, "GET",
            "/api/v1/workspaces/w-design/parents?id=f-2019", true);
    row(
            "GetFilePathById", [t](auto h) { ZYRDocument::GetFilePathById(t, QStringLiteral("f-plan"), h); }, "GET",
            "/api/v1/files/path?id=f-plan", true);
    row(
            "GetFilePrivilege", [t, w](auto h) { ZYRDocument::GetFilePrivilege(t, w, QString(), h); }, "GET",
            "/api/v1/workspaces/w-design/privileges?id=", true);
    row(
            "GetFileThumbnailById",
            [t, w](auto h) { ZYRDocument::GetFileThumbnailById(t, w, QStringLiteral("f-plan"), h); }, "GET",
            "/api/v1/workspaces/w-design/thumbnail?id=f-plan", true);
    row(
            "GetViewCode", [t, w](auto h) { ZYRDocument::GetViewCode(t, w, QStringLiteral("f-plan"), h); }, "GET",
            "/api/v1/workspaces/w-design/viewcode?id=f-plan", true);

    row(
            "CreateFolder",
            [t, w](auto h) {
                ZYRDocument::CreateFolder(t, w, QStringLiteral("f-design"), QStringLiteral("Reviews & Notes"), h);
            },
            "POST", "/api/v1/workspaces/w-design/folders", true, R"({"parentId":"f-design","name":"Reviews & Notes"})");
    row(
            "DeleteFile", [t](auto h) { ZYRDocument::DeleteFile(t, QStringLiteral("w 1"), QStringLiteral("f/1"), h); },
            "DELETE", "/api/v1/workspaces/w%201/files/f%2F1", true);
    row(
            "CopyFile",
            [t, w](auto h) {
                ZYRDocument::CopyFile(t, w, QStringLiteral("f-overview"), QStringLiteral("f-2019"), false, h);
            },
            "POST", "/api/v1/workspaces/w-design/files/f-overview/copy", true,
            R"({"targetFolderId":"f-2019","move":false})");
    row(
            "CopyFile moving",
            [t, w](auto h) { ZYRDocument::CopyFile(t, w, QStringLiteral("f-overview"), QString(), true, h); }, "POST",
            "/api/v1/workspaces/w-design/files/f-overview/copy", true, R"({"targetFolderId":"","move":true})");
    row(
            "RenameFile",
            [t, w](auto h) {
                ZYRDocument::RenameFile(t, w, QStringLiteral("f-overview"), QStringLiteral("overview v2.txt"), h);
            },
            "PUT", "/api/v1/workspaces/w-design/files/f-overview/name", true, R"({"name":"overview v2.txt"})");
    row(
            "addFavoriteFile", [t, w](auto h) { ZYRDocument::addFavoriteFile(t, w, QStringLiteral("f-plan"), h); },
            "POST", "/api/v1/workspaces/w-design/favorites", true, R"({"fileIds":["f-plan"]})");
    row(
            "addFavoriteFile several",
            [t, w](auto h) { ZYRDocument::addFavoriteFile(t, w, QStringLiteral("f-plan,f-overview"), h); }, "POST",
            "/api/v1/workspaces/w-design/favorites", true, R"({"fileIds":["f-plan","f-overview"]})");
    row(
            "removeFavoriteFile",
            [t, w](auto h) { ZYRDocument::removeFavoriteFile(t, w, QStringLiteral("f-plan,f-overview"), h); }, "DELETE",
            "/api/v1/workspaces/w-design/favorites?fileIds=f-plan%2Cf-overview", true);
    row(
            "queryFavoriteFiles", [t, w](auto h) { ZYRDocument::queryFavoriteFiles(t, w, h); }, "GET",
            "/api/v1/workspaces/w-design/favorites", true);
    row(
            "QueryShareLinks", [t, w](auto h) { ZYRDocument::QueryShareLinks(t, w, h); }, "GET",
            "/api/v1/workspaces/w-design/share-links", true);
    row(
            "CreateShareLink",
            [t, w](auto h) {
                ZYRDocument::CreateShareLink(t, w, { QStringLiteral("f-plan"), QStringLiteral("f-overview") }, true,
                                             1767225600000LL, true, false, h);
            },
            "POST", "/api/v1/workspaces/w-design/share-links", true,
            R"({"fileIds":["f-plan","f-overview"],"encrypt":true,"expireTime":1767225600000,"preview":true,"download":false})");
    row(
            "UpdateShareLink",
            [t, w](auto h) {
                ZYRDocument::UpdateShareLink(t, w, QStringLiteral("sl-000002"), 0, false, false, true, h);
            },
            "PUT", "/api/v1/workspaces/w-design/share-links/sl-000002", true,
            R"({"expireTime":0,"encrypt":false,"preview":false,"download":true})");
    row(
            "RemoveShareLinks", [t, w](auto h) { ZYRDocument::RemoveShareLinks(t, w, QStringLiteral("sl-1,sl-2"), h); },
            "DELETE", "/api/v1/workspaces/w-design/share-links?ids=sl-1%2Csl-2", true);
    row(
            "AddAttributes",
            [t, w](auto h) {
                ZYRDocument::AddAttributes(t, w, QStringLiteral("f-plan"),
                                           { { QStringLiteral("author"), QStringLiteral("Alice") },
                                             { QStringLiteral("stage"), QString() } },
                                           h);
            },
            "POST", "/api/v1/workspaces/w-design/attributes", true,
            R"({"id":"f-plan","attributes":{"author":"Alice","stage":""}})");
    row(
            "AddAttributesByPath",
            [t, w](auto h) {
                ZYRDocument::AddAttributesByPath(t, w, QStringLiteral("Design/2019/plan.dwg"),
                                                 { { QStringLiteral("k"), QStringLiteral("v") } }, h);
            },
            "POST", "/api/v1/workspaces/w-design/attributes", true,
            R"({"path":"Design/2019/plan.dwg","attributes":{"k":"v"}})");
    row(
            "DownloadFile", [t, w](auto h) { ZYRDocument::DownloadFile(t, w, QStringLiteral("f-plan"), 0, 0, h); },
            "GET", "/api/v1/workspaces/w-design/files/f-plan/content", true);
    row(
            "QueryLatestVersion path",
            [](auto h) { ZYRVersion::QueryLatestVersion(QStringLiteral("/downloads/versions.xml"), h); }, "GET",
            "/downloads/versions.xml", false);
    row(
            "ZYRVersion::DownloadFile path",
            [](auto h) { ZYRVersion::DownloadFile(QStringLiteral("/downloads/Setup 1.3.exe"), h); }, "GET",
            "/downloads/Setup%201.3.exe", false);
}

void tst_ZYRServiceRequests::sendsWhatTheInterfaceDefines()
{
    QFETCH(Issue, request);
    QFETCH(QByteArray, method);
    QFETCH(QByteArray, target);
    QFETCH(bool, withToken);
    QFETCH(QByteArray, body);

    const auto record = issue(request);
    QTRY_VERIFY(record->destroyed());
    QCOMPARE(record->statusCode(), 200);
    QCOMPARE(record->events(),
             QStringList({ QStringLiteral("readyRead"), QStringLiteral("finished"), QStringLiteral("destroyed") }));

    // Only file downloads, whose handlers drain every readyRead, may have a
    // bounded read buffer; a handler that reads at the end would stall.
    const bool fileDownload = target.endsWith("/content") || target.startsWith("/downloads/Setup");
    QCOMPARE(record->readBufferSize() > 0, fileDownload);

    QCOMPARE(m_server->requests().size(), 1);
    const ScriptedRequest sent = m_server->requests().constFirst();
    QCOMPARE(sent.method, method);
    QCOMPARE(sent.target, target);
    if (withToken)
        QCOMPARE(sent.header("Authorization"), QByteArray("Bearer tok-1"));
    else
        QVERIFY2(!sent.hasHeader("Authorization"), sent.header("Authorization").constData());
    QVERIFY(!sent.hasHeader("Cookie"));
    if (body.isEmpty()) {
        QVERIFY(sent.body.isEmpty());
    } else {
        QCOMPARE(sent.header("Content-Type"), QByteArray("application/json"));
        QCOMPARE(sent.header("Content-Length").toInt(), sent.body.size());
        QJsonParseError error;
        const QJsonDocument actual = QJsonDocument::fromJson(sent.body, &error);
        QVERIFY2(error.error == QJsonParseError::NoError, sent.body.constData());
        QCOMPARE(actual, QJsonDocument::fromJson(body));
    }
}

void tst_ZYRServiceRequests::rangeHeader_data()
{
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<qint64>("length");
    QTest::addColumn<QByteArray>("range"); // empty = no header

    QTest::newRow("whole file") << 0LL << 0LL << QByteArray();
    QTest::newRow("resume") << 400LL << 0LL << QByteArray("bytes=400-");
    QTest::newRow("first bytes") << 0LL << 100LL << QByteArray("bytes=0-99");
    QTest::newRow("middle") << 400LL << 100LL << QByteArray("bytes=400-499");
    QTest::newRow("beyond 4 GiB") << 5000000000LL << 0LL << QByteArray("bytes=5000000000-");
}

void tst_ZYRServiceRequests::rangeHeader()
{
    QFETCH(qint64, offset);
    QFETCH(qint64, length);
    QFETCH(QByteArray, range);

    const auto record = issue([=](auto h) {
        ZYRDocument::DownloadFile(kToken, QStringLiteral("w"), QStringLiteral("f"), offset, length, h);
    });
    QTRY_COMPARE(record->finishedCount(), 1);
    const ScriptedRequest sent = m_server->requests().constFirst();
    QCOMPARE(sent.hasHeader("Range"), !range.isEmpty());
    QCOMPARE(sent.header("Range"), range);
    // Ranges count stored bytes, so no content coding may be negotiated.
    QCOMPARE(sent.header("Accept-Encoding"), QByteArray("identity"));
}

void tst_ZYRServiceRequests::rangedDownloadReportsTheWholeFileAsTotal_data()
{
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<qint64>("expectedTotal");

    QTest::newRow("from the start") << 0LL << 1000LL;
    QTest::newRow("resumed at 400") << 400LL << 1000LL;
}

void tst_ZYRServiceRequests::rangedDownloadReportsTheWholeFileAsTotal()
{
    QFETCH(qint64, offset);
    QFETCH(qint64, expectedTotal);

    const QByteArray file = patternBytes(1000);
    m_server->setHandler([&](const ScriptedRequest&) {
        ScriptedResponse response = ScriptedResponse::json(offset > 0 ? 206 : 200, file.mid(offset));
        response.withHeader("Content-Type", "application/octet-stream");
        if (offset > 0)
            response.withHeader("Content-Range", "bytes " + QByteArray::number(offset) + "-999/1000");
        return response;
    });
    const auto record = issue(
            [=](auto h) { ZYRDocument::DownloadFile(kToken, QStringLiteral("w"), QStringLiteral("f"), offset, 0, h); });
    QTRY_COMPARE(record->finishedCount(), 1);
    QCOMPARE(record->statusCode(), offset > 0 ? 206 : 200);
    QCOMPARE(record->body(), file.mid(offset));
    const auto progress = record->downloadProgress();
    QVERIFY(!progress.isEmpty());
    // Received counts this reply's bytes; the worker adds its offset itself.
    QCOMPARE(progress.constLast().first, 1000 - offset);
    for (const auto& step : progress)
        QCOMPARE(step.second, expectedTotal);
}

void tst_ZYRServiceRequests::unknownDownloadTotalIsPassedThrough()
{
    const QByteArray file = patternBytes(1000);
    m_server->setHandler([&](const ScriptedRequest&) {
        ScriptedResponse response = ScriptedResponse::json(206, file.mid(400));
        response.withoutLength = true;
        response.leaveOpen = true;
        return response;
    });
    const auto record = issue(
            [=](auto h) { ZYRDocument::DownloadFile(kToken, QStringLiteral("w"), QStringLiteral("f"), 400, 0, h); });
    QTRY_COMPARE(record->body().size(), 600);
    // Qt holds progress back for a moment after the start; keep the body
    // coming until a step is reported.
    const QDeadlineTimer deadline(10000);
    while (record->downloadProgress().isEmpty() && !deadline.hasExpired()) {
        const qsizetype before = record->body().size();
        m_server->writeToConnections(QByteArray(10, 'x'));
        QTRY_VERIFY(record->body().size() > before);
    }
    QVERIFY(!record->downloadProgress().isEmpty());
    for (const auto& step : record->downloadProgress())
        QCOMPARE(step.second, -1LL);

    m_server->closeConnections();
    QTRY_COMPARE(record->finishedCount(), 1);
    // At the end Qt reports what arrived as the total, which the offset
    // turns into the whole file's size again.
    const qint64 received = record->body().size();
    QCOMPARE(record->downloadProgress().constLast(), qMakePair(received, 400 + received));
}

void tst_ZYRServiceRequests::uploadStreamsTheSourceFromItsOffset_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<qint64>("positionedAt"); // where the caller left the file

    QTest::newRow("new upload") << 300000LL << 0LL << 0LL;
    QTest::newRow("resume, positioned by the caller") << 300000LL << 120000LL << 120000LL;
    QTest::newRow("resume, not positioned") << 300000LL << 120000LL << 0LL;
    QTest::newRow("empty file") << 0LL << 0LL << 0LL;
}

void tst_ZYRServiceRequests::uploadStreamsTheSourceFromItsOffset()
{
    QFETCH(qint64, size);
    QFETCH(qint64, offset);
    QFETCH(qint64, positionedAt);

    const QByteArray content = patternBytes(size);
    QTemporaryFile source;
    QVERIFY(source.open());
    QCOMPARE(source.write(content), size);
    QVERIFY(source.flush());
    QFile file(source.fileName());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.seek(positionedAt));

    m_server->setHandler([](const ScriptedRequest&) {
        return ScriptedResponse::json(200, R"({"code":0,"message":"success","data":{"id":"f-1"}})");
    });
    const auto record = issue([&](auto h) {
        ZYRDocument::UploadFile(kToken, QStringLiteral("w-design"), QStringLiteral("/Design"),
                                QStringLiteral("/Design/big file+1.bin"), size, offset, &file, h);
    });
    QTRY_COMPARE(record->finishedCount(), 1);
    QCOMPARE(record->statusCode(), 200);

    const ScriptedRequest sent = m_server->requests().constFirst();
    QCOMPARE(sent.method, QByteArray("PUT"));
    QCOMPARE(sent.path, QByteArray("/api/v1/workspaces/w-design/upload"));
    QCOMPARE(sent.query,
             "parentPath=%2FDesign&path=%2FDesign%2Fbig%20file%2B1.bin&size=" + QByteArray::number(size)
                     + "&offset=" + QByteArray::number(offset));
    QCOMPARE(sent.header("Authorization"), QByteArray("Bearer tok-1"));
    QCOMPARE(sent.header("Content-Type"), QByteArray("application/octet-stream"));
    QCOMPARE(sent.header("Content-Length").toLongLong(), size - offset);
    QVERIFY(sent.body == content.mid(offset));
    // Progress counts this request's bytes up to its Content-Length. (Qt
    // ends every upload with an extra (0, 0), which the worker ignores.)
    const auto progress = record->uploadProgress();
    QVERIFY(!progress.isEmpty());
    if (size > offset)
        QVERIFY(progress.contains(qMakePair(size - offset, size - offset)));
    for (const auto& step : progress)
        QVERIFY(step.first <= size - offset && step.second <= size - offset);
    // The source stays the caller's: still open, never closed or deleted.
    QVERIFY(file.isOpen());
}

void tst_ZYRServiceRequests::onlyVersionRequestsFollowRedirects_data()
{
    QTest::addColumn<Issue>("request");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("requestsSent");

    QTest::newRow("installer download follows")
            << Issue([](auto h) { ZYRVersion::DownloadFile(QStringLiteral("/downloads/latest"), h); }) << 200 << 2;
    QTest::newRow("version list follows")
            << Issue([](auto h) { ZYRVersion::QueryLatestVersion(QStringLiteral("/downloads/latest"), h); }) << 200
            << 2;
    QTest::newRow("API request does not") << Issue([](auto h) { ZYRAccount::GetUserInfo(kToken, h); }) << 302 << 1;
    QTest::newRow("upload does not") << Issue([](auto h) {
        auto* buffer = new QBuffer(h); // gone with the handler, after the reply
        buffer->open(QIODevice::ReadOnly);
        ZYRDocument::UploadFile(kToken, QStringLiteral("w"), QStringLiteral("/"), QStringLiteral("/x"), 0, 0, buffer,
                                h);
    }) << 302 << 1;
}

void tst_ZYRServiceRequests::onlyVersionRequestsFollowRedirects()
{
    QFETCH(Issue, request);
    QFETCH(int, status);
    QFETCH(int, requestsSent);

    const QByteArray target = m_server->url().toEncoded() + "/downloads/Setup-1.3.exe";
    m_server->setHandler([&](const ScriptedRequest& sent) {
        if (sent.path == "/downloads/Setup-1.3.exe")
            return ScriptedResponse::json(200, "installer bytes");
        ScriptedResponse response = ScriptedResponse::json(302, QByteArray());
        response.withHeader("Location", target);
        return response;
    });
    const auto record = issue(request);
    QTRY_COMPARE(record->finishedCount(), 1);
    QCOMPARE(record->statusCode(), status);
    QCOMPARE(m_server->requests().size(), requestsSent);
    if (status == 200)
        QCOMPARE(record->body(), QByteArray("installer bytes"));
}

void tst_ZYRServiceRequests::serverAddress_data()
{
    QTest::addColumn<QString>("configured"); // %1 = the scripted server's host:port
    QTest::addColumn<QString>("environment");
    QTest::addColumn<QByteArray>("target");

    QTest::newRow("set") << QStringLiteral("http://%1") << QString() << QByteArray("/api/v1/users/me");
    QTest::newRow("trailing slash ignored")
            << QStringLiteral("http://%1/") << QString() << QByteArray("/api/v1/users/me");
    QTest::newRow("path prefix kept") << QStringLiteral("http://%1/zyr/") << QString()
                                      << QByteArray("/zyr/api/v1/users/me");
    QTest::newRow("from the environment") << QString() << QStringLiteral("http://%1") << QByteArray("/api/v1/users/me");
    QTest::newRow("set wins over environment")
            << QStringLiteral("http://%1/a") << QStringLiteral("http://%1/b") << QByteArray("/a/api/v1/users/me");
}

void tst_ZYRServiceRequests::serverAddress()
{
    QFETCH(QString, configured);
    QFETCH(QString, environment);
    QFETCH(QByteArray, target);

    const QString hostPort = m_server->url().authority();
    ZYRServiceUtil::setServerUrl(configured.isEmpty() ? QUrl() : QUrl(configured.arg(hostPort)));
    if (!environment.isEmpty())
        qputenv("ZYR_SERVER_URL", environment.arg(hostPort).toUtf8());

    const auto record = issue([](auto h) { ZYRAccount::GetUserInfo(kToken, h); });
    QTRY_COMPARE(record->finishedCount(), 1);
    QCOMPARE(m_server->requests().constFirst().target, target);
    qunsetenv("ZYR_SERVER_URL");
}

void tst_ZYRServiceRequests::noCookiesAreKeptOrSent()
{
    m_server->setHandler([](const ScriptedRequest&) {
        ScriptedResponse response;
        response.withHeader("Set-Cookie", "session=abc; Path=/");
        return response;
    });
    const auto first = issue([](auto h) { ZYRAccount::GetUserInfo(kToken, h); });
    QTRY_COMPARE(first->finishedCount(), 1);
    const auto second = issue([](auto h) { ZYRAccount::GetUserInfo(kToken, h); });
    QTRY_COMPARE(second->finishedCount(), 1);
    QCOMPARE(m_server->requests().size(), 2);
    QVERIFY(!m_server->requests().at(1).hasHeader("Cookie"));
}

void tst_ZYRServiceRequests::installInfoWithoutHandler()
{
    ZYRWorkspace::PostInstallInfo(QStringLiteral(R"({"machineId":"m-2"})"), nullptr);
    QTRY_COMPARE(m_server->requests().size(), 1);
    QCOMPARE(m_server->requests().constFirst().body, QByteArray(R"({"machineId":"m-2"})"));
    // A later request on the same connection shows the first one completed
    // cleanly although nobody listened to it.
    const auto record = issue([](auto h) { ZYRAccount::GetUserInfo(kToken, h); });
    QTRY_COMPARE(record->finishedCount(), 1);
    QCOMPARE(record->statusCode(), 200);
}

QTEST_MAIN(tst_ZYRServiceRequests)
#include "tst_zyrservicerequests.moc"
