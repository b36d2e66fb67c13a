// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "AccountStore.h"
#include "AuthService.h"
#include "BlobStore.h"
#include "Database.h"
#include "FaultInjector.h"
#include "NodeStore.h"
#include "ReleaseStore.h"
#include "ServerOptions.h"
#include "ShareLinkStore.h"
#include "UploadRegistry.h"
#include "UploadStore.h"
#include "WorkspaceStore.h"

#include <atomic>
#include <string>

// Everything the routes share. Owned by CloudServer; routes keep a reference.
struct ServerContext {
    ServerContext(const ServerOptions& serverOptions, Database& database, BlobStore& blobStore)
        : options(serverOptions), db(database), blobs(blobStore), accounts(database), workspaces(database),
          nodes(database), uploads(database), links(database), releases(database),
          auth(database, accounts, serverOptions.tokenTtlSeconds)
    {
    }

    const ServerOptions& options;
    Database& db;
    BlobStore& blobs;
    AccountStore accounts;
    WorkspaceStore workspaces;
    NodeStore nodes;
    UploadStore uploads;
    ShareLinkStore links;
    ReleaseStore releases;
    AuthService auth;
    UploadRegistry streams;
    FaultInjector faults;
    std::atomic<int> port{ 0 };
    // Set when the server stops: streaming bodies and content providers end.
    std::atomic<bool> stopping{ false };
};
