// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryFileThumbnailHandler.h>

namespace Trelan::Oku::ZYRController {

BQueryFileThumbnailHandler::BQueryFileThumbnailHandler(BActionFinishedCallerBase* caller,
                                                       QWeakPointer<ZYRModel::MFile> file)
    : BReplyHandlerBase(caller), m_file(std::move(file))
{
}

BQueryFileThumbnailHandler::~BQueryFileThumbnailHandler() = default;

QWeakPointer<ZYRModel::MFile> BQueryFileThumbnailHandler::file() const
{
    return m_file;
}

QByteArray BQueryFileThumbnailHandler::thumbnailData() const
{
    return m_thumbnailData;
}

void BQueryFileThumbnailHandler::parseReply()
{
    m_thumbnailData = readBody();
}

} // namespace Trelan::Oku::ZYRController
