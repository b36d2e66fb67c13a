// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "ApiRequest.h"

#include <httplib.h>

#include <functional>
#include <string>

struct ServerContext;

// Registers route handlers with the HTTP server and runs each request
// through the same steps: injected faults, body reading, the handler,
// error replies from ApiError, and closing the connection when a request
// body was left unread.
class Router {
public:
    using Handler = std::function<void(ApiRequest&)>;

    enum class Body {
        None, // GET: no body
        Json, // read up to 1 MiB before the handler runs
        Stream, // the handler streams it itself
    };

    struct Options {
        Options(Body bodyKind = Body::None, bool applyFaults = true) : body(bodyKind), faults(applyFaults) { }
        Body body;
        bool faults; // admin routes are never affected by faults
    };

    Router(httplib::Server& server, ServerContext& context);

    void get(const std::string& pattern, Handler handler, Options options = Options());
    void post(const std::string& pattern, Handler handler, Options options = Options(Body::Json));
    void put(const std::string& pattern, Handler handler, Options options = Options(Body::Json));
    void del(const std::string& pattern, Handler handler, Options options = Options(Body::Json));

    // Replaces the body of a complete reply with a content provider that
    // sends the first `bytes` bytes and then fails, which makes the server
    // close the connection after them.
    static void cutResponse(httplib::Response& response, std::int64_t bytes);
    // Makes the server close the connection once the reply is sent.
    static void closeAfterResponse(httplib::Response& response);

private:
    void dispatch(const httplib::Request& request, httplib::Response& response, const httplib::ContentReader* reader,
                  const Handler& handler, const Options& options);
    // True when the request was answered by a fault (status or hang).
    bool applyFault(ApiRequest& api, std::int64_t& cutAfterBytes);

    httplib::Server& m_server;
    ServerContext& m_context;
};
