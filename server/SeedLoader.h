// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <stdexcept>
#include <string>

class BlobStore;
class Database;

class SeedError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Fills a fresh data directory from a seed file: users, workspaces with
// members and trees, the version list and the installers. The whole file is
// checked before anything is written, and the metadata goes in as one
// transaction, so a bad seed leaves no half-filled database behind.
class SeedLoader {
public:
    // Throws SeedError naming the offending member.
    static void load(const std::string& seedPath, Database& db, BlobStore& blobs);
    // Checks a seed's text as load() does, writing nothing.
    static void check(const std::string& seedText);
};
