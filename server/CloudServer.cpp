// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CloudServer.h"

#include "ApiError.h"
#include "ApiRequest.h"
#include "Log.h"
#include "ObjectJson.h"
#include "WorkerPool.h"

#include <chrono>
#include <limits>
#include <thread>

namespace {
std::string statusText(int status)
{
    switch (status) {
    case 400:
        return "bad request";
    case 404:
        return "no such route";
    case 405:
        return "method not allowed";
    case 413:
        return "payload too large";
    case 414:
        return "request URI too long";
    default:
        return "HTTP error " + std::to_string(status);
    }
}

// The Request object is a mutable local of cpp-httplib's request loop.
// Clearing what it parsed from Range and Accept-Encoding stops it from
// slicing replies by range on its own (downloads do that themselves,
// everything else ignores Range) and from compressing text and JSON
// replies: byte counts must match stored bytes.
void keepRepliesWhole(const httplib::Request& request)
{
    auto& mutableRequest = const_cast<httplib::Request&>(request);
    mutableRequest.ranges.clear();
    mutableRequest.headers.erase("Accept-Encoding");
}
} // namespace

CloudServer::CloudServer(const ServerOptions& options, Database& db, BlobStore& blobs)
    : m_context(options, db, blobs), m_router(m_server, m_context), m_accountRoutes(m_context),
      m_workspaceRoutes(m_context), m_queryRoutes(m_context), m_changeRoutes(m_context), m_shareRoutes(m_context),
      m_transferRoutes(m_context), m_versionRoutes(m_context), m_adminRoutes(m_context)
{
    configure();
    m_accountRoutes.registerOn(m_router);
    m_workspaceRoutes.registerOn(m_router);
    m_queryRoutes.registerOn(m_router);
    m_changeRoutes.registerOn(m_router);
    m_shareRoutes.registerOn(m_router);
    m_transferRoutes.registerOn(m_router);
    m_versionRoutes.registerOn(m_router);
    if (options.enableAdmin) {
        m_adminRoutes.registerOn(m_router);
    }
    // Last, so they match only what nothing else did: without them
    // cpp-httplib would read the whole body of a request to an unknown
    // route into memory before answering 404.
    const auto unknown = [](ApiRequest&) { throw ApiError::notFound("no such route"); };
    m_router.post(".*", unknown);
    m_router.put(".*", unknown);
    m_router.del(".*", unknown);
}

void CloudServer::configure()
{
    m_server.new_task_queue = [] { return new WorkerPool(MinWorkerThreads, MaxWorkerThreads); };
    m_server.set_keep_alive_max_count(KeepAliveMaxRequests);
    m_server.set_keep_alive_timeout(KeepAliveTimeoutSeconds);
    m_server.set_read_timeout(ReadTimeoutSeconds, 0);
    m_server.set_write_timeout(WriteTimeoutSeconds, 0);
    m_server.set_tcp_nodelay(true);
    // Upload bodies stream through a content reader and JSON bodies are
    // bounded by the Router, so cpp-httplib's own limit must not interfere.
    m_server.set_payload_max_length(std::numeric_limits<std::size_t>::max());

    m_server.set_pre_routing_handler([](const httplib::Request& request, httplib::Response&) {
        keepRepliesWhole(request);
        return httplib::Server::HandlerResponse::Unhandled;
    });

    // cpp-httplib adds "Keep-Alive: timeout=.., max=.." to every reply that
    // keeps its connection. HTTP/1.1 clients keep connections without it
    // (Qt and curl do not read it), while Qt, which parses reply headers
    // byte by byte, pays a system call for each of its 35 bytes per reply.
    m_server.set_post_routing_handler(
            [](const httplib::Request&, httplib::Response& response) { response.headers.erase("Keep-Alive"); });

    m_server.set_error_handler(httplib::Server::HandlerWithResponse([](const httplib::Request& request,
                                                                       httplib::Response& response) {
        // Also for requests refused before routing (a bad Range header):
        // cpp-httplib would gzip their plain "application/json" error.
        keepRepliesWhole(request);
        if (response.body.empty() && !response.content_provider_) {
            // Errors cpp-httplib produces itself: unknown routes, bad
            // request lines, and Range headers it cannot parse (which
            // it answers with 416 before any route sees them).
            int status = response.status;
            std::string message = statusText(status);
            if (status == 416) {
                status = 400;
                message = "unsupported Range header";
            }
            response.status = status;
            response.set_content(ApiRequest::dump(ObjectJson::error(status, message)), ApiRequest::JsonContentType);
        }
        // Handled makes cpp-httplib set Content-Length for this body.
        return httplib::Server::HandlerResponse::Handled;
    }));

    m_server.set_exception_handler(
            [](const httplib::Request& request, httplib::Response& response, std::exception_ptr error) {
                try {
                    std::rethrow_exception(error);
                } catch (const std::exception& e) {
                    Log::error(request.method + " " + request.path + ": " + e.what());
                } catch (...) {
                    Log::error(request.method + " " + request.path + ": unknown exception");
                }
                response.status = 500;
                response.set_content(ApiRequest::dump(ObjectJson::error(500, "internal server error")),
                                     ApiRequest::JsonContentType);
            });

    if (m_context.options.verbose) {
        m_server.set_logger([](const httplib::Request& request, const httplib::Response& response) {
            Log::info(request.method + " " + request.path + " -> " + std::to_string(response.status));
        });
    }
}

int CloudServer::bind()
{
    int port = -1;
    if (m_context.options.port == 0) {
        port = m_server.bind_to_any_port(m_context.options.host);
    } else if (m_server.bind_to_port(m_context.options.host, m_context.options.port)) {
        port = m_context.options.port;
    }
    if (port <= 0 || !m_server.raiseListenBacklog()) {
        return -1;
    }
    m_context.port = port;
    return port;
}

bool CloudServer::run()
{
    const bool ok = m_server.listen_after_bind();
    m_runReturned = true;
    return ok;
}

void CloudServer::stop()
{
    m_context.stopping = true;
    m_context.faults.shutdown();
    // cpp-httplib's stop() does nothing before the accept loop runs, and
    // must not be called twice; a stop request that comes right after
    // bind() waits for the loop to start.
    while (!m_server.is_running() && !m_runReturned) {
        std::this_thread::sleep_for(std::chrono::milliseconds(StartPollMs));
    }
    if (!m_stopCalled.exchange(true) && !m_runReturned) {
        m_server.stop();
    }
}
