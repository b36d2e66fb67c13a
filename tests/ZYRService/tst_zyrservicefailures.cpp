// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// Requests that cannot be sent, cannot connect, time out or are answered
// with an error all end the same way for their handler: slotError, then
// slotFinished, then the handler is gone — and never inside the call.

#include "RecordingHandler.h"
#include "ScriptedHttpServer.h"

#include <ZYRService/ZYRAccount.h>
#include <ZYRService/ZYRDocument.h>
#include <ZYRService/ZYRServiceUtil.h>
#include <ZYRService/ZYRVersion.h>
#include <ZYRService/ZYRWorkspace.h>

#include <QBuffer>
#include <QTemporaryFile>
#include <QTest>

#include <functional>

using namespace Trelan::Oku::ZYRService;
using Trelan::Oku::ZYRInterface::INetworkReplyHandler;

using Issue = std::function<void(INetworkReplyHandler*)>;
Q_DECLARE_METATYPE(Issue)

namespace {

const QString kToken = QStringLiteral("tok-1");

const QStringList kFailedEvents = { QStringLiteral("error"), QStringLiteral("finished"), QStringLiteral("destroyed") };

// Upload sources in every unusable state; each lives as long as the test
// object, so the request never outlives its device.
struct Sources {
    QTemporaryFile shortFile;
    QFile closed{ QStringLiteral("/nonexistent/never-opened") };
    QBuffer writeOnly;
};

} // namespace

class tst_ZYRServiceFailures : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void requestThatCannotBeSent_data();
    void requestThatCannotBeSent();
    void refusedConnection();
    void serverThatNeverAnswersTimesOut();
    void httpErrorStatus_data();
    void httpErrorStatus();
    void unsendableRequestWithoutHandler();

private:
    ScriptedHttpServer* m_server = nullptr;
    Sources m_sources;
};

void tst_ZYRServiceFailures::initTestCase()
{
    QVERIFY(m_sources.shortFile.open());
    QCOMPARE(m_sources.shortFile.write(QByteArray(10, 'x')), 10);
    QVERIFY(m_sources.shortFile.flush());
    QVERIFY(m_sources.writeOnly.open(QIODevice::WriteOnly));
}

void tst_ZYRServiceFailures::init()
{
    delete m_server;
    m_server = new ScriptedHttpServer(this);
    QVERIFY(m_server->listen());
    ZYRServiceUtil::setServerUrl(m_server->url());
    ZYRServiceUtil::setRequestTimeout(0);
    qunsetenv("ZYR_SERVER_URL");
}

void tst_ZYRServiceFailures::requestThatCannotBeSent_data()
{
    QTest::addColumn<QUrl>("server"); // empty = keep the scripted server
    QTest::addColumn<Issue>("request");
    QTest::addColumn<QNetworkReply::NetworkError>("error");

    const QUrl none(QStringLiteral("none:"));
    const Issue userInfo = [](auto h) { ZYRAccount::GetUserInfo(kToken, h); };
    const auto upload = [this](QIODevice* source, qint64 size) {
        return Issue([=](auto h) {
            ZYRDocument::UploadFile(kToken, QStringLiteral("w"), QStringLiteral("/"), QStringLiteral("/f"), size, 0,
                                    source, h);
        });
    };

    QTest::newRow("no server configured") << none << userInfo << QNetworkReply::ProtocolUnknownError;
    QTest::newRow("not a web address") << QUrl(QStringLiteral("ftp://127.0.0.1:21")) << userInfo
                                       << QNetworkReply::ProtocolUnknownError;
    QTest::newRow("no host") << QUrl(QStringLiteral("http:///api")) << userInfo << QNetworkReply::ProtocolUnknownError;
    QTest::newRow("version list, relative address")
            << QUrl() << Issue([](auto h) { ZYRVersion::QueryLatestVersion(QStringLiteral("versions.xml"), h); })
            << QNetworkReply::ProtocolUnknownError;
    QTest::newRow("installer, no server for a path")
            << none << Issue([](auto h) { ZYRVersion::DownloadFile(QStringLiteral("/downloads/x.exe"), h); })
            << QNetworkReply::ProtocolUnknownError;
    QTest::newRow("upload without source")
            << QUrl() << upload(nullptr, 10) << QNetworkReply::ProtocolInvalidOperationError;
    QTest::newRow("upload source not open")
            << QUrl() << upload(&m_sources.closed, 10) << QNetworkReply::ProtocolInvalidOperationError;
    QTest::newRow("upload source write-only")
            << QUrl() << upload(&m_sources.writeOnly, 0) << QNetworkReply::ProtocolInvalidOperationError;
    QTest::newRow("upload source shorter than declared")
            << QUrl() << upload(&m_sources.shortFile, 11) << QNetworkReply::ProtocolInvalidOperationError;
    QTest::newRow("upload offset beyond size") << QUrl() << Issue([this](auto h) {
        ZYRDocument::UploadFile(kToken, QStringLiteral("w"), QStringLiteral("/"), QStringLiteral("/f"), 5, 8,
                                &m_sources.shortFile, h);
    }) << QNetworkReply::ProtocolInvalidOperationError;
}

void tst_ZYRServiceFailures::requestThatCannotBeSent()
{
    QFETCH(QUrl, server);
    QFETCH(Issue, request);
    QFETCH(QNetworkReply::NetworkError, error);

    if (server == QUrl(QStringLiteral("none:")))
        ZYRServiceUtil::setServerUrl(QUrl());
    else if (!server.isEmpty())
        ZYRServiceUtil::setServerUrl(server);

    auto record = QSharedPointer<HandlerRecord>::create();
    request(new RecordingHandler(record));
    // Nothing may be reported from inside the call: owners are often still
    // setting up around it.
    QVERIFY(record->events().isEmpty());

    QTRY_VERIFY(record->destroyed());
    QCOMPARE(record->events(), kFailedEvents);
    QCOMPARE(record->lastError(), error);
    QCOMPARE(record->statusCode(), 0);
    QVERIFY(m_server->requests().isEmpty());
}

void tst_ZYRServiceFailures::refusedConnection()
{
    quint16 closedPort = 0;
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        closedPort = probe.serverPort();
    }
    ZYRServiceUtil::setServerUrl(QUrl(QStringLiteral("http://127.0.0.1:%1").arg(closedPort)));

    auto record = QSharedPointer<HandlerRecord>::create();
    ZYRAccount::Login(QStringLiteral("alice"), QStringLiteral("secret"), new RecordingHandler(record));
    QVERIFY(record->events().isEmpty());
    QTRY_VERIFY(record->destroyed());
    QCOMPARE(record->events(), kFailedEvents);
    QCOMPARE(record->lastError(), QNetworkReply::ConnectionRefusedError);
    QCOMPARE(record->statusCode(), 0);
}

void tst_ZYRServiceFailures::serverThatNeverAnswersTimesOut()
{
    m_server->setHandler([](const ScriptedRequest&) { return ScriptedResponse::held(); });
    ZYRServiceUtil::setRequestTimeout(300);

    auto record = QSharedPointer<HandlerRecord>::create();
    ZYRDocument::GetChildFiles(kToken, QStringLiteral("w"), QString(), new RecordingHandler(record), false);
    QTRY_COMPARE(m_server->heldCount(), 1);
    QTRY_VERIFY(record->destroyed());
    QCOMPARE(record->events(), kFailedEvents);
    // Qt 6.4 aborts a timed-out transfer with OperationCanceledError; later
    // Qt versions say TimeoutError. Either way it is an error without status.
    QVERIFY2(record->lastError() == QNetworkReply::OperationCanceledError
                     || record->lastError() == QNetworkReply::TimeoutError,
             QByteArray::number(record->lastError()).constData());
    QCOMPARE(record->statusCode(), 0);
    QVERIFY(!record->cancelled());
    QTRY_COMPARE(m_server->closedConnections(), 1);
}

void tst_ZYRServiceFailures::httpErrorStatus_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QNetworkReply::NetworkError>("error");

    // No WWW-Authenticate comes with a 401, so Qt reports it without asking
    // for credentials.
    QTest::newRow("401") << 401 << QNetworkReply::AuthenticationRequiredError;
    QTest::newRow("403") << 403 << QNetworkReply::ContentAccessDenied;
    QTest::newRow("404") << 404 << QNetworkReply::ContentNotFoundError;
    QTest::newRow("409") << 409 << QNetworkReply::ContentConflictError;
    QTest::newRow("416") << 416 << QNetworkReply::UnknownContentError;
    QTest::newRow("500") << 500 << QNetworkReply::InternalServerError;
}

void tst_ZYRServiceFailures::httpErrorStatus()
{
    QFETCH(int, status);
    QFETCH(QNetworkReply::NetworkError, error);

    const QByteArray body = R"({"code":)" + QByteArray::number(status) + R"(,"message":"no"})";
    m_server->setHandler([&](const ScriptedRequest&) { return ScriptedResponse::json(status, body); });
    auto record = QSharedPointer<HandlerRecord>::create();
    ZYRAccount::GetUserInfo(kToken, new RecordingHandler(record));
    QTRY_VERIFY(record->destroyed());
    QCOMPARE(record->statusCode(), status);
    QCOMPARE(record->lastError(), error);
    QCOMPARE(record->body(), body);
    const QStringList events = record->events();
    QVERIFY(events.indexOf(QStringLiteral("error")) < events.indexOf(QStringLiteral("finished")));
    QCOMPARE(record->finishedCount(), 1);
}

void tst_ZYRServiceFailures::unsendableRequestWithoutHandler()
{
    // Nobody listens; the failed reply must still finish without a crash,
    // and a following request works normally.
    ZYRServiceUtil::setServerUrl(QUrl());
    ZYRWorkspace::PostInstallInfo(QStringLiteral("{}"), nullptr);
    ZYRServiceUtil::setServerUrl(m_server->url());
    auto record = QSharedPointer<HandlerRecord>::create();
    ZYRAccount::GetLoginToken(kToken, new RecordingHandler(record));
    QTRY_VERIFY(record->destroyed());
    QCOMPARE(record->statusCode(), 200);
    QCOMPARE(m_server->requests().size(), 1);
}

QTEST_MAIN(tst_ZYRServiceFailures)
#include "tst_zyrservicefailures.moc"
