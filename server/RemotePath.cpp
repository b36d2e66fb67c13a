// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "RemotePath.h"

#include <cstdint>

bool RemotePath::isValidUtf8(const std::string& text)
{
    std::size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<unsigned char>(text[i]);
        std::size_t extra = 0;
        std::uint32_t cp = 0;
        if (c < 0x80) {
            ++i;
            continue;
        } else if ((c & 0xe0) == 0xc0) {
            extra = 1;
            cp = c & 0x1f;
        } else if ((c & 0xf0) == 0xe0) {
            extra = 2;
            cp = c & 0x0f;
        } else if ((c & 0xf8) == 0xf0) {
            extra = 3;
            cp = c & 0x07;
        } else {
            return false;
        }
        if (i + extra >= text.size()) {
            return false;
        }
        for (std::size_t k = 1; k <= extra; ++k) {
            const auto d = static_cast<unsigned char>(text[i + k]);
            if ((d & 0xc0) != 0x80) {
                return false;
            }
            cp = (cp << 6) | (d & 0x3f);
        }
        // Overlong forms, surrogates and values past U+10FFFF.
        if ((extra == 1 && cp < 0x80) || (extra == 2 && cp < 0x800) || (extra == 3 && cp < 0x10000) || cp > 0x10ffff
            || (cp >= 0xd800 && cp <= 0xdfff)) {
            return false;
        }
        i += extra + 1;
    }
    return true;
}

bool RemotePath::isValidName(const std::string& name)
{
    if (name.empty() || name.size() > MaxNameBytes || name == "." || name == "..") {
        return false;
    }
    if (name.find("..") != std::string::npos) {
        return false;
    }
    for (const char ch : name) {
        const auto c = static_cast<unsigned char>(ch);
        if (c == '/' || c == '\\' || c < 0x20 || c == 0x7f) {
            return false;
        }
    }
    return isValidUtf8(name);
}

std::optional<std::vector<std::string>> RemotePath::split(const std::string& path)
{
    std::vector<std::string> segments;
    std::string current;
    auto flush = [&]() -> bool {
        if (current.empty()) {
            return true;
        }
        if (!isValidName(current)) {
            return false;
        }
        segments.push_back(current);
        current.clear();
        return true;
    };
    for (const char c : path) {
        if (c == '/' || c == '\\') {
            if (!flush()) {
                return std::nullopt;
            }
        } else {
            current.push_back(c);
        }
    }
    if (!flush()) {
        return std::nullopt;
    }
    return segments;
}

std::string RemotePath::join(const std::vector<std::string>& segments)
{
    if (segments.empty()) {
        return "/";
    }
    std::string out;
    for (const auto& segment : segments) {
        out += '/';
        out += segment;
    }
    return out;
}

std::string RemotePath::child(const std::string& parentPath, const std::string& name)
{
    return parentPath == "/" ? "/" + name : parentPath + "/" + name;
}
