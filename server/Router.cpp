// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "Router.h"

#include "ApiError.h"
#include "Database.h"
#include "Log.h"
#include "ServerContext.h"

#include <algorithm>
#include <memory>

namespace {
void replaceBodyWithProvider(httplib::Response& response, const httplib::ContentProvider& provider)
{
    const std::string type = response.get_header_value("Content-Type");
    const std::size_t length = response.body.size();
    response.body.clear();
    response.headers.erase("Content-Type");
    response.set_content_provider(length, type, provider);
}
} // namespace

Router::Router(httplib::Server& server, ServerContext& context) : m_server(server), m_context(context) { }

void Router::get(const std::string& pattern, Handler handler, Options options)
{
    m_server.Get(pattern,
                 httplib::Server::Handler(
                         [this, handler, options](const httplib::Request& request, httplib::Response& response) {
                             dispatch(request, response, nullptr, handler, options);
                         }));
}

void Router::post(const std::string& pattern, Handler handler, Options options)
{
    m_server.Post(pattern,
                  httplib::Server::HandlerWithContentReader(
                          [this, handler, options](const httplib::Request& request, httplib::Response& response,
                                                   const httplib::ContentReader& reader) {
                              dispatch(request, response, &reader, handler, options);
                          }));
}

void Router::put(const std::string& pattern, Handler handler, Options options)
{
    m_server.Put(pattern,
                 httplib::Server::HandlerWithContentReader(
                         [this, handler, options](const httplib::Request& request, httplib::Response& response,
                                                  const httplib::ContentReader& reader) {
                             dispatch(request, response, &reader, handler, options);
                         }));
}

void Router::del(const std::string& pattern, Handler handler, Options options)
{
    m_server.Delete(pattern,
                    httplib::Server::HandlerWithContentReader(
                            [this, handler, options](const httplib::Request& request, httplib::Response& response,
                                                     const httplib::ContentReader& reader) {
                                dispatch(request, response, &reader, handler, options);
                            }));
}

void Router::dispatch(const httplib::Request& request, httplib::Response& response,
                      const httplib::ContentReader* reader, const Handler& handler, const Options& options)
{
    ApiRequest api(m_context, request, response, reader);
    std::int64_t cutAfterBytes = -1;
    try {
        const bool answeredByFault = options.faults && applyFault(api, cutAfterBytes);
        if (!answeredByFault) {
            if (options.body == Body::Json) {
                api.readBody();
            }
            handler(api);
        }
    } catch (const ApiError& e) {
        response = httplib::Response();
        api.sendError(e.status(), e.what());
        for (const auto& header : e.headers()) {
            response.set_header(header.first, header.second);
        }
    } catch (const std::exception& e) {
        Log::error(request.method + " " + request.path + ": " + e.what());
        response = httplib::Response();
        api.sendError(500, "internal server error");
    }
    api.discardBody();
    if (api.mustClose()) {
        closeAfterResponse(response);
    }
    if (cutAfterBytes >= 0) {
        cutResponse(response, cutAfterBytes);
    }
}

bool Router::applyFault(ApiRequest& api, std::int64_t& cutAfterBytes)
{
    const auto& request = api.http();
    const FaultInjector::Action action = m_context.faults.take(request.method, request.path);
    if (!action.matched) {
        return false;
    }
    if (action.delayMs > 0) {
        m_context.faults.delay(action.delayMs);
    }
    if (action.hang) {
        // What normally ends a held request is the client's own time-out;
        // the server cannot see the client leave, so the request keeps its
        // thread until the faults are cleared or the server stops.
        m_context.faults.hold();
        api.sendError(503, "held request released");
        return true;
    }
    if (action.status > 0) {
        api.sendError(action.status, "injected fault");
        return true;
    }
    cutAfterBytes = action.cutAfterBytes;
    return false;
}

void Router::cutResponse(httplib::Response& response, std::int64_t bytes)
{
    const auto limit = static_cast<std::size_t>(bytes);
    if (response.content_provider_) {
        auto inner = response.content_provider_;
        response.content_provider_ = [inner, limit](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
            if (offset >= limit) {
                return false;
            }
            return inner(offset, std::min(length, limit - offset), sink);
        };
        return;
    }
    if (response.body.empty()) {
        return;
    }
    auto body = std::make_shared<std::string>(response.body);
    replaceBodyWithProvider(response, [body, limit](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
        if (offset >= limit) {
            return false;
        }
        sink.write(body->data() + offset, std::min(length, limit - offset));
        return true;
    });
}

void Router::closeAfterResponse(httplib::Response& response)
{
    response.set_header("Connection", "close");
    if (response.content_provider_ || response.body.empty()) {
        return;
    }
    // cpp-httplib keeps a connection open unless writing the reply fails;
    // a provider that sends the whole body and then reports failure is the
    // way to close it with the reply complete.
    auto body = std::make_shared<std::string>(response.body);
    replaceBodyWithProvider(response, [body](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
        sink.write(body->data() + offset, length);
        return false;
    });
}
