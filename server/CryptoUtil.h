// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <cstddef>
#include <optional>
#include <string>

// OpenSSL-backed helpers: random tokens, digests, password hashing, base64.
class CryptoUtil {
public:
    // Lowercase hex of `byteCount` bytes from RAND_bytes.
    static std::string randomHex(std::size_t byteCount);
    // `length` characters drawn uniformly from `alphabet`.
    static std::string randomString(const std::string& alphabet, std::size_t length);
    static std::string sha256Hex(const std::string& data);
    static std::string toHex(const unsigned char* data, std::size_t length);
    // PBKDF2-HMAC-SHA256, 32 bytes of output as lowercase hex.
    static std::string pbkdf2Hex(const std::string& password, const std::string& salt, int iterations);
    static bool constantTimeEquals(const std::string& a, const std::string& b);
    // Standard base64 with padding (OpenSSL decodes); nullopt on any
    // malformed input.
    static std::optional<std::string> base64Decode(const std::string& text);
};
