// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <httplib.h>

// cpp-httplib's server with a longer queue of connections waiting for
// accept(). The library's compiled-in backlog of 5 makes the kernel refuse
// or reset connections when a hundred clients connect at once.
//
// The backlog is raised after bind: on Linux, listen() on a socket that is
// already listening sets its backlog anew. set_socket_options() would be
// too early (its callback sees the socket before bind(), where listen()
// would bind it to a random port), and binding the socket ourselves would
// repeat the library's address resolution.
class HttpServer : public httplib::Server {
public:
    static constexpr int ListenBacklog = 1024; // the kernel caps it at net.core.somaxconn

    // Call between bind and listen_after_bind(); false when there is no
    // listening socket or the kernel refused.
    bool raiseListenBacklog();
};
