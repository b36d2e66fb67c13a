// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "AccountRoutes.h"
#include "AdminRoutes.h"
#include "DocumentChangeRoutes.h"
#include "DocumentQueryRoutes.h"
#include "HttpServer.h"
#include "Router.h"
#include "ServerContext.h"
#include "ShareRoutes.h"
#include "TransferRoutes.h"
#include "VersionRoutes.h"
#include "WorkspaceRoutes.h"

#include <atomic>

// The HTTP server: cpp-httplib configured for many small and some large
// transfers, with every route of the interface registered.
class CloudServer {
public:
    static constexpr std::size_t MinWorkerThreads = 16;
    static constexpr std::size_t MaxWorkerThreads = 512;
    static constexpr std::size_t KeepAliveMaxRequests = 100000;
    // cpp-httplib 0.11 lets an idle keep-alive connection wait out this
    // timeout even when the server stops, so it bounds how long a stop takes.
    static constexpr time_t KeepAliveTimeoutSeconds = 2;
    static constexpr time_t ReadTimeoutSeconds = 30;
    static constexpr time_t WriteTimeoutSeconds = 60;
    static constexpr int StartPollMs = 5;

    CloudServer(const ServerOptions& options, Database& db, BlobStore& blobs);

    // Binds the listening socket; the port, or -1 on failure.
    int bind();
    // Serves until stop(); false when the listening socket failed.
    bool run();
    // Callable from any thread: stops accepting, releases held requests and
    // ends transfers in progress (an upload keeps its bytes for a resume).
    void stop();

private:
    void configure();

    ServerContext m_context;
    HttpServer m_server;
    Router m_router;
    AccountRoutes m_accountRoutes;
    WorkspaceRoutes m_workspaceRoutes;
    DocumentQueryRoutes m_queryRoutes;
    DocumentChangeRoutes m_changeRoutes;
    ShareRoutes m_shareRoutes;
    TransferRoutes m_transferRoutes;
    VersionRoutes m_versionRoutes;
    AdminRoutes m_adminRoutes;
    std::atomic<bool> m_runReturned{ false };
    std::atomic<bool> m_stopCalled{ false };
};
