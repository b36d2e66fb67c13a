// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRService/ZYRServiceUtil.h>

#include "ZYRReplyRegistry_p.h"
#include "ZYRServiceDefaults_p.h"

#include <atomic>
#include <mutex>

namespace Trelan::Oku::ZYRService {

namespace {

// Read on every request from every requesting thread.
std::mutex s_configMutex;
QUrl s_serverUrl;
std::atomic<int> s_requestTimeout{ Defaults::RequestTimeoutMs };

} // namespace

void ZYRServiceUtil::setServerUrl(const QUrl& url)
{
    const std::lock_guard<std::mutex> locker(s_configMutex);
    s_serverUrl = url;
}

QUrl ZYRServiceUtil::serverUrl()
{
    {
        const std::lock_guard<std::mutex> locker(s_configMutex);
        if (!s_serverUrl.isEmpty())
            return s_serverUrl;
    }
    // Read per request, so that a test or launcher can set it late.
    const QString fromEnvironment = qEnvironmentVariable(Defaults::ServerUrlVariable);
    if (fromEnvironment.isEmpty())
        return QUrl();
    return QUrl(fromEnvironment, QUrl::TolerantMode);
}

void ZYRServiceUtil::setRequestTimeout(int msecs)
{
    s_requestTimeout.store(msecs < 0 ? 0 : msecs);
}

int ZYRServiceUtil::requestTimeout()
{
    return s_requestTimeout.load();
}

void ZYRServiceUtil::CancelUnfinishedRequests()
{
    ZYRReplyRegistry::instance().cancelAll();
}

} // namespace Trelan::Oku::ZYRService
