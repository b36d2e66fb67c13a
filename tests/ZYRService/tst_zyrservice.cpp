// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// Every request, read by its controller handler: sent to a scripted server
// (what goes on the wire), then to the real zyr-cloud (its answer and the
// handler agree). Then failed and cancelled requests.

#include <CloudServerFixture.h>

#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BAddAttributesByPathHandler.h>
#include <ZYRController/BAddFavoriteFilesHandler.h>
#include <ZYRController/BCopyFilesHandler.h>
#include <ZYRController/BCreateFolderHandler.h>
#include <ZYRController/BCreateShareLinkHandler.h>
#include <ZYRController/BDeleteFilesHandler.h>
#include <ZYRController/BDownloadFileHandler.h>
#include <ZYRController/BGetFilePathHandler.h>
#include <ZYRController/BGetFilePrivilegeHandler.h>
#include <ZYRController/BLoginHandler.h>
#include <ZYRController/BQueryAllWorkspaceHandler.h>
#include <ZYRController/BQueryAttributesHandler.h>
#include <ZYRController/BQueryChildrenByInfoHandler.h>
#include <ZYRController/BQueryChildrenHandler.h>
#include <ZYRController/BQueryFavoriteFilesHandler.h>
#include <ZYRController/BQueryFileMetaHandler.h>
#include <ZYRController/BQueryFilePathHandler.h>
#include <ZYRController/BQueryFileThumbnailHandler.h>
#include <ZYRController/BQueryShareLinksHandler.h>
#include <ZYRController/BQueryTargetLoginTokenHandler.h>
#include <ZYRController/BQueryUserAvatarHandler.h>
#include <ZYRController/BQueryUserInfoHandler.h>
#include <ZYRController/BQueryViewcodeHandler.h>
#include <ZYRController/BQueryWorkspaceLogoHandler.h>
#include <ZYRController/BQueryWorkspaceQuotaHandler.h>
#include <ZYRController/BRemoveFavoriteFilesHandler.h>
#include <ZYRController/BRemoveShareLinksHandler.h>
#include <ZYRController/BRenameFileHandler.h>
#include <ZYRController/BSimpleResultHandler.h>
#include <ZYRController/BUpdateShareLinkHandler.h>
#include <ZYRController/BUploadFileHandler.h>
#include <ZYRModel/MDocumentViewcode.h>
#include <ZYRModel/MToken.h>
#include <ZYRModel/MUser.h>
#include <ZYRModel/MWorkspace.h>
#include <ZYRModel/MWorkspaceQuota.h>
#include <ZYRService/ZYRAccount.h>
#include <ZYRService/ZYRDocument.h>
#include <ZYRService/ZYRServiceUtil.h>
#include <ZYRService/ZYRVersion.h>
#include <ZYRService/ZYRWorkspace.h>

#include <QBuffer>
#include <QJsonDocument>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QThread>

#include <atomic>
#include <functional>
#include <memory>

using namespace Trelan::Oku::ZYRController;
using namespace Trelan::Oku::ZYRModel;
using namespace Trelan::Oku::ZYRService;
using namespace Qt::StringLiterals;
using C = BActionFinishedCallerBase*;
using Issue = std::function<void(C)>;
Q_DECLARE_METATYPE(Issue)

namespace {

QString T; // alice's access token
const QString W = u"w-design"_s;
const QSharedPointer<MFile> s_node = QSharedPointer<MFile>::create(); // the privilege handler needs a live node
QString s_linkId; // made by one row, used by later ones
QByteArray s_uploaded = "uploaded through the service";
QByteArray s_downloaded;
QPair<qint64, qint64> s_progress;

QString join(const QStringList& parts)
{
    return parts.join(u'|');
}

// Ids the server makes (f-000123) show as "new".
QString text(const QSharedPointer<MFile>& f)
{
    if (!f)
        return u"none"_s;
    return join({ f->getId().startsWith(u"f-0"_s) ? u"new"_s : f->getId(), f->getFileName(), f->getParentId(),
                  QString::number(f->getSize()), QString::number(f->getRevisionNumber()), f->getRemotePathString() });
}

QString text(const QSharedPointer<MFileShareLink>& link)
{
    if (!link)
        return u"none"_s;
    s_linkId = link->getId();
    return link->getPrivileges().join(u',') + u'|' + QString::number(link->getPassword().size());
}

template <typename List, typename Text>
QString list(const List& items, Text text)
{
    QStringList out;
    for (const auto& item : items)
        out << text(item);
    return out.join(u',');
}

QString names(const QList<QSharedPointer<MFile>>& files)
{
    return list(files, [](const QSharedPointer<MFile>& f) { return f->getFileName(); });
}

QString parsed(BReplyHandlerBase* b)
{
#define READ(Handler, ...)                 \
  if (auto* h = dynamic_cast<Handler*>(b)) \
    return __VA_ARGS__;
    READ(BLoginHandler, h->takeToken(false) ? h->takeToken(false)->getTokenType() : u"none"_s)
    READ(BQueryUserInfoHandler, h->takeUser(false) ? h->takeUser(false)->getAvatarPaths().join(u',') : u"none"_s)
    READ(BQueryUserAvatarHandler, QString::fromLatin1(h->avatarData().mid(1, 3))) // "PNG"
    READ(BQueryTargetLoginTokenHandler, h->loginToken().left(3) + QString::number(h->loginToken().size()))
    READ(BQueryAllWorkspaceHandler,
         list(*h->workspaces(), [](MWorkspace* w) { return w->getId() + u' ' + w->getRole(); }))
    READ(BQueryWorkspaceQuotaHandler,
         h->takeQuota(false) ? QString::number(h->takeQuota(false)->getTotalSize()) : u"none"_s)
    READ(BQueryWorkspaceLogoHandler, QString::fromLatin1(h->logoData().mid(1, 3)))
    READ(BSimpleResultHandler, h->isSuccess() ? u"success"_s : u"failure"_s)
    READ(BQueryChildrenHandler, names(h->children()))
    READ(BQueryChildrenByInfoHandler, names(h->children()))
    READ(BQueryAttributesHandler,
         list(h->attributes().keys(), [h](const QString& k) { return k + u'=' + h->attributes()[k]; }))
    READ(BFileInfoHandlerBase, text(h->file())) // metadata and uploads
    READ(BGetFilePathHandler, h->namePath() + u'|' + QString::number(h->filePath().count()))
    READ(BQueryFilePathHandler, join({ h->idPath(), h->namePath(), h->parentNamePath() }))
    READ(BGetFilePrivilegeHandler, h->privileges().join(u','))
    READ(BQueryFileThumbnailHandler, QString::fromLatin1(h->thumbnailData().mid(1, 3)))
    READ(BQueryViewcodeHandler, h->takeViewcode(false) ? h->takeViewcode(false)->getViewcode().left(3) : u"none"_s)
    READ(BCreateFolderHandler, text(h->file()))
    READ(BRenameFileHandler, text(h->file()))
    READ(BCopyFilesHandler, text(h->file()))
    READ(BDeleteFilesHandler, h->isSuccess() ? u"success"_s : u"failure"_s)
    READ(BAddAttributesHandler, h->isSuccess() ? u"success"_s : u"failure"_s) // by id and by path
    READ(BQueryFavoriteFilesHandler, names(h->files()))
    READ(BCreateShareLinkHandler, text(h->shareLink()))
    READ(BUpdateShareLinkHandler, text(h->shareLink()))
    READ(BQueryShareLinksHandler, text(h->shareLinks().value(0)))
    READ(BDownloadFileHandler,
         join({ QString::number(s_progress.first), QString::number(s_progress.second),
                QString::number(h->bytesWritten()), QString::fromLatin1(s_downloaded.left(4).toHex()) }))
#undef READ
    return QString(); // favourite and share-link removals: the status says it all
}

// `gone`, set when the handler is deleted, hands the rest to the test's thread.
class Owner {
public:
    C caller() { return new BActionFinishedCaller<Owner>(this, &Owner::onFinished, &Owner::onDownloadProgress); }
    void onFinished(BReplyHandlerBase* handler)
    {
        status = handler->statusCode();
        error = handler->errorCode();
        readBuffer = handler->getReply()->readBufferSize();
        result = parsed(handler);
        watch(handler);
        ++calls;
    }
    void onDownloadProgress(qint64 received, qint64 total) { s_progress = { received, total }; }
    void watch(QObject* handler)
    {
        QObject::connect(handler, &QObject::destroyed, [this] {
            thread = QThread::currentThread();
            gone = true;
        });
    }

    std::atomic<int> calls{ 0 };
    std::atomic<bool> gone{ false };
    int status = -1;
    int error = 0;
    qint64 readBuffer = -1;
    QThread* thread = nullptr;
    QString result;
};

// The rows run one at a time: one buffer serves the uploads and downloads.
QIODevice* buffer(QByteArray* bytes, QIODevice::OpenMode mode)
{
    static QBuffer device;
    device.close();
    device.setBuffer(bytes);
    device.open(mode);
    return &device;
}

struct Sent {
    QByteArray request, body; // request: method, target and version
    QHash<QByteArray, QByteArray> headers; // names in lower case
};

// Answers each request with `answer`, or holds it unanswered without one.
class ScriptedServer : public QTcpServer {
public:
    ScriptedServer()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
        listen(QHostAddress::LocalHost, 0);
    }
    QUrl url() const { return QUrl(u"http://127.0.0.1:%1"_s.arg(serverPort())); }

    std::function<QByteArray(const Sent&)> answer;
    QList<Sent> sent;

private:
    void read(QTcpSocket* socket)
    {
        QByteArray& buffer = m_buffers[socket];
        buffer += socket->readAll();
        const qsizetype headerEnd = buffer.indexOf("\r\n\r\n");
        QList<QByteArray> lines = buffer.left(headerEnd).split('\n');
        Sent request{ lines.takeFirst().trimmed(), {}, {} };
        for (const QByteArray& line : std::as_const(lines))
            request.headers.insert(line.left(line.indexOf(':')).toLower(), line.mid(line.indexOf(':') + 1).trimmed());
        const qsizetype end = headerEnd + 4 + request.headers.value("content-length").toLongLong();
        if (headerEnd < 0 || buffer.size() < end)
            return; // the rest is still on its way
        request.body = buffer.mid(headerEnd + 4, end - headerEnd - 4);
        buffer.remove(0, end);
        sent.append(request);
        if (answer)
            socket->write(answer(request));
    }
    QHash<QTcpSocket*, QByteArray> m_buffers;
};

} // namespace

class tst_ZYRService : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void everyRequest_data();
    void everyRequest();
    void failuresEndInErrorThenFinished_data();
    void failuresEndInErrorThenFinished();
    void cancelAll_data();
    void cancelAll();

private:
    std::unique_ptr<CloudServerFixture> m_cloud;
    std::unique_ptr<ScriptedServer> m_server;
};

void tst_ZYRService::initTestCase()
{
    m_cloud = std::make_unique<CloudServerFixture>();
    QVERIFY2(m_cloud->start(), qPrintable(m_cloud->errorString()));
    T = m_cloud->signIn();
    QVERIFY2(!T.isEmpty(), qPrintable(m_cloud->errorString()));
}

void tst_ZYRService::init()
{
    m_server = std::make_unique<ScriptedServer>();
    ZYRServiceUtil::setServerUrl(m_server->url());
    ZYRServiceUtil::setRequestTimeout(0);
}

// Rows are named by the request line sent ("*": the share link made before);
// they run in order against one cloud, later rows seeing earlier changes.
void tst_ZYRService::everyRequest_data()
{
    QTest::addColumn<QByteArray>("body"); // compared as JSON when it is JSON
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<int>("status"); // from the cloud
    QTest::addColumn<QString>("expected"); // what the handler parsed from the cloud's answer
    QTest::addColumn<Issue>("request");
#define ROW(sent, body, range, status, expected, ...)                                                   \
  QTest::newRow(sent) << QByteArray(body) << QByteArray(range) << status << QString::fromUtf8(expected) \
                      << Issue([](C c) { __VA_ARGS__; })
    ROW("POST /api/v1/auth/login no token", R"({"account":"alice","password":"alice-pass"})", "", 200, "Bearer",
        ZYRAccount::Login(u"alice"_s, u"alice-pass"_s, new BLoginHandler(c)));
    ROW("GET /api/v1/users/me", "", "", 200, "/api/v1/users/u-alice/avatar",
        ZYRAccount::GetUserInfo(T, new BQueryUserInfoHandler(c)));
    ROW("GET /api/v1/users/u-alice/avatar", "", "", 200, "PNG",
        ZYRAccount::GetUserAvatar(T, u"https://cdn.example.com/api/v1/users/u-alice/avatar"_s,
                                  new BQueryUserAvatarHandler(c, {})));
    ROW("GET /api/v1/auth/login-token", "", "", 200, "lt-35",
        ZYRAccount::GetLoginToken(T, new BQueryTargetLoginTokenHandler(c, {})));
    ROW("GET /api/v1/workspaces", "", "", 200, "w-design CREATOR,w-projects MEMBER",
        ZYRWorkspace::GetAllWorkspaces(T, new BQueryAllWorkspaceHandler(c, false)));
    ROW("GET /api/v1/workspaces/w-projects/quota", "", "", 200, "1073741824",
        ZYRWorkspace::GetWorkspaceQuota(T, u"w-projects"_s, new BQueryWorkspaceQuotaHandler(c, {})));
    ROW("GET /api/v1/workspaces/w-design/logo", "", "", 200, "PNG",
        ZYRWorkspace::GetWorkspaceLogo(T, W, u"https://127.0.0.1:1/api/v1/workspaces/w-design/logo"_s,
                                       new BQueryWorkspaceLogoHandler(c, W)));
    ROW("POST /api/v1/install-info no token", R"({"machineId":"m-1"})", "", 200, "success",
        ZYRWorkspace::PostInstallInfo(u"{\"machineId\":\"m-1\"}"_s, new BSimpleResultHandler(c)));
    ROW("GET /api/v1/workspaces/w-design/children?id=f-design", "", "", 200, "2019,overview.txt",
        ZYRDocument::GetChildFiles(T, W, u"f-design"_s, new BQueryChildrenHandler(c, W), false));
    ROW("GET /api/v1/workspaces/w-design/children?path=%2FDesign%2F2019", "", "", 200, "plan.dwg",
        ZYRDocument::GetChildFiles(T, W, u"/Design/2019"_s, new BQueryChildrenByInfoHandler(c, W, {}, true), true));
    ROW("GET /api/v1/workspaces/w-design/attributes?path=%2FDesign%2F2019%2Fplan.dwg&attributeKey=stage", "", "", 200,
        "stage=",
        ZYRDocument::QueryAttributes(T, W, u"/Design/2019/plan.dwg"_s, true, new BQueryAttributesHandler(c),
                                     u"stage"_s));
    ROW("GET /api/v1/workspaces/w-design/meta?id=f-plan&withPath=false", "", "", 200, "f-plan|plan.dwg|f-2019|16|3|",
        ZYRDocument::GetFileMetaById(T, W, u"f-plan"_s, false, new BQueryFileMetaHandler(c, {})));
    ROW("PUT "
        "/api/v1/workspaces/w-design/"
        "upload?parentPath=%2FDesign&path=%2FDesign%2Fa%2Bb%20%26c%3Dd%231%20%25%E4%B8%AD&size=28&offset=0",
        "uploaded through the service", "", 200, "new|a+b &c=d#1 %中|f-design|28|1|/Design/a+b &c=d#1 %中",
        ZYRDocument::UploadFile(T, W, u"/Design"_s, u"/Design/a+b &c=d#1 %中"_s, 28, 0,
                                buffer(&s_uploaded, QIODevice::ReadOnly), new BUploadFileHandler(c)));
    ROW("GET /api/v1/workspaces/w-design/meta?path=%2FDesign%2Fa%2Bb%20%26c%3Dd%231%20%25%E4%B8%AD", "", "", 200,
        "new|a+b &c=d#1 %中|f-design|28|1|/Design/a+b &c=d#1 %中",
        ZYRDocument::GetFileMetaByPath(T, W, u"/Design/a+b &c=d#1 %中"_s, new BQueryFileMetaHandler(c, {})));
    ROW("GET /api/v1/workspaces/w-design/parents?id=f-2019", "", "", 200, "/Design/2019|2",
        ZYRDocument::GetFilePath(T, W, u"f-2019"_s, new BGetFilePathHandler(c)));
    ROW("GET /api/v1/files/path?id=f-plan", "", "", 200, "f-design/f-2019/f-plan|Design/2019/plan.dwg|Design/2019",
        ZYRDocument::GetFilePathById(T, u"f-plan"_s, new BQueryFilePathHandler(c)));
    ROW("GET /api/v1/workspaces/w-design/privileges?id=f-overview", "", "", 200, "enter,view,download",
        ZYRDocument::GetFilePrivilege(T, W, u"f-overview"_s, new BGetFilePrivilegeHandler(c, u"u-bob"_s, {}, s_node)));
    ROW("GET /api/v1/workspaces/w-design/thumbnail?id=f-plan", "", "", 200, "PNG",
        ZYRDocument::GetFileThumbnailById(T, W, u"f-plan"_s, new BQueryFileThumbnailHandler(c, {})));
    ROW("GET /api/v1/workspaces/w-design/viewcode?id=f-plan", "", "", 200, "vc-",
        ZYRDocument::GetViewCode(T, W, u"f-plan"_s, new BQueryViewcodeHandler(c, W, {})));
    ROW("POST /api/v1/workspaces/w-design/folders", R"({"parentId":"f-design","name":"A & B"})", "", 200,
        "new|A & B|f-design|0|0|/Design/A & B",
        ZYRDocument::CreateFolder(T, W, u"f-design"_s, u"A & B"_s, new BCreateFolderHandler(c, W, {}, {}, {})));
    ROW("PUT /api/v1/workspaces/w-design/files/f-readme/name", R"({"name":"read me+.md"})", "", 200,
        "f-readme|read me+.md|w-design-root|12|1|/read me+.md",
        ZYRDocument::RenameFile(T, W, u"f-readme"_s, u"read me+.md"_s, new BRenameFileHandler(c, W, {}, {}, {})));
    ROW("POST /api/v1/workspaces/w-design/files/f-overview/copy", R"({"targetFolderId":"f-2019","move":false})", "",
        200, "new|overview.txt|f-2019|11|1|/Design/2019/overview.txt",
        ZYRDocument::CopyFile(T, W, u"f-overview"_s, u"f-2019"_s, false,
                              new BCopyFilesHandler(c, W, {}, {}, {}, false)));
    ROW("POST /api/v1/workspaces/w-design/files/f-overview/copy, moving", R"({"targetFolderId":"f-empty","move":true})",
        "", 200, "f-overview|overview.txt|f-empty|11|1|/Empty/overview.txt",
        ZYRDocument::CopyFile(T, W, u"f-overview"_s, u"f-empty"_s, true,
                              new BCopyFilesHandler(c, W, {}, {}, {}, true)));
    ROW("DELETE /api/v1/workspaces/w-design/files/f-empty", "", "", 200, "success",
        ZYRDocument::DeleteFile(T, W, u"f-empty"_s, new BDeleteFilesHandler(c, W, {}, {})));
    ROW("POST /api/v1/workspaces/w-design/favorites", R"({"fileIds":["f-plan","f-readme","f-2019"]})", "", 200, "",
        ZYRDocument::addFavoriteFile(T, W, u"f-plan,f-readme,f-2019"_s, new BAddFavoriteFilesHandler(c, W, {})));
    ROW("DELETE /api/v1/workspaces/w-design/favorites?fileIds=f-plan%2Cf-2019", "", "", 200, "",
        ZYRDocument::removeFavoriteFile(T, W, u"f-plan,f-2019"_s, new BRemoveFavoriteFilesHandler(c, W, {})));
    ROW("GET /api/v1/workspaces/w-design/favorites", "", "", 200, "read me+.md",
        ZYRDocument::queryFavoriteFiles(T, W, new BQueryFavoriteFilesHandler(c, W)));
    ROW("POST /api/v1/workspaces/w-design/share-links",
        R"({"fileIds":["f-plan"],"encrypt":true,"expireTime":0,"preview":true,"download":true})", "", 200,
        "preview,download|4",
        ZYRDocument::CreateShareLink(T, W, { u"f-plan"_s }, true, 0, true, true, new BCreateShareLinkHandler(c, W)));
    ROW("PUT /api/v1/workspaces/w-design/share-links/*",
        R"({"expireTime":0,"encrypt":false,"preview":false,"download":true})", "", 200, "download|0",
        ZYRDocument::UpdateShareLink(T, W, s_linkId, 0, false, false, true, new BUpdateShareLinkHandler(c, W)));
    ROW("GET /api/v1/workspaces/w-design/share-links", "", "", 200, "download|0",
        ZYRDocument::QueryShareLinks(T, W, new BQueryShareLinksHandler(c, W)));
    ROW("DELETE /api/v1/workspaces/w-design/share-links?ids=*%2Csl-x", "", "", 200, "",
        ZYRDocument::RemoveShareLinks(T, W, s_linkId + u",sl-x"_s, new BRemoveShareLinksHandler(c, W, {})));
    ROW("POST /api/v1/workspaces/w-design/attributes", R"({"id":"f-plan","attributes":{"k":"v & w","e":""}})", "", 200,
        "success",
        ZYRDocument::AddAttributes(T, W, u"f-plan"_s, { { u"k"_s, u"v & w"_s }, { u"e"_s, {} } },
                                   new BAddAttributesHandler(c, {}, {})));
    ROW("POST /api/v1/workspaces/w-design/attributes, by path",
        R"({"path":"Design/2019/plan.dwg","attributes":{"k":"v"}})", "", 200, "success",
        ZYRDocument::AddAttributesByPath(T, W, u"Design/2019/plan.dwg"_s, { { u"k"_s, u"v"_s } },
                                         new BAddAttributesByPathHandler(c, W, {}, {})));
    ROW("GET /api/v1/workspaces/w-design/files/f-plan/content", "", "", 200, "16|16|16|504c414e",
        ZYRDocument::DownloadFile(T, W, u"f-plan"_s, 0, 0,
                                  new BDownloadFileHandler(c, buffer(&s_downloaded, QIODevice::WriteOnly))));
    // A resumed download reports the whole file's size as its total.
    ROW("GET /api/v1/workspaces/w-design/files/f-big/content, resumed", "", "bytes=1048000-", 206,
        "576|1048576|576|4b4c4d4e",
        ZYRDocument::DownloadFile(T, W, u"f-big"_s, 1048000, 0,
                                  new BDownloadFileHandler(c, buffer(&s_downloaded, QIODevice::WriteOnly))));
    ROW("GET /downloads/versions.xml no token", "", "", 200, "?xm",
        ZYRVersion::QueryLatestVersion(u"/downloads/versions.xml"_s, new BQueryUserAvatarHandler(c, {})));
    ROW("GET /downloads/latest no token", "", "", 200, "262144|262144|262144|00010203",
        ZYRVersion::DownloadFile(u"/downloads/latest"_s,
                                 new BDownloadFileHandler(c, buffer(&s_downloaded, QIODevice::WriteOnly))));
#undef ROW
}

void tst_ZYRService::everyRequest()
{
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, range);
    QFETCH(int, status);
    QFETCH(QString, expected);
    QFETCH(Issue, request);
    const QByteArray tag = QTest::currentDataTag();

    // A redirect is followed only by the version requests: an API request
    // could carry its token elsewhere, an upload lose its body.
    const QByteArray moved
            = "HTTP/1.1 302 Found\r\nContent-Length: 0\r\nLocation: " + m_server->url().toEncoded() + "/moved\r\n\r\n";
    m_server->answer = [moved](const Sent& sent) {
        return sent.request.contains("/moved ") ? QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n") : moved;
    };
    Owner scripted;
    request(scripted.caller());
    QTRY_COMPARE(scripted.calls, 1);
    const bool follows = tag.startsWith("GET /downloads/");
    QCOMPARE(scripted.status, follows ? 200 : 302);
    QCOMPARE(m_server->sent.size(), follows ? 2 : 1);
    Sent sent = m_server->sent.constFirst();
    if (!s_linkId.isEmpty())
        sent.request.replace(s_linkId.toUtf8(), "*");
    QCOMPARE(sent.request, tag.split(',').constFirst().split(' ').mid(0, 2).join(' ') + " HTTP/1.1");
    QCOMPARE(sent.headers.value("authorization"), tag.contains("no token") ? QByteArray() : "Bearer " + T.toUtf8());
    QCOMPARE(sent.headers.value("range"), range);
    // File downloads ask for stored bytes and bound their read buffer.
    const bool fileDownload = tag.contains("/content") || tag.contains("latest");
    QCOMPARE(sent.headers.value("accept-encoding") == "identity", fileDownload);
    QCOMPARE(scripted.readBuffer > 0, fileDownload);
    const bool json = body.startsWith('{');
    QCOMPARE(json ? QJsonDocument::fromJson(sent.body).toJson() : sent.body,
             json ? QJsonDocument::fromJson(body).toJson() : body);
    if (!body.isEmpty())
        QCOMPARE(sent.headers.value("content-type"),
                 QByteArray(json ? "application/json" : "application/octet-stream"));

    ZYRServiceUtil::setServerUrl(m_cloud->baseUrl());
    Owner cloud;
    request(cloud.caller());
    QTRY_COMPARE_WITH_TIMEOUT(cloud.calls, 1, 30000);
    QCOMPARE(cloud.status, status);
    QCOMPARE(cloud.result, expected);
}

void tst_ZYRService::failuresEndInErrorThenFinished_data()
{
    QTest::addColumn<QString>("server"); // empty: the scripted one, which never answers
    QTest::addColumn<Issue>("request");
    QTest::addColumn<int>("error");
    const Issue userInfo = [](C c) { ZYRAccount::GetUserInfo(T, new BQueryUserInfoHandler(c)); };
    QTest::newRow("no server address") << "none:" << userInfo << int(QNetworkReply::ProtocolUnknownError);
    QTest::newRow("connection refused") << "http://127.0.0.1:1" << userInfo
                                        << int(QNetworkReply::ConnectionRefusedError);
    // Qt 6.4 reports a transfer timeout as cancelled (later versions: TimeoutError).
    QTest::newRow("no answer in time") << "" << userInfo << int(QNetworkReply::OperationCanceledError);
}

// Requests that cannot be sent, connect or finish in time end with an error
// and no status, never inside the call.
void tst_ZYRService::failuresEndInErrorThenFinished()
{
    QFETCH(QString, server);
    QFETCH(Issue, request);
    QFETCH(int, error);
    if (!server.isEmpty())
        ZYRServiceUtil::setServerUrl(server == QLatin1String("none:") ? QUrl() : QUrl(server));
    ZYRServiceUtil::setRequestTimeout(300);
    Owner owner;
    request(owner.caller());
    QCOMPARE(owner.calls, 0);
    QTRY_VERIFY(owner.gone);
    QCOMPARE(owner.error, error);
    QCOMPARE(owner.status, 0);
}

void tst_ZYRService::cancelAll_data()
{
    QTest::addColumn<QString>("where");
    QTest::newRow("requests of this thread") << "here";
    QTest::newRow("requests of a worker thread") << "worker";
    QTest::newRow("worker thread ending") << "ending";
}

// Cancelling goes through each handler's slotCancel on its own thread, so no
// owner hears back; a worker thread that ends cancels what it left.
void tst_ZYRService::cancelAll()
{
    QFETCH(QString, where);
    Owner owners[3];
    const auto issueThree = [&owners] {
        for (Owner& owner : owners) {
            auto* handler = new BQueryUserInfoHandler(owner.caller());
            owner.watch(handler);
            ZYRAccount::GetUserInfo(T, handler);
        }
    };
    std::unique_ptr<QThread> worker(where == QLatin1String("here") ? nullptr : QThread::create([&issueThree] {
        issueThree();
        QEventLoop().exec();
    }));
    worker ? worker->start() : issueThree();
    QTRY_COMPARE(m_server->sent.size(), 3);
    where == QLatin1String("ending") ? worker->quit() : ZYRServiceUtil::CancelUnfinishedRequests();
    for (Owner& owner : owners) {
        QTRY_VERIFY(owner.gone);
        QCOMPARE(owner.calls, 0);
        QCOMPARE(owner.thread, worker ? worker.get() : QThread::currentThread());
    }
    if (worker)
        worker->quit();
    QVERIFY(!worker || worker->wait(10000));
}

QTEST_MAIN(tst_ZYRService)
#include "tst_zyrservice.moc"
