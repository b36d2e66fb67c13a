// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRCommon/FileUtils.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using Trelan::Oku::ZYRCommon::FileUtils;
using namespace Qt::StringLiterals;

namespace {

void writeFile(const QString& path, const QByteArray& content)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
    QCOMPARE(file.write(content), content.size());
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class tst_FileUtils : public QObject {
    Q_OBJECT

private slots:
    void checkLocalName_data();
    void checkLocalName();
    void formatPath_data();
    void formatPath();
    void concat_data();
    void concat();
    void concatMakesMatchingKeys();
    void getFileName_data();
    void getFileName();
    void getFileExtension_data();
    void getFileExtension();
    void getParentFolderPath_data();
    void getParentFolderPath();
    void removeContinuousSpaces_data();
    void removeContinuousSpaces();

    void generateUniqueName_data();
    void generateUniqueName();
    void copyFile_data();
    void copyFile();
    void copyFileOntoItself();
    void copyFileFailures();
    void deleteFileOrDir();
    void deleteFileOrDirKeepsLinkTarget();
    void removeFilesInDir();
    void getFileSizeInDir();
};

void tst_FileUtils::checkLocalName_data()
{
    using P = FileUtils::NameProblem;
    QTest::addColumn<QString>("name");
    QTest::addColumn<P>("problem");
    QTest::newRow("plain") << u"plan 2019 (final).dwg"_s << P::None;
    QTest::newRow("dots inside") << u"a..b"_s << P::None;
    QTest::newRow("dot file") << u".env"_s << P::None;
    QTest::newRow("unicode") << u"应用数据"_s << P::None;
    QTest::newRow("empty") << QString() << P::Empty;
    QTest::newRow("dot") << u"."_s << P::DotName;
    QTest::newRow("dot dot") << u".."_s << P::DotName;
    QTest::newRow("parent escape") << u"../x"_s << P::Separator;
    QTest::newRow("nested escape") << u"a/../../x"_s << P::Separator;
    QTest::newRow("absolute") << u"/etc/passwd"_s << P::Separator;
    QTest::newRow("backslash") << u"..\\x"_s << P::Separator;
    QTest::newRow("nul") << u"a"_s + QChar(0) + u"b"_s << P::ControlCharacter;
    QTest::newRow("newline") << u"a\nb"_s << P::ControlCharacter;
    QTest::newRow("delete") << u"a"_s + QChar(0x7f) << P::ControlCharacter;
    QTest::newRow("255 bytes") << QString(255, u'x') << P::None;
    QTest::newRow("256 bytes") << QString(256, u'x') << P::TooLong;
    QTest::newRow("86 three-byte characters") << QString(86, QChar(0x6587)) << P::TooLong;
}

void tst_FileUtils::checkLocalName()
{
    QFETCH(QString, name);
    QFETCH(FileUtils::NameProblem, problem);
    QCOMPARE(FileUtils::checkLocalName(name), problem);
    QCOMPARE(FileUtils::isSafeLocalName(name), problem == FileUtils::NameProblem::None);
}

void tst_FileUtils::formatPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");

    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("plain") << "/a/b"
                           << "/a/b";
    QTest::newRow("relative") << "a/b"
                              << "a/b";
    QTest::newRow("backslashes") << "C:\\Users\\me\\doc.txt"
                                 << "C:/Users/me/doc.txt";
    QTest::newRow("mixed separators") << "a\\b/c\\\\d"
                                      << "a/b/c/d";
    QTest::newRow("trailing slash") << "/a/b/"
                                    << "/a/b";
    QTest::newRow("trailing backslashes") << "a\\b\\\\"
                                          << "a/b";
    QTest::newRow("doubled inside") << "/a//b///c"
                                    << "/a/b/c";
    QTest::newRow("root") << "/"
                          << "/";
    QTest::newRow("drive root") << "C:/"
                                << "C:/";
    QTest::newRow("drive root backslash") << "C:\\"
                                          << "C:/";
    QTest::newRow("drive root doubled") << "C://"
                                        << "C:/";
    QTest::newRow("drive without slash") << "C:"
                                         << "C:";
    QTest::newRow("unc") << "//server/share/dir/"
                         << "//server/share/dir";
    QTest::newRow("unc backslashes") << "\\\\server\\share"
                                     << "//server/share";
    QTest::newRow("unc tripled start") << "///server//share"
                                       << "//server/share";
    QTest::newRow("dots kept") << "/a/./b/../c"
                               << "/a/./b/../c";
    QTest::newRow("unicode") << "D:\\报告\\报告 2024.pdf"
                             << "D:/报告/报告 2024.pdf";
    QTest::newRow("spaces kept") << "/a b//c  d/"
                                 << "/a b/c  d";
}

void tst_FileUtils::formatPath()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QCOMPARE(FileUtils::formatPath(path), expected);
    // The normal form is a fixed point.
    QCOMPARE(FileUtils::formatPath(expected), expected);
}

void tst_FileUtils::concat_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::addColumn<QString>("expected");

    QTest::newRow("plain") << "a"
                           << "b"
                           << "a/b";
    QTest::newRow("slash on both sides") << "/a/"
                                         << "/b"
                                         << "/a/b";
    QTest::newRow("many slashes at the seam") << "/a//"
                                              << "//b/c"
                                              << "/a/b/c";
    QTest::newRow("backslashes") << "R\\x"
                                 << "\\sub\\f.dwg"
                                 << "R/x/sub/f.dwg";
    QTest::newRow("root first") << "/"
                                << "b"
                                << "/b";
    QTest::newRow("drive root first") << "C:\\"
                                      << "b"
                                      << "C:/b";
    QTest::newRow("empty first") << ""
                                 << "\\x\\"
                                 << "\\x\\";
    QTest::newRow("empty second") << "a\\"
                                  << ""
                                  << "a\\";
    QTest::newRow("both empty") << ""
                                << ""
                                << "";
    QTest::newRow("workspace key") << "ws-1"
                                   << "/R/proj/sub/x.dwg"
                                   << "ws-1/R/proj/sub/x.dwg";
    QTest::newRow("unicode") << "/文档"
                             << "报告 2024.pdf"
                             << "/文档/报告 2024.pdf";
}

void tst_FileUtils::concat()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    QFETCH(QString, expected);
    QCOMPARE(FileUtils::concat(first, second), expected);
}

// The attribute helper and the transfer layer build upload keys from
// differently shaped strings; equal places must give equal keys.
void tst_FileUtils::concatMakesMatchingKeys()
{
    const QString relative = QStringLiteral("D:/a/proj/sub/x.dwg").mid(QStringLiteral("D:/a/proj").size());
    const QString fromHelper
            = FileUtils::concat(QStringLiteral("/R"), FileUtils::concat(QStringLiteral("proj"), relative));
    QCOMPARE(fromHelper, QStringLiteral("/R/proj/sub/x.dwg"));
    QCOMPARE(FileUtils::concat(QStringLiteral("ws"), fromHelper),
             FileUtils::concat(QStringLiteral("ws"), QStringLiteral("/R/proj/sub/x.dwg")));
    QCOMPARE(FileUtils::formatPath(QStringLiteral("\\R\\\\doc.txt")),
             FileUtils::concat(QStringLiteral("/R/"), QStringLiteral("doc.txt")));
}

void tst_FileUtils::getFileName_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");

    QTest::newRow("file") << "a/b/c.txt"
                          << "c.txt";
    QTest::newRow("trailing slash") << "a/b/"
                                    << "b";
    QTest::newRow("backslashes") << "C:\\dir\\file.dwg"
                                 << "file.dwg";
    QTest::newRow("name only") << "file"
                               << "file";
    QTest::newRow("dot-file") << "/home/.bashrc"
                              << ".bashrc";
    QTest::newRow("unicode") << "D:/报告/报告 2024.pdf"
                             << "报告 2024.pdf";
    QTest::newRow("root") << "/"
                          << "";
    QTest::newRow("drive root") << "C:\\"
                                << "";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("unc share") << "//server/share"
                               << "share";
}

void tst_FileUtils::getFileName()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QCOMPARE(FileUtils::getFileName(path), expected);
}

void tst_FileUtils::getFileExtension_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("withDot");
    QTest::addColumn<QString>("expected");

    QTest::newRow("with dot") << "/a/plan.dwg" << true << ".dwg";
    QTest::newRow("without dot") << "/a/plan.dwg" << false << "dwg";
    QTest::newRow("upper case kept") << "PLAN.DWG" << true << ".DWG";
    QTest::newRow("last dot") << "archive.tar.gz" << true << ".gz";
    QTest::newRow("no extension") << "/a/README" << true << "";
    QTest::newRow("dot in folder only") << "/a.b/README" << true << "";
    QTest::newRow("dot-file") << ".dwg" << true << ".dwg";
    QTest::newRow("trailing dot") << "name." << true << ".";
    QTest::newRow("trailing dot no dot") << "name." << false << "";
    QTest::newRow("unicode") << "D:\\报告\\报告 2024.pdf" << true << ".pdf";
    QTest::newRow("empty") << "" << true << "";
}

void tst_FileUtils::getFileExtension()
{
    QFETCH(QString, path);
    QFETCH(bool, withDot);
    QFETCH(QString, expected);
    QCOMPARE(FileUtils::getFileExtension(path, withDot), expected);
}

void tst_FileUtils::getParentFolderPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");

    QTest::newRow("nested") << "/a/b/c"
                            << "/a/b";
    QTest::newRow("top level") << "/a"
                               << "/";
    QTest::newRow("relative single") << "a"
                                     << "";
    QTest::newRow("relative nested") << "a/b"
                                     << "a";
    QTest::newRow("trailing slash") << "/a/b/"
                                    << "/a";
    QTest::newRow("backslashes") << "C:\\a\\b.txt"
                                 << "C:/a";
    QTest::newRow("below drive") << "C:/a"
                                 << "C:/";
    QTest::newRow("drive root") << "C:/"
                                << "";
    QTest::newRow("root") << "/"
                          << "";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("unc share") << "//server/share"
                               << "//server";
    QTest::newRow("unc host") << "//server"
                              << "";
    QTest::newRow("doubled") << "/a//b//c"
                             << "/a/b";
}

void tst_FileUtils::getParentFolderPath()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QCOMPARE(FileUtils::getParentFolderPath(path), expected);
}

void tst_FileUtils::removeContinuousSpaces_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");

    QTest::newRow("plain") << "a b"
                           << "a b";
    QTest::newRow("run") << "a   b"
                         << "a b";
    QTest::newRow("tabs and newlines") << "a\t\t b\nc"
                                       << "a b c";
    QTest::newRow("trimmed") << "  report  "
                             << "report";
    QTest::newRow("unicode") << "报告   2024.pdf"
                             << "报告 2024.pdf";
    QTest::newRow("only spaces") << "   "
                                 << "";
    QTest::newRow("empty") << ""
                           << "";
}

void tst_FileUtils::removeContinuousSpaces()
{
    QFETCH(QString, name);
    QFETCH(QString, expected);
    QCOMPARE(FileUtils::removeContinuousSpacesInFileName(name), expected);
}

void tst_FileUtils::generateUniqueName_data()
{
    QTest::addColumn<QStringList>("existing");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");

    QTest::newRow("free") << QStringList() << "a.txt"
                          << "a.txt";
    QTest::newRow("taken") << QStringList{ "a.txt" } << "a.txt"
                           << "a (1).txt";
    QTest::newRow("smallest free n") << QStringList{ "a.txt", "a (1).txt", "a (3).txt" } << "a.txt"
                                     << "a (2).txt";
    QTest::newRow("no extension") << QStringList{ "README" } << "README"
                                  << "README (1)";
    QTest::newRow("dot-file") << QStringList{ ".env" } << ".env"
                              << ".env (1)";
    QTest::newRow("last dot") << QStringList{ "x.tar.gz" } << "x.tar.gz"
                              << "x.tar (1).gz";
    QTest::newRow("unicode") << QStringList{ "报告 2024.pdf" } << "报告 2024.pdf"
                             << "报告 2024 (1).pdf";
    QTest::newRow("folder in the way") << QStringList{ "docs/" } << "docs"
                                       << "docs (1)";
    QTest::newRow("other names ignored") << QStringList{ "b.txt" } << "a.txt"
                                         << "a.txt";
    QTest::newRow("empty name") << QStringList() << ""
                                << "";
}

void tst_FileUtils::generateUniqueName()
{
    QFETCH(QStringList, existing);
    QFETCH(QString, name);
    QFETCH(QString, expected);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    for (const QString& entry : std::as_const(existing)) {
        if (entry.endsWith(QLatin1Char('/')))
            QVERIFY(QDir(dir.path()).mkpath(entry));
        else
            writeFile(dir.filePath(entry), "x");
    }
    QCOMPARE(FileUtils::generateUniqueName(dir.path(), name), expected);
}

void tst_FileUtils::copyFile_data()
{
    QTest::addColumn<QString>("dstName");
    QTest::addColumn<bool>("targetExists");
    QTest::addColumn<bool>("overwrite");
    QTest::addColumn<QString>("expectedName");

    QTest::newRow("new target") << "copy.txt" << false << false << "copy.txt";
    QTest::newRow("source name") << "" << false << false << "报告 2024.pdf";
    QTest::newRow("exists, overwrite") << "copy.txt" << true << true << "copy.txt";
    QTest::newRow("exists, keep") << "copy.txt" << true << false << "copy (1).txt";
}

void tst_FileUtils::copyFile()
{
    QFETCH(QString, dstName);
    QFETCH(bool, targetExists);
    QFETCH(bool, overwrite);
    QFETCH(QString, expectedName);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString src = dir.filePath(QStringLiteral("src"));
    const QString dst = dir.filePath(QStringLiteral("dst/nested")); // created by the copy
    writeFile(src + QStringLiteral("/报告 2024.pdf"), "new content");
    if (targetExists)
        writeFile(dst + QStringLiteral("/copy.txt"), "old");

    const QString written = FileUtils::copyFile(src, QStringLiteral("报告 2024.pdf"), dst, dstName, overwrite);
    QCOMPARE(written, expectedName);
    QCOMPARE(readFile(dst + QLatin1Char('/') + written), QByteArray("new content"));
    if (targetExists && !overwrite)
        QCOMPARE(readFile(dst + QStringLiteral("/copy.txt")), QByteArray("old"));
    // Nothing but the result (and a kept old target) is left behind.
    QCOMPARE(QDir(dst).entryList(QDir::Files).size(), targetExists && !overwrite ? 2 : 1);
    QCOMPARE(readFile(src + QStringLiteral("/报告 2024.pdf")), QByteArray("new content"));
}

void tst_FileUtils::copyFileOntoItself()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    writeFile(dir.filePath(QStringLiteral("a.txt")), "keep me");

    QCOMPARE(FileUtils::copyFile(dir.path(), QStringLiteral("a.txt"), dir.path(), QStringLiteral("a.txt"), true),
             QStringLiteral("a.txt"));
    QCOMPARE(readFile(dir.filePath(QStringLiteral("a.txt"))), QByteArray("keep me"));

    QCOMPARE(FileUtils::copyFile(dir.path(), QStringLiteral("a.txt"), dir.path(), QString(), false),
             QStringLiteral("a (1).txt"));
    QCOMPARE(readFile(dir.filePath(QStringLiteral("a (1).txt"))), QByteArray("keep me"));
}

void tst_FileUtils::copyFileFailures()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    writeFile(dir.filePath(QStringLiteral("a.txt")), "a");
    QVERIFY(QDir(dir.path()).mkpath(QStringLiteral("out/a.txt")));

    QCOMPARE(FileUtils::copyFile(dir.path(), QStringLiteral("missing"), dir.path(), QStringLiteral("b"), true),
             QString());
    QCOMPARE(FileUtils::copyFile(dir.path(), QString(), dir.path(), QStringLiteral("b"), true), QString());
    // A directory is not a file to copy.
    QCOMPARE(FileUtils::copyFile(dir.path(), QStringLiteral("out"), dir.path(), QStringLiteral("b"), true), QString());
    // A directory in the target's place is never replaced by a file.
    const QString out = dir.filePath(QStringLiteral("out"));
    QCOMPARE(FileUtils::copyFile(dir.path(), QStringLiteral("a.txt"), out, QString(), true),
             QStringLiteral("a (1).txt"));
    QVERIFY(QFileInfo(out + QStringLiteral("/a.txt")).isDir());
}

void tst_FileUtils::deleteFileOrDir()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString tree = dir.filePath(QStringLiteral("tree"));
    writeFile(tree + QStringLiteral("/a.txt"), "a");
    writeFile(tree + QStringLiteral("/sub/.hidden"), "h");
    writeFile(tree + QStringLiteral("/sub/deeper/报告 2024.pdf"), "r");
    QVERIFY(QDir(tree).mkpath(QStringLiteral("empty/dir")));
    const QString single = dir.filePath(QStringLiteral("single.txt"));
    writeFile(single, "s");

    QVERIFY(FileUtils::deleteFileOrDir(single));
    QVERIFY(!QFileInfo::exists(single));
    QVERIFY(FileUtils::deleteFileOrDir(tree));
    QVERIFY(!QFileInfo::exists(tree));
    QVERIFY(FileUtils::deleteFileOrDir(tree)); // nothing there any more
    QVERIFY(!FileUtils::deleteFileOrDir(QString()));
    QVERIFY(QFileInfo(dir.path()).isDir());
}

void tst_FileUtils::deleteFileOrDirKeepsLinkTarget()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString target = dir.filePath(QStringLiteral("target"));
    writeFile(target + QStringLiteral("/precious.txt"), "p");
    const QString tree = dir.filePath(QStringLiteral("tree"));
    QVERIFY(QDir().mkpath(tree));
    QVERIFY(QFile::link(target, tree + QStringLiteral("/link")));

    QVERIFY(FileUtils::deleteFileOrDir(tree));
    QVERIFY(!QFileInfo::exists(tree));
    QCOMPARE(readFile(target + QStringLiteral("/precious.txt")), QByteArray("p"));
}

void tst_FileUtils::removeFilesInDir()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString cache = dir.filePath(QStringLiteral("cache"));
    writeFile(cache + QStringLiteral("/a.txt"), "a");
    writeFile(cache + QStringLiteral("/.hidden"), "h");
    writeFile(cache + QStringLiteral("/sub/b.txt"), "b");

    QVERIFY(FileUtils::removeFilesInDir(cache));
    QVERIFY(QFileInfo(cache).isDir());
    QVERIFY(QDir(cache).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot));

    QVERIFY(FileUtils::removeFilesInDir(dir.filePath(QStringLiteral("missing"))));
    QVERIFY(!FileUtils::removeFilesInDir(QString()));
    writeFile(dir.filePath(QStringLiteral("file")), "f");
    QVERIFY(!FileUtils::removeFilesInDir(dir.filePath(QStringLiteral("file"))));
    QVERIFY(QFileInfo::exists(dir.filePath(QStringLiteral("file"))));
}

void tst_FileUtils::getFileSizeInDir()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString tree = dir.filePath(QStringLiteral("tree"));
    writeFile(tree + QStringLiteral("/a.bin"), QByteArray(100, 'a'));
    writeFile(tree + QStringLiteral("/.hidden"), QByteArray(10, 'h'));
    writeFile(tree + QStringLiteral("/sub/b.bin"), QByteArray(1000, 'b'));
    writeFile(tree + QStringLiteral("/sub/deeper/报告 2024.pdf"), QByteArray(5, 'r'));
    QVERIFY(QDir(tree).mkpath(QStringLiteral("empty")));
    // A link back up the tree neither loops nor counts twice.
    QVERIFY(QFile::link(tree, tree + QStringLiteral("/sub/loop")));

    QCOMPARE(FileUtils::getFileSizeInDir(tree), qint64(1115));
    QCOMPARE(FileUtils::getFileSizeInDir(tree + QStringLiteral("/sub")), qint64(1005));
    QCOMPARE(FileUtils::getFileSizeInDir(tree + QStringLiteral("/empty")), qint64(0));
    QCOMPARE(FileUtils::getFileSizeInDir(dir.filePath(QStringLiteral("missing"))), qint64(0));
    QCOMPARE(FileUtils::getFileSizeInDir(QString()), qint64(0));
}

QTEST_GUILESS_MAIN(tst_FileUtils)
#include "tst_fileutils.moc"
