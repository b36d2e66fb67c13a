// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryViewcodeHandler.h>

#include <ZYRModel/MDocumentViewcode.h>

namespace Trelan::Oku::ZYRController {

BQueryViewcodeHandler::BQueryViewcodeHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                             QWeakPointer<ZYRModel::MFile> file)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId), m_file(std::move(file))
{
}

BQueryViewcodeHandler::~BQueryViewcodeHandler() = default;

QString BQueryViewcodeHandler::workspaceId() const
{
    return m_workspaceId;
}

QWeakPointer<ZYRModel::MFile> BQueryViewcodeHandler::file() const
{
    return m_file;
}

ZYRModel::MDocumentViewcode* BQueryViewcodeHandler::takeViewcode(bool release)
{
    return release ? m_viewcode.release() : m_viewcode.get();
}

void BQueryViewcodeHandler::parseReply()
{
    QJsonObject root;
    if (!readRootObject(root))
        return;
    auto viewcode = std::make_unique<ZYRModel::MDocumentViewcode>();
    ZYRModel::MDocumentViewcode::fromJson(root, *viewcode);
    m_viewcode = std::move(viewcode);
}

} // namespace Trelan::Oku::ZYRController
