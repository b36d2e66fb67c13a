// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "AccountRoutes.h"

#include "ApiError.h"
#include "ApiRequest.h"
#include "CryptoUtil.h"
#include "ObjectJson.h"
#include "Router.h"
#include "ServerContext.h"

AccountRoutes::AccountRoutes(ServerContext& context) : m_context(context) { }

void AccountRoutes::registerOn(Router& router)
{
    router.post("/api/v1/auth/login", [this](ApiRequest& r) { login(r); });
    router.get("/api/v1/users/me", [this](ApiRequest& r) { currentUser(r); });
    router.get(R"(/api/v1/users/([^/]+)/avatar)", [this](ApiRequest& r) { avatar(r); });
    router.get("/api/v1/auth/login-token", [this](ApiRequest& r) { loginToken(r); });
}

void AccountRoutes::login(ApiRequest& request)
{
    const auto body = request.jsonObject();
    const std::string account = ApiRequest::stringMember(body, "account");
    const std::string password = ApiRequest::stringMember(body, "password");
    auto token = m_context.auth.signIn(account, password);
    if (!token) {
        throw ApiError::unauthorized("wrong account or password");
    }
    request.sendJson(ObjectJson::token(*token));
}

void AccountRoutes::currentUser(ApiRequest& request)
{
    const std::string userId = request.requireUser();
    Database::Transaction txn(m_context.db, false);
    auto user = m_context.accounts.userById(userId);
    if (!user) {
        throw ApiError::unauthorized("the token's user no longer exists");
    }
    request.sendJson(ObjectJson::user(*user));
}

void AccountRoutes::avatar(ApiRequest& request)
{
    request.requireUser();
    Database::Transaction txn(m_context.db, false);
    auto avatar = m_context.accounts.avatar(request.match(1));
    if (!avatar) {
        throw ApiError::notFound("no such user or no avatar");
    }
    request.sendBytes(avatar->first, avatar->second);
}

void AccountRoutes::loginToken(ApiRequest& request)
{
    request.requireUser();
    request.sendText("lt-" + CryptoUtil::randomHex(16));
}
