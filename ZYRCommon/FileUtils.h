// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRCommon/zyrcommon_export.h>

#include <QString>

namespace Trelan::Oku::ZYRCommon {

/// Path and file helpers. Paths use "/" as separator throughout; "\\" in an
/// argument is read as "/".
class ZYRCOMMON_EXPORT FileUtils {
public:
    FileUtils() = delete;

    /// Why a name that came from the server cannot become one element of a
    /// local path. Every name from the server passes checkLocalName() before
    /// it is joined to a local folder, so that a path built from checked
    /// names always stays inside that folder.
    enum class NameProblem {
        None,
        Empty, ///< ""
        DotName, ///< "." or ".."
        Separator, ///< holds "/" or "\\"
        ControlCharacter, ///< holds U+0000..U+001F or U+007F (NUL included)
        TooLong, ///< longer than a file name may be (255 bytes on disk)
    };
    /// The first problem of \a name as a local file or folder name, or
    /// NameProblem::None when it can be used as it is.
    static NameProblem checkLocalName(const QString& name);
    static bool isSafeLocalName(const QString& name) { return checkLocalName(name) == NameProblem::None; }

    /// Normal form of a path: backslashes become "/", runs of "/" collapse to
    /// one (a leading "//" of a UNC path is kept), a trailing "/" is dropped
    /// unless the path is a root ("/", "C:/"). "." and ".." are not resolved.
    static QString formatPath(const QString& path);
    /// \a first and \a second joined by exactly one "/"; an empty side gives
    /// the other side unchanged.
    static QString concat(const QString& first, const QString& second);
    /// The last element of \a path ("c.txt" for "a/b/c.txt", "b" for "a/b/");
    /// empty for a root ("/", "C:/").
    static QString getFileName(const QString& path);
    /// The extension of the file name of \a path from its last ".", with the
    /// dot when \a withDot; empty when the name has no dot. A dot-file is all
    /// extension: ".dwg" gives ".dwg".
    static QString getFileExtension(const QString& path, bool withDot);
    /// The path without its last element ("/a/b" for "/a/b/c", "/" for "/a",
    /// empty for "a").
    static QString getParentFolderPath(const QString& path);
    /// \a name when no entry of that name is in \a dir, else "base (n).ext"
    /// with the smallest n >= 1 that is free. The extension is the part from
    /// the last dot; a leading dot belongs to the base (".env (1)"). Empty for
    /// an empty name.
    static QString generateUniqueName(const QString& dir, const QString& name);
    /// Copies srcDir/srcName to dstDir/dstName (\a dstName empty: srcName),
    /// creating dstDir. When the target exists it is replaced if \a overwrite,
    /// else a unique name is chosen (also when a directory is in the way).
    /// Returns the name written in \a dstDir, or an empty string on failure.
    static QString copyFile(const QString& srcDir, const QString& srcName, const QString& dstDir,
                            const QString& dstName, bool overwrite);
    /// Removes a file, or a directory with everything in it; a symbolic link
    /// is removed, not followed. True when nothing is left at \a path (also
    /// when nothing was there); false for an empty path.
    static bool deleteFileOrDir(const QString& path);
    /// Removes everything inside \a dir, keeping \a dir itself. True when
    /// \a dir is empty afterwards or does not exist; false when it is a file.
    static bool removeFilesInDir(const QString& dir);
    /// Total size in bytes of the files below \a dir, at any depth; links
    /// are not followed. 0 when \a dir is not a directory.
    static qint64 getFileSizeInDir(const QString& dir);
    /// \a name with every run of white space replaced by one space and
    /// leading and trailing white space removed.
    static QString removeContinuousSpacesInFileName(const QString& name);
};

} // namespace Trelan::Oku::ZYRCommon
