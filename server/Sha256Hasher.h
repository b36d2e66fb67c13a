// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <cstddef>
#include <string>

struct evp_md_ctx_st;

// Incremental SHA-256, so content can be hashed while it streams.
class Sha256Hasher {
public:
    Sha256Hasher();
    ~Sha256Hasher();
    Sha256Hasher(const Sha256Hasher&) = delete;
    Sha256Hasher& operator=(const Sha256Hasher&) = delete;

    void add(const char* data, std::size_t length);
    // Lowercase hex; the hasher cannot be used afterwards.
    std::string finish();

    // Digest of a whole file; empty string when it cannot be read.
    static std::string hashFile(const std::string& path);

private:
    evp_md_ctx_st* m_context;
};
