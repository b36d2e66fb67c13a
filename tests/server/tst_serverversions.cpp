// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// The version list, the redirect to the latest installer and the
// installer downloads.

#include "HttpClient.h"
#include "ServerProcess.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

namespace {
QByteArray generated(qint64 count)
{
    QByteArray bytes(count, Qt::Uninitialized);
    for (qint64 i = 0; i < count; ++i) {
        bytes[i] = char(i % 251);
    }
    return bytes;
}

struct Release {
    QString element;
    QString version;
    QString path;
    QString forceUpdate;
};
} // namespace

class TestServerVersions : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void versionListXml();
    void versionListUsesHostHeader();
    void latestRedirects();
    void installerDownload();
    void noVersionList();

private:
    QTemporaryDir m_dir;
    ServerProcess m_server;
    std::unique_ptr<HttpClient> m_client;
};

void TestServerVersions::initTestCase()
{
    QVERIFY(m_server.start(m_dir.filePath("data"), ServerProcess::sampleSeed()));
    m_client = std::make_unique<HttpClient>(m_server.baseUrl());
}

void TestServerVersions::versionListXml()
{
    const HttpReply reply = m_client->get("/downloads/versions.xml");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.header("Content-Type"), QByteArray("application/xml; charset=utf-8"));
    QXmlStreamReader xml(reply.body);
    QVERIFY(xml.readNextStartElement());
    QCOMPARE(xml.name(), QLatin1String("versionList"));
    QList<Release> releases;
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() != QLatin1String("histories")) {
            const auto attributes = xml.attributes();
            releases.append({ xml.name().toString(), attributes.value("version").toString(),
                              attributes.value("path").toString(), attributes.value("forceUpdate").toString() });
        }
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
    QCOMPARE(releases.size(), 3);
    QCOMPARE(releases.at(0).element, QString("latest"));
    QCOMPARE(releases.at(0).version, QString("1.3.0"));
    QCOMPARE(releases.at(0).path,
             QString("http://127.0.0.1:%1/downloads/ZYRDesktopSetup-1.3.0.exe").arg(m_server.port()));
    QCOMPARE(releases.at(0).forceUpdate, QString("false"));
    QCOMPARE(releases.at(1).element, QString("historyRelease"));
    QCOMPARE(releases.at(1).version, QString("1.2.5"));
    QCOMPARE(releases.at(1).forceUpdate, QString("false"));
    QCOMPARE(releases.at(2).version, QString("1.2.0"));
    QCOMPARE(releases.at(2).forceUpdate, QString("true"));
}

void TestServerVersions::versionListUsesHostHeader()
{
    const HttpReply reply = m_client->get("/downloads/versions.xml", { { "Host", "updates.example:8443" } });
    QVERIFY(reply.body.contains("path=\"http://updates.example:8443/downloads/ZYRDesktopSetup-1.3.0.exe\""));
}

void TestServerVersions::latestRedirects()
{
    QNetworkRequest plain = m_client->request("/downloads/latest");
    plain.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    const HttpReply redirect = HttpClient::collect(m_client->manager().get(plain));
    QCOMPARE(redirect.status, 302);
    QCOMPARE(redirect.header("Location"),
             QByteArray("http://127.0.0.1:" + QByteArray::number(m_server.port())
                        + "/downloads/ZYRDesktopSetup-1.3.0.exe"));
    QCOMPARE(redirect.header("Content-Length"), QByteArray("0"));

    QNetworkRequest follow = m_client->request("/downloads/latest");
    follow.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    const HttpReply installer = HttpClient::collect(m_client->manager().get(follow));
    QCOMPARE(installer.status, 200);
    QCOMPARE(installer.body, generated(262144));
}

void TestServerVersions::installerDownload()
{
    const HttpReply reply = m_client->get("/downloads/ZYRDesktopSetup-1.3.0.exe");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.header("Content-Type"), QByteArray("application/octet-stream"));
    QCOMPARE(reply.header("Content-Length"), QByteArray("262144"));
    QCOMPARE(reply.body, generated(262144));
    // Ranges are not served here: the whole installer comes back.
    const HttpReply ranged = m_client->get("/downloads/ZYRDesktopSetup-1.3.0.exe", { { "Range", "bytes=10-19" } });
    QCOMPARE(ranged.status, 200);
    QCOMPARE(ranged.body.size(), 262144);
    QCOMPARE(m_client->get("/downloads/ZYRDesktopSetup-9.9.9.exe").status, 404);
}

void TestServerVersions::noVersionList()
{
    QTemporaryDir dir;
    QFile seed(dir.filePath("seed.json"));
    QVERIFY(seed.open(QIODevice::WriteOnly));
    seed.write(R"({"users":[],"workspaces":[],"installers":[{"name":"tool.bin","content":"tool"}]})");
    seed.close();
    ServerProcess bare;
    QVERIFY(bare.start(dir.filePath("data"), seed.fileName(), {}));
    HttpClient client(bare.baseUrl());
    QCOMPARE(client.get("/downloads/versions.xml").status, 404);
    QNetworkRequest latest = client.request("/downloads/latest");
    latest.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QCOMPARE(HttpClient::collect(client.manager().get(latest)).status, 404);
    QCOMPARE(client.get("/downloads/tool.bin").body, QByteArray("tool"));
}

QTEST_GUILESS_MAIN(TestServerVersions)
#include "tst_serverversions.moc"
