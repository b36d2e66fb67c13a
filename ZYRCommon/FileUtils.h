// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRCommon/zyrcommon_export.h>

#include <QString>

namespace Trelan::Oku::ZYRCommon {

/// Path and file helpers. Paths use "/" as separator throughout; "\\" in an
/// argument is read as "/".
class ZYRCOMMON_EXPORT FileUtils
{
public:
    FileUtils() = delete;

    /// Normal form of a path: backslashes become "/", runs of "/" collapse to
    /// one (a leading "//" of a UNC path is kept), a trailing "/" is dropped
    /// unless the path is a root ("/", "C:/"). "." and ".." are not resolved.
    static QString formatPath(const QString& path);
    /// \a first and \a second joined by exactly one "/"; an empty side gives
    /// the other side unchanged.
    static QString concat(const QString& first, const QString& second);
    /// The last element of \a path ("c.txt" for "a/b/c.txt", "b" for "a/b/").
    static QString getFileName(const QString& path);
    /// The extension of the file name of \a path from its last ".", with the
    /// dot when \a withDot; empty when the name has no dot.
    static QString getFileExtension(const QString& path, bool withDot);
    /// The path without its last element ("/a/b" for "/a/b/c", "/" for "/a",
    /// empty for "a").
    static QString getParentFolderPath(const QString& path);
    /// \a name when no entry of that name is in \a dir, else "base (n).ext"
    /// with the smallest n >= 1 that is free.
    static QString generateUniqueName(const QString& dir, const QString& name);
    /// Copies srcDir/srcName to dstDir/dstName. When the target exists it is
    /// replaced if \a overwrite, else a unique name is chosen. Returns the
    /// name written in \a dstDir, or an empty string on failure.
    static QString copyFile(const QString& srcDir, const QString& srcName,
                            const QString& dstDir, const QString& dstName, bool overwrite);
    /// Removes a file, or a directory with everything in it. True when
    /// nothing is left at \a path (also when nothing was there).
    static bool deleteFileOrDir(const QString& path);
    /// Removes everything inside \a dir, keeping \a dir itself.
    static bool removeFilesInDir(const QString& dir);
    /// Total size in bytes of the files below \a dir.
    static qint64 getFileSizeInDir(const QString& dir);
    /// \a name with every run of white space replaced by one space and
    /// leading and trailing white space removed.
    static QString removeContinuousSpacesInFileName(const QString& name);
};

} // namespace Trelan::Oku::ZYRCommon
