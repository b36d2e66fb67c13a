// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <string>

// cpp-httplib 0.11 gives handlers no access to their connection's socket,
// yet a held request must notice its client leaving and must be closed
// without an answer, and stopping the server must end idle keep-alive
// connections at once instead of after their timeout. The only sockets in
// this process are the server's, so they are found by address among the
// process's open descriptors.
class ConnectionSockets {
public:
    // The connected socket with this peer address/port and local port, or -1.
    static int find(const std::string& remoteAddress, int remotePort, int localPort);
    // True once the peer has closed or reset the connection.
    static bool peerClosed(int fd);
    // Ends the connection in both directions; the server then fails to
    // write to it and closes it.
    static void abort(int fd);
    // Ends every accepted connection of the process.
    static void abortAll();
};
