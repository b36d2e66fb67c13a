// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "HttpServer.h"

#include <sys/socket.h>

bool HttpServer::raiseListenBacklog()
{
    const socket_t sock = svr_sock_;
    return sock != INVALID_SOCKET && ::listen(sock, ListenBacklog) == 0;
}
