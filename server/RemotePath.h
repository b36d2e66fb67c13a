// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <optional>
#include <string>
#include <vector>

// Names and remote paths as clients send them. Every name that reaches the
// store passes isValidName, which is also what keeps "..", "/" and "\"
// from ever meaning anything to the file system.
class RemotePath {
public:
    static constexpr std::size_t MaxNameBytes = 255;

    static bool isValidName(const std::string& name);
    static bool isValidUtf8(const std::string& text);

    // Segments of a path in any accepted form ("\" as "/", repeated or
    // missing slashes); nullopt when a segment is "." / ".." or invalid.
    // The root is the empty vector.
    static std::optional<std::vector<std::string>> split(const std::string& path);
    static std::string join(const std::vector<std::string>& segments);
    // "/a/b" + "c" -> "/a/b/c"; "/" + "c" -> "/c".
    static std::string child(const std::string& parentPath, const std::string& name);
};
