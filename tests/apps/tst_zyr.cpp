// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// The zyr binary as a user runs it, against zyr-cloud: exit codes, output,
// the server's state and the bytes on disk.

#include <CloudServerFixture.h>

#include <QDirIterator>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

struct Run {
    int code = -1;
    QString out;
    QString err;
    qint64 ms = 0;
};

// Files of pseudo-random bytes of uneven sizes, and a sub-folder.
void makeTree(const QString& dir, int files)
{
    QRandomGenerator random{ quint32(files) };
    for (int i = 0; i < files; ++i) {
        const QString name = i < 2 ? u"sub/s%1.bin"_s.arg(i) : u"f%1.bin"_s.arg(i);
        QDir().mkpath(QFileInfo(dir + u'/' + name).path());
        QByteArray bytes(i * 37000 + 13, '\0');
        random.fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
        QFile file(dir + u'/' + name);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }
}

// Relative path -> content of every file below dir.
QMap<QString, QByteArray> contents(const QString& dir)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(dir, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        if (file.open(QIODevice::ReadOnly))
            files.insert(QDir(dir).relativeFilePath(file.fileName()), file.readAll());
    }
    return files;
}

} // namespace

class tst_Zyr : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void demoSession();
    void interruptedTransferResumes_data();
    void interruptedTransferResumes();
    void stuckQueueRebuildsItself();
    void progressDisplay_data();
    void progressDisplay();
    void badInput_data();
    void badInput();

private:
    QString newHome();
    QProcessEnvironment environment(const QString& home, const QString& server = QString()) const;
    Run execute(const QString& program, const QStringList& args, const QString& home, const QByteArray& input,
                const QString& server);
    Run zyr(const QStringList& args, const QString& home, const QByteArray& input = QByteArray(),
            const QString& server = QString());
    void signIn(const QString& home, const QString& account = QStringLiteral("alice"));
    int queued(const QString& home);

    std::unique_ptr<CloudServerFixture> m_cloud;
    QTemporaryDir m_root;
    int m_homes = 0;
};

void tst_Zyr::initTestCase()
{
    QVERIFY(m_root.isValid());
    m_cloud = std::make_unique<CloudServerFixture>();
    QVERIFY2(m_cloud->start(), qPrintable(m_cloud->errorString()));
}

void tst_Zyr::cleanup()
{
    QVERIFY(m_cloud->clearFaults());
}

QString tst_Zyr::newHome()
{
    const QString home = m_root.filePath(u"home%1"_s.arg(++m_homes));
    QDir().mkpath(home);
    return home;
}

QProcessEnvironment tst_Zyr::environment(const QString& home, const QString& server) const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(u"XDG_CONFIG_HOME"_s, home + u"/config"_s);
    env.insert(u"ZYR_DATA_DIR"_s, home + u"/data"_s);
    env.insert(u"ZYR_SERVER"_s, server.isEmpty() ? m_cloud->baseUrl().toString() : server);
    return env;
}

Run tst_Zyr::zyr(const QStringList& args, const QString& home, const QByteArray& input, const QString& server)
{
    return execute(QStringLiteral(ZYR_BINARY), args, home, input, server);
}

Run tst_Zyr::execute(const QString& program, const QStringList& args, const QString& home, const QByteArray& input,
                     const QString& server)
{
    QProcess process;
    process.setProcessEnvironment(environment(home, server));
    process.setWorkingDirectory(home);
    QElapsedTimer elapsed;
    elapsed.start();
    process.start(program, args);
    process.write(input);
    process.closeWriteChannel();
    Run run;
    if (process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit)
        run.code = process.exitCode();
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    run.ms = elapsed.elapsed();
    return run;
}

void tst_Zyr::signIn(const QString& home, const QString& account)
{
    const Run run = zyr({ u"login"_s, account }, home, account.toUtf8() + "-pass\n");
    QVERIFY2(run.code == 0, qPrintable(run.err));
}

// Unfinished records of the queue, as 'zyr queue --json' reads them.
int tst_Zyr::queued(const QString& home)
{
    const Run run = zyr({ u"--json"_s, u"queue"_s }, home);
    return run.code == 0 ? int(QJsonDocument::fromJson(run.out.toUtf8()).array().size()) : -1;
}

void tst_Zyr::demoSession()
{
    const QString home = newHome();
    signIn(home);
    QFileInfo session(home + u"/config/zyr/session"_s);
    QCOMPARE(session.permissions(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);

    Run run = zyr({ u"--json"_s, u"workspaces"_s }, home);
    QCOMPARE(run.code, 0);
    const QJsonArray workspaces = QJsonDocument::fromJson(run.out.toUtf8()).array();
    QCOMPARE(workspaces.size(), 2);
    QCOMPARE(workspaces[0][u"id"_s].toString(), u"w-design"_s);
    QVERIFY(workspaces[0][u"active"_s].toBool());

    run = zyr({ u"ls"_s, u"-l"_s }, home);
    QCOMPARE(run.code, 0);
    QVERIFY2(run.out.contains(QRegularExpression(u"^d\\s+evdcurg\\s.*Design/$"_s, QRegularExpression::MultilineOption)),
             qPrintable(run.out));

    makeTree(home + u"/gen"_s, 6);
    QCOMPARE(zyr({ u"mkdir"_s, u"/demo"_s }, home).code, 0);
    QCOMPARE(zyr({ u"put"_s, u"gen"_s, u"/demo"_s }, home).code, 0);
    const QString token = m_cloud->signIn();
    const QJsonArray listed
            = m_cloud->request("GET", "/api/v1/workspaces/w-design/children?path=%2Fdemo%2Fgen", {}, token)
                      .json()[u"items"_s]
                      .toArray();
    QCOMPARE(listed.size(), 5); // sub/ and four files

    QCOMPARE(zyr({ u"get"_s, u"/demo/gen"_s, u"back"_s }, home).code, 0);
    QCOMPARE(contents(home + u"/back/gen"_s), contents(home + u"/gen"_s));

    run = zyr({ u"--json"_s, u"share"_s, u"create"_s, u"/demo/gen/f2.bin"_s, u"--password"_s }, home);
    QCOMPARE(run.code, 0);
    const QJsonObject link = QJsonDocument::fromJson(run.out.toUtf8()).object();
    QCOMPARE(link[u"password"_s].toString().size(), 4);
    const QJsonArray links = m_cloud->request("GET", "/api/v1/workspaces/w-design/share-links", {}, token)
                                     .json()[u"items"_s]
                                     .toArray();
    QCOMPARE(links.size(), 1);
    QCOMPARE(links[0][u"url"_s].toString(), link[u"url"_s].toString());

    QCOMPARE(zyr({ u"logout"_s }, home).code, 0);
    QVERIFY(!QFile::exists(session.filePath()));
    QCOMPARE(zyr({ u"ls"_s }, home).code, 3);
}

void tst_Zyr::interruptedTransferResumes_data()
{
    QTest::addColumn<bool>("upload");
    QTest::newRow("put") << true;
    QTest::newRow("get") << false;
}

void tst_Zyr::interruptedTransferResumes()
{
    QFETCH(bool, upload);
    const QString home = newHome();
    signIn(home);
    makeTree(home + u"/tree"_s, 9);
    const QString remote = upload ? u"/resume-put"_s : u"/resume-get"_s;
    QCOMPARE(zyr({ u"mkdir"_s, remote }, home).code, 0);
    if (!upload)
        QCOMPARE(zyr({ u"put"_s, u"tree"_s, remote }, home).code, 0);
    // Every transfer is held until the faults are cleared, so Ctrl-C finds them
    // running; a held upload is answered 503 then, never committed late as a
    // second version behind the resumed one.
    m_cloud->addFault({ { u"method"_s, upload ? u"PUT"_s : u"GET"_s },
                        { u"pathPrefix"_s,
                          upload ? u"/api/v1/workspaces/w-design/upload"_s : u"/api/v1/workspaces/w-design/files/"_s },
                        { u"hang"_s, true } });
    QProcess process;
    process.setProcessEnvironment(environment(home));
    process.setWorkingDirectory(home);
    process.start(QStringLiteral(ZYR_BINARY),
                  upload ? QStringList{ u"put"_s, u"tree"_s, remote }
                         : QStringList{ u"get"_s, remote + u"/tree"_s, u"back"_s });
    QTRY_VERIFY_WITH_TIMEOUT(queued(home) > 0, 30000);
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(30000));
    QCOMPARE(process.exitCode(), 130);
    QVERIFY(process.readAllStandardError().contains("zyr queue resume"));
    QCOMPARE(queued(home), 9); // written back, nothing lost

    QVERIFY(m_cloud->clearFaults());
    const Run resumed = zyr({ u"queue"_s, u"resume"_s }, home);
    QVERIFY2(resumed.code == 0, qPrintable(resumed.err));
    QVERIFY(!resumed.out.contains(u"stopped moving"_s)); // all nine run without a rebuild
    QCOMPARE(queued(home), 0);
    if (upload)
        QCOMPARE(zyr({ u"get"_s, remote + u"/tree"_s, u"back"_s }, home).code, 0);
    QCOMPARE(contents(home + u"/back/tree"_s), contents(home + u"/tree"_s));
}

// Five failed uploads hold all five slots; the sixth file only moves once
// the queue is rebuilt from the store, which restarts the five.
void tst_Zyr::stuckQueueRebuildsItself()
{
    const QString home = newHome();
    signIn(home);
    makeTree(home + u"/tree"_s, 6);
    QCOMPARE(zyr({ u"mkdir"_s, u"/stuck"_s }, home).code, 0);
    m_cloud->addFault({ { u"method"_s, u"PUT"_s },
                        { u"pathPrefix"_s, u"/api/v1/workspaces/w-design/upload"_s },
                        { u"status"_s, 503 },
                        { u"times"_s, 5 } });
    const Run run = zyr({ u"--timeout"_s, u"1"_s, u"put"_s, u"tree"_s, u"/stuck"_s }, home);
    QVERIFY2(run.code == 0, qPrintable(run.err));
    QVERIFY(run.out.contains(u"all 5 slots are held by transfers that failed"_s));
    QCOMPARE(zyr({ u"get"_s, u"/stuck/tree"_s, u"back"_s }, home).code, 0);
    QCOMPARE(contents(home + u"/back/tree"_s), contents(home + u"/tree"_s));
}

void tst_Zyr::progressDisplay_data()
{
    QTest::addColumn<bool>("terminal");
    QTest::newRow("terminal") << true;
    QTest::newRow("pipe") << false;
}

void tst_Zyr::progressDisplay()
{
    QFETCH(bool, terminal);
    const QString home = newHome();
    signIn(home);
    makeTree(home + u"/tree"_s, 4);
    const QString remote = terminal ? u"/progress-tty"_s : u"/progress-pipe"_s;
    QCOMPARE(zyr({ u"mkdir"_s, remote }, home).code, 0);
    QCOMPARE(zyr({ u"put"_s, u"tree"_s, remote }, home).code, 0);

    const QStringList get{ u"get"_s, remote + u"/tree"_s, u"back"_s };
    Run run;
    if (terminal) // script(1) gives zyr a pseudo-terminal; the paths hold no quotes
        run = execute(u"script"_s,
                      { u"-qec"_s, u"'%1' '%2'"_s.arg(QStringLiteral(ZYR_BINARY), get.join(u"' '"_s)), u"/dev/null"_s },
                      home, QByteArray(), QString());
    else
        run = zyr(get, home);
    QCOMPARE(run.code, 0);
    QCOMPARE(contents(home + u"/back/tree"_s), contents(home + u"/tree"_s));
    const QStringList lines = run.out.split(u'\n', Qt::SkipEmptyParts);
    QCOMPARE(run.out.contains(u"\x1b["_s), terminal);
    QCOMPARE(run.out.contains(u"Transferred: 0 / 4 files"_s), terminal);
    if (!terminal) {
        QCOMPARE(lines.size(), 5);
        QCOMPARE(lines.filter(QRegularExpression(u"^downloaded back/tree/\\S+ \\(.+\\)$"_s)).size(), 4);
        QVERIFY(lines.last().startsWith(u"Done: 4 file(s)"_s));
    }
}

void tst_Zyr::badInput_data()
{
    QTest::addColumn<QString>("setup");
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("queuedAfter");

    QTest::newRow("wrong password") << u"none"_s << QStringList{ "login", "alice" } << 3
                                    << u"wrong account or password"_s << -1;
    QTest::newRow("missing token") << u"none"_s << QStringList{ "ls" } << 3 << u"not signed in"_s << -1;
    QTest::newRow("expired token") << u"bad token"_s << QStringList{ "ls" } << 3 << u"no longer accepts the session"_s
                                   << -1;
    QTest::newRow("unknown path") << u"signed in"_s << QStringList{ "ls", "/Design/no/such" } << 1
                                  << u"no such file or folder: /Design/no"_s << 0;
    QTest::newRow("refused name") << u"signed in"_s << QStringList{ "mkdir", "/bad..name" } << 1
                                  << u"the server refused to create \"bad..name\""_s << 0;
    QTest::newRow("privilege not held") << u"bob"_s << QStringList{ "mkdir", "/Design/x" } << 3
                                        << u"you do not hold the \"create\" privilege on /Design"_s << 0;
    QTest::newRow("server down") << u"down"_s << QStringList{ "ls" } << 4 << u"cannot connect to the server"_s << -1;
    QTest::newRow("server hangs") << u"hang"_s << QStringList{ "--timeout", "1", "ls" } << 4 << u"within 1 s"_s << -1;
    // The queue rebuilds itself once, then gives up; the records stay.
    QTest::newRow("upload hangs") << u"hang upload"_s << QStringList{ "--timeout", "1", "put", "tree", "/" } << 1
                                  << u"2 of 2 transfers did not finish"_s << 2;
}

void tst_Zyr::badInput()
{
    QFETCH(QString, setup);
    QFETCH(QStringList, args);
    QFETCH(int, code);
    QFETCH(QString, message);
    QFETCH(int, queuedAfter);
    const QString home = newHome();
    QString server;
    if (setup == u"down"_s) {
        QTcpServer closed; // a port nobody listens on any more
        QVERIFY(closed.listen(QHostAddress::LocalHost));
        server = u"http://127.0.0.1:%1"_s.arg(closed.serverPort());
    }
    if (setup == u"bad token"_s || setup == u"down"_s) { // a session the server does not know
        QDir().mkpath(home + u"/config/zyr"_s);
        QFile file(home + u"/config/zyr/session"_s);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(
                QJsonDocument(QJsonObject{ { u"server"_s, server.isEmpty() ? m_cloud->baseUrl().toString() : server },
                                           { u"accessToken"_s, u"no-such-token"_s } })
                        .toJson());
    }
    if (setup.startsWith(u"signed in"_s) || setup.startsWith(u"hang"_s) || setup == u"bob"_s)
        signIn(home, setup == u"bob"_s ? u"bob"_s : u"alice"_s);
    makeTree(home + u"/tree"_s, 2);
    if (setup == u"hang"_s)
        m_cloud->addFault({ { u"pathPrefix"_s, u"/api/v1/"_s }, { u"hang"_s, true } });
    if (setup == u"hang upload"_s)
        m_cloud->addFault({ { u"pathPrefix"_s, u"/api/v1/workspaces/w-design/upload"_s }, { u"hang"_s, true } });

    const Run run = zyr(args, home, "nope\n", server);
    QCOMPARE(run.code, code);
    QVERIFY2(run.err.startsWith(u"zyr: "_s) && run.err.count(u'\n') == 1, qPrintable(run.err));
    QVERIFY2(run.err.contains(message), qPrintable(run.err));
    QVERIFY2(run.ms < 30000, "a failure must not hang");
    QVERIFY(m_cloud->clearFaults());
    if (queuedAfter >= 0)
        QCOMPARE(queued(home), queuedAfter);
}

QTEST_GUILESS_MAIN(tst_Zyr)
#include "tst_zyr.moc"
