// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRCommon/FileUtils.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using Trelan::Oku::ZYRCommon::FileUtils;
using namespace Qt::StringLiterals;

namespace {

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).absolutePath()) && file.open(QIODevice::WriteOnly)
            && file.write(content) == content.size();
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

} // namespace

class tst_FileUtils : public QObject {
    Q_OBJECT

private slots:
    void checkLocalName_data();
    void checkLocalName();
    void pathText_data();
    void pathText();
    void copyFile_data();
    void copyFile();
    void removalStaysInsideTheTree();
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
    QTest::newRow("unit separator") << u"a"_s + QChar(0x1f) << P::ControlCharacter;
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

// Normal form | name | extension | parent | joined with "\sub" (at the seam only).
void tst_FileUtils::pathText_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* path, const char* expected) {
        QTest::newRow(path) << QString::fromUtf8(path) << QString::fromUtf8(expected);
    };
    row("/a/b/plan.dwg", "/a/b/plan.dwg|plan.dwg|.dwg|/a/b|/a/b/plan.dwg/sub");
    row("C:\\Users\\报告\\报告 2024.pdf",
        "C:/Users/报告/报告 2024.pdf|报告 2024.pdf|.pdf|C:/Users/报告|C:/Users/报告/报告 2024.pdf/sub");
    row("/a//b///c/", "/a/b/c|c||/a/b|/a//b///c/sub");
    row("/", "/||||/sub");
    row("C:\\\\", "C:/||||C:/sub");
    row("\\\\server\\share\\", "//server/share|share||//server|//server/share/sub");
    row("/home/.dwg", "/home/.dwg|.dwg|.dwg|/home|/home/.dwg/sub");
    row("/a/./b/../x.tar.gz", "/a/./b/../x.tar.gz|x.tar.gz|.gz|/a/./b/..|/a/./b/../x.tar.gz/sub");
    row("", "||||\\sub");
}

void tst_FileUtils::pathText()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    const QString formatted = FileUtils::formatPath(path);
    QCOMPARE(QStringList({ formatted, FileUtils::getFileName(path), FileUtils::getFileExtension(path, true),
                           FileUtils::getParentFolderPath(path), FileUtils::concat(path, u"\\sub"_s) })
                     .join(u'|'),
             expected);
    QCOMPARE(FileUtils::formatPath(formatted), formatted);
    QCOMPARE(FileUtils::getFileExtension(path, false), FileUtils::getFileExtension(path, true).mid(1));
}

// A copy takes the first free "base (n).ext" unless told to replace a file;
// a folder in the way is never replaced.
void tst_FileUtils::copyFile_data()
{
    QTest::addColumn<QString>("existing"); // comma-separated; a trailing "/" makes a folder
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("overwrite");
    QTest::addColumn<QString>("written");
    const auto row = [](const char* tag, const char* existing, const char* name, bool overwrite, const char* written) {
        QTest::newRow(tag) << QString::fromUtf8(existing) << QString::fromUtf8(name) << overwrite
                           << QString::fromUtf8(written);
    };
    row("new", "b.txt", "报告.pdf", false, "报告.pdf");
    row("file replaced", "报告.pdf", "报告.pdf", true, "报告.pdf");
    row("smallest free number", "a.txt,a (1).txt,a (3).txt", "a.txt", false, "a (2).txt");
    row("dot-file", ".env", ".env", false, ".env (1)");
    row("last dot", "x.tar.gz", "x.tar.gz", false, "x.tar (1).gz");
    row("folder in the way", "报告 2024/", "报告 2024", true, "报告 2024 (1)");
}

void tst_FileUtils::copyFile()
{
    QFETCH(QString, existing);
    QFETCH(QString, name);
    QFETCH(bool, overwrite);
    QFETCH(QString, written);
    QTemporaryDir dir;
    const QString dst = dir.filePath(u"dst"_s);
    for (const QString& entry : existing.split(u','))
        QVERIFY(entry.endsWith(u'/') ? QDir(dst).mkpath(entry) : writeFile(dst + u'/' + entry, "old"));
    QVERIFY(writeFile(dir.filePath(u"src/"_s) + name, "new"));
    if (!overwrite)
        QCOMPARE(FileUtils::generateUniqueName(dst, name), written);
    QCOMPARE(FileUtils::copyFile(dir.filePath(u"src"_s), name, dst, QString(), overwrite), written);
    QCOMPARE(readFile(dst + u'/' + written), QByteArray("new"));
    QVERIFY(written == name || readFile(dst + u'/' + name) != "new");
}

// Links are removed, never followed: nothing outside is deleted or counted.
void tst_FileUtils::removalStaysInsideTheTree()
{
    QTemporaryDir dir;
    const QString outside = dir.filePath(u"outside/keep.txt"_s);
    const QString tree = dir.filePath(u"tree"_s);
    QVERIFY(writeFile(outside, QByteArray(7, 'k')));
    QVERIFY(writeFile(tree + u"/a.bin"_s, QByteArray(100, 'a')));
    QVERIFY(writeFile(tree + u"/sub/deeper/报告.pdf"_s, QByteArray(1000, 'r')));
    QVERIFY(QFile::link(dir.filePath(u"outside"_s), tree + u"/sub/link"_s));
    QVERIFY(QFile::link(tree, tree + u"/sub/loop"_s));

    QCOMPARE(FileUtils::getFileSizeInDir(tree), qint64(1100));
    QVERIFY(FileUtils::removeFilesInDir(tree + u"/sub"_s));
    QVERIFY(QDir(tree + u"/sub"_s).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot));
    QVERIFY(FileUtils::deleteFileOrDir(tree));
    QVERIFY(!QFileInfo::exists(tree));
    QVERIFY(FileUtils::deleteFileOrDir(tree)); // nothing left there: done
    QCOMPARE(readFile(outside), QByteArray(7, 'k'));
}

QTEST_GUILESS_MAIN(tst_FileUtils)
#include "tst_fileutils.moc"
