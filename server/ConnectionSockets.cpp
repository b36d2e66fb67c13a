// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ConnectionSockets.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

namespace {
bool addressOf(const sockaddr_storage& addr, std::string& host, int& port)
{
    char text[INET6_ADDRSTRLEN] = {};
    if (addr.ss_family == AF_INET) {
        const auto* in = reinterpret_cast<const sockaddr_in*>(&addr);
        inet_ntop(AF_INET, &in->sin_addr, text, sizeof text);
        port = ntohs(in->sin_port);
    } else if (addr.ss_family == AF_INET6) {
        const auto* in6 = reinterpret_cast<const sockaddr_in6*>(&addr);
        inet_ntop(AF_INET6, &in6->sin6_addr, text, sizeof text);
        port = ntohs(in6->sin6_port);
    } else {
        return false;
    }
    host = text;
    return true;
}

// Calls `visit` for each open descriptor that is a connected TCP socket.
void forEachConnection(
        const std::function<bool(int fd, const std::string& peerHost, int peerPort, int localPort)>& visit)
{
    DIR* dir = ::opendir("/proc/self/fd");
    if (!dir) {
        return;
    }
    const int dirFd = ::dirfd(dir);
    while (dirent* entry = ::readdir(dir)) {
        char* end = nullptr;
        const long fd = std::strtol(entry->d_name, &end, 10);
        if (end == entry->d_name || *end != '\0' || fd == dirFd) {
            continue;
        }
        struct stat st { };
        if (::fstat(static_cast<int>(fd), &st) != 0 || !S_ISSOCK(st.st_mode)) {
            continue;
        }
        sockaddr_storage peer{};
        socklen_t peerLength = sizeof peer;
        if (::getpeername(static_cast<int>(fd), reinterpret_cast<sockaddr*>(&peer), &peerLength) != 0) {
            continue; // listening socket or not connected
        }
        sockaddr_storage local{};
        socklen_t localLength = sizeof local;
        if (::getsockname(static_cast<int>(fd), reinterpret_cast<sockaddr*>(&local), &localLength) != 0) {
            continue;
        }
        std::string peerHost;
        std::string localHost;
        int peerPort = 0;
        int localPort = 0;
        if (!addressOf(peer, peerHost, peerPort) || !addressOf(local, localHost, localPort)) {
            continue;
        }
        if (!visit(static_cast<int>(fd), peerHost, peerPort, localPort)) {
            break;
        }
    }
    ::closedir(dir);
}
} // namespace

int ConnectionSockets::find(const std::string& remoteAddress, int remotePort, int localPort)
{
    int found = -1;
    forEachConnection([&](int fd, const std::string& peerHost, int peerPort, int ownPort) {
        if (peerPort == remotePort && ownPort == localPort && peerHost == remoteAddress) {
            found = fd;
            return false;
        }
        return true;
    });
    return found;
}

bool ConnectionSockets::peerClosed(int fd)
{
    // POLLRDHUP reports the peer's FIN even while unread request bytes wait
    // in the buffer, where a peeking read would still see data.
    pollfd p{};
    p.fd = fd;
    p.events = POLLRDHUP;
    if (::poll(&p, 1, 0) < 0) {
        return true;
    }
    return (p.revents & (POLLRDHUP | POLLHUP | POLLERR | POLLNVAL)) != 0;
}

void ConnectionSockets::abort(int fd)
{
    ::shutdown(fd, SHUT_RDWR);
}

void ConnectionSockets::abortAll()
{
    forEachConnection([](int fd, const std::string&, int, int) {
        ::shutdown(fd, SHUT_RDWR);
        return true;
    });
}
