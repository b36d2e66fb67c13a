// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRCommon/FileUtils.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>

#include <limits>

namespace Trelan::Oku::ZYRCommon {

namespace {

Q_LOGGING_CATEGORY(lcFiles, "zyr.common.files", QtWarningMsg)

const QChar Slash = QLatin1Char('/');

QString withForwardSlashes(const QString& path)
{
    QString out = path;
    out.replace(QLatin1Char('\\'), Slash);
    return out;
}

// "C:" — a drive letter without anything after it.
bool isDrive(const QString& path)
{
    return path.size() == 2 && path.at(1) == QLatin1Char(':') && path.at(0).isLetter();
}

// A path that has no parent and whose trailing "/" carries meaning.
bool isRoot(const QString& formatted)
{
    return formatted == QLatin1String("/") || formatted == QLatin1String("//")
            || (formatted.size() == 3 && isDrive(formatted.left(2)) && formatted.at(2) == Slash);
}

// Splits a file name into the part before the extension and the extension
// with its dot. A leading dot belongs to the name (".bashrc" has no
// extension here), so that unique names read "x (1).ext" and ".bashrc (1)".
void splitForNumbering(const QString& name, QString& base, QString& extension)
{
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0) {
        base = name;
        extension.clear();
    } else {
        base = name.left(dot);
        extension = name.mid(dot);
    }
}

} // namespace

FileUtils::NameProblem FileUtils::checkLocalName(const QString& name)
{
    // The longest file name Linux file systems take, in bytes as stored.
    constexpr qsizetype MaxNameBytes = 255;
    if (name.isEmpty())
        return NameProblem::Empty;
    if (name == QLatin1String(".") || name == QLatin1String(".."))
        return NameProblem::DotName;
    for (const QChar c : name) {
        if (c == Slash || c == QLatin1Char('\\'))
            return NameProblem::Separator;
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            return NameProblem::ControlCharacter;
    }
    if (QFile::encodeName(name).size() > MaxNameBytes)
        return NameProblem::TooLong;
    return NameProblem::None;
}

QString FileUtils::formatPath(const QString& path)
{
    if (path.isEmpty())
        return path;
    const QString slashed = withForwardSlashes(path);

    QString out;
    out.reserve(slashed.size());
    qsizetype i = 0;
    // A UNC path ("//server/share") keeps its two leading slashes; longer
    // runs at the start are read the same way.
    if (slashed.startsWith(QLatin1String("//"))) {
        out += QLatin1String("//");
        while (i < slashed.size() && slashed.at(i) == Slash)
            ++i;
    }
    for (; i < slashed.size(); ++i) {
        const QChar c = slashed.at(i);
        if (c == Slash && out.endsWith(Slash))
            continue;
        out += c;
    }
    if (out.size() > 1 && out.endsWith(Slash) && !isRoot(out))
        out.chop(1);
    return out;
}

QString FileUtils::concat(const QString& first, const QString& second)
{
    if (first.isEmpty())
        return second;
    if (second.isEmpty())
        return first;
    QString head = withForwardSlashes(first);
    while (head.endsWith(Slash))
        head.chop(1);
    QString tail = withForwardSlashes(second);
    qsizetype skip = 0;
    while (skip < tail.size() && tail.at(skip) == Slash)
        ++skip;
    return head + Slash + QStringView(tail).mid(skip);
}

QString FileUtils::getFileName(const QString& path)
{
    QString p = withForwardSlashes(path);
    while (p.endsWith(Slash))
        p.chop(1);
    if (p.isEmpty() || isDrive(p))
        return QString();
    return p.mid(p.lastIndexOf(Slash) + 1);
}

QString FileUtils::getFileExtension(const QString& path, bool withDot)
{
    const QString name = getFileName(path);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot < 0)
        return QString();
    return name.mid(withDot ? dot : dot + 1);
}

QString FileUtils::getParentFolderPath(const QString& path)
{
    const QString p = formatPath(path);
    if (p.isEmpty() || isRoot(p) || isDrive(p))
        return QString();
    const qsizetype slash = p.lastIndexOf(Slash);
    if (slash < 0)
        return QString();
    if (slash == 0)
        return QStringLiteral("/");
    // "//server" is the host of a UNC path: nothing above it.
    if (slash == 1 && p.startsWith(QLatin1String("//")))
        return QString();
    const QString parent = p.left(slash);
    return isDrive(parent) ? parent + Slash : parent;
}

QString FileUtils::generateUniqueName(const QString& dir, const QString& name)
{
    if (name.isEmpty())
        return QString();
    const QDir directory(dir);
    if (!QFileInfo::exists(directory.filePath(name)))
        return name;
    QString base;
    QString extension;
    splitForNumbering(name, base, extension);
    for (int n = 1; n < std::numeric_limits<int>::max(); ++n) {
        const QString candidate = base + QStringLiteral(" (") + QString::number(n) + QLatin1Char(')') + extension;
        if (!QFileInfo::exists(directory.filePath(candidate)))
            return candidate;
    }
    return QString();
}

QString FileUtils::copyFile(const QString& srcDir, const QString& srcName, const QString& dstDir,
                            const QString& dstName, bool overwrite)
{
    if (srcName.isEmpty() || dstDir.isEmpty())
        return QString();
    const QString source = QDir(srcDir).filePath(srcName);
    const QFileInfo sourceInfo(source);
    if (!sourceInfo.isFile()) {
        qCWarning(lcFiles) << "copy: no such file" << source;
        return QString();
    }
    if (!QDir().mkpath(dstDir)) {
        qCWarning(lcFiles) << "copy: cannot create" << dstDir;
        return QString();
    }
    const QDir target(dstDir);
    QString name = dstName.isEmpty() ? srcName : dstName;
    const QFileInfo targetInfo(target.filePath(name));

    if (targetInfo.exists()) {
        if (targetInfo.canonicalFilePath() == sourceInfo.canonicalFilePath()) {
            // Copying a file onto itself: with overwrite the content is
            // already there; without it the copy goes beside it.
            if (overwrite)
                return name;
            name = generateUniqueName(dstDir, name);
        } else if (!overwrite || targetInfo.isDir()) {
            name = generateUniqueName(dstDir, name);
        }
    }
    if (name.isEmpty())
        return QString();

    const QString destination = target.filePath(name);
    if (!QFileInfo::exists(destination)) {
        if (!QFile::copy(source, destination)) {
            qCWarning(lcFiles) << "copy failed:" << source << "->" << destination;
            return QString();
        }
        return name;
    }

    // Replacing: copy beside the target first, so that a failed copy leaves
    // the old file in place.
    const QString partial = target.filePath(generateUniqueName(dstDir, name + QStringLiteral(".copying")));
    if (!QFile::copy(source, partial)) {
        qCWarning(lcFiles) << "copy failed:" << source << "->" << partial;
        QFile::remove(partial);
        return QString();
    }
    if (!QFile::remove(destination) || !QFile::rename(partial, destination)) {
        qCWarning(lcFiles) << "copy: cannot replace" << destination;
        QFile::remove(partial);
        return QString();
    }
    return name;
}

bool FileUtils::deleteFileOrDir(const QString& path)
{
    if (path.isEmpty())
        return false;
    const QFileInfo info(path);
    // A link is removed itself; its target, file or directory, is not touched.
    if (info.isSymLink())
        return QFile::remove(path);
    if (!info.exists())
        return true;
    if (info.isDir()) {
        QDir(path).removeRecursively();
    } else if (!QFile::remove(path)) {
        // Read-only files refuse removal on some platforms; make it writable once.
        QFile::setPermissions(path, info.permissions() | QFileDevice::WriteOwner);
        QFile::remove(path);
    }
    const bool gone = !QFileInfo::exists(path) && !QFileInfo(path).isSymLink();
    if (!gone)
        qCWarning(lcFiles) << "could not remove" << path;
    return gone;
}

bool FileUtils::removeFilesInDir(const QString& dir)
{
    if (dir.isEmpty())
        return false;
    const QFileInfo info(dir);
    if (!info.exists())
        return true;
    if (!info.isDir())
        return false;
    bool ok = true;
    const QFileInfoList entries
            = QDir(dir).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo& entry : entries) {
        if (!deleteFileOrDir(entry.filePath()))
            ok = false;
    }
    return ok;
}

qint64 FileUtils::getFileSizeInDir(const QString& dir)
{
    if (dir.isEmpty() || !QFileInfo(dir).isDir())
        return 0;
    qint64 total = 0;
    // Links are not followed: a link back up the tree would never end, and a
    // linked file is not stored here.
    QDirIterator it(dir, QDir::Files | QDir::Hidden | QDir::System | QDir::NoSymLinks, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        total += it.fileInfo().size();
    }
    return total;
}

QString FileUtils::removeContinuousSpacesInFileName(const QString& name)
{
    return name.simplified();
}

} // namespace Trelan::Oku::ZYRCommon
