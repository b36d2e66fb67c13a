// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>
#include <ZYRModel/MFile.h>

#include <QJsonDocument>
#include <QNetworkReply>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// What the cloud manager adds to a handler it sends. A handler reads a 200
/// body that is not JSON as an empty result, which the tree must not take
/// for "no children" or "no workspaces"; isAnswerReadable() tells the two
/// apart. node() carries the tree node an answer belongs to, weakly, where
/// the handler itself has no place for it.
class BCloudHandlerState {
public:
    bool isAnswerReadable() const { return m_answerReadable; }
    QWeakPointer<ZYRModel::MFile> node() const { return m_node; }
    void setNode(const QWeakPointer<ZYRModel::MFile>& node) { m_node = node; }

protected:
    BCloudHandlerState() = default;
    ~BCloudHandlerState() = default;

    bool m_answerReadable = false;
    QWeakPointer<ZYRModel::MFile> m_node;
};

/// \a Handler as the cloud manager sends it; see BCloudHandlerState. The
/// body is only peeked at, so \a Handler still reads all of it.
template <typename Handler>
class BCloudHandler final : public Handler, public BCloudHandlerState {
public:
    using Handler::Handler;

    /// The handler a finished function of the manager receives, which is
    /// always one it made as BCloudHandler<Handler>.
    static BCloudHandler* from(BReplyHandlerBase* handler) { return static_cast<BCloudHandler*>(handler); }

protected:
    void parseReply() override
    {
        if (QNetworkReply* reply = this->getReply())
            m_answerReadable = QJsonDocument::fromJson(reply->peek(reply->bytesAvailable())).isObject();
        Handler::parseReply();
    }
};

} // namespace Trelan::Oku::ZYRController
