// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ScriptedReply.h>

#include <QNetworkRequest>
#include <QSignalSpy>
#include <QTest>

using Trelan::Oku::ZYRTest::ScriptedReply;

// The double stands in for the network in every reply-handling test, so
// its event order and abort behaviour are checked here once.
class TestScriptedReply : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void playsOnlyFromTheEventLoop();
    void deliversTheBodyInPieces();
    void reportsErrorBeforeFinished();
    void abortFinishesAtOnceWithoutStatus();
};

void TestScriptedReply::playsOnlyFromTheEventLoop()
{
    ScriptedReply reply(200, QByteArray("hello"));
    reply.setHeader("Content-Type", "text/plain");
    QSignalSpy finished(&reply, &QNetworkReply::finished);
    QSignalSpy readyRead(&reply, &QNetworkReply::readyRead);

    reply.start();
    QCOMPARE(finished.count(), 0);
    QCOMPARE(readyRead.count(), 0);

    QVERIFY(finished.wait(5000));
    QVERIFY(reply.isFinished());
    QCOMPARE(reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 200);
    QCOMPARE(reply.rawHeader("Content-Type"), QByteArray("text/plain"));
    QCOMPARE(reply.readAll(), QByteArray("hello"));
    QCOMPARE(reply.readAll(), QByteArray());
}

void TestScriptedReply::deliversTheBodyInPieces()
{
    ScriptedReply reply(200, QByteArray("abcdefgh"));
    reply.setChunkSize(3);
    QByteArray received;
    QList<qint64> progress;
    connect(&reply, &QNetworkReply::readyRead, this, [&] { received += reply.readAll(); });
    connect(&reply, &QNetworkReply::downloadProgress, this, [&](qint64 done, qint64 total) {
        QCOMPARE(total, qint64(8));
        progress.append(done);
    });
    QSignalSpy finished(&reply, &QNetworkReply::finished);

    reply.start();
    QVERIFY(finished.wait(5000));
    QCOMPARE(received, QByteArray("abcdefgh"));
    QCOMPARE(progress, (QList<qint64>{ 3, 6, 8 }));
}

void TestScriptedReply::reportsErrorBeforeFinished()
{
    ScriptedReply reply(404, QByteArray());
    reply.setNetworkError(QNetworkReply::ContentNotFoundError, QStringLiteral("not here"));
    QStringList order;
    connect(&reply, &QNetworkReply::errorOccurred, this, [&] { order << QStringLiteral("error"); });
    connect(&reply, &QNetworkReply::finished, this, [&] { order << QStringLiteral("finished"); });

    reply.start();
    QTRY_COMPARE(order, (QStringList{ QStringLiteral("error"), QStringLiteral("finished") }));
    QCOMPARE(reply.error(), QNetworkReply::ContentNotFoundError);
    QCOMPARE(reply.errorString(), QStringLiteral("not here"));
}

void TestScriptedReply::abortFinishesAtOnceWithoutStatus()
{
    ScriptedReply reply(200, QByteArray("body"));
    QSignalSpy finished(&reply, &QNetworkReply::finished);
    QSignalSpy error(&reply, &QNetworkReply::errorOccurred);
    reply.start();

    reply.abort();
    QCOMPARE(finished.count(), 1);
    QCOMPARE(error.count(), 1);
    QCOMPARE(reply.error(), QNetworkReply::OperationCanceledError);
    QVERIFY(!reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid());

    // The script queued by start() must not play after the abort; it would
    // need one posted event per step.
    for (int turn = 0; turn < 10; ++turn)
        QCoreApplication::sendPostedEvents();
    QCOMPARE(finished.count(), 1);
    QVERIFY(reply.wasAborted());
}

QTEST_GUILESS_MAIN(TestScriptedReply)
#include "tst_scriptedreply.moc"
