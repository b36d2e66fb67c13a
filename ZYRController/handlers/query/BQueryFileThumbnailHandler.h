// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of a file's thumbnail: keeps the image bytes as sent and the node
/// they belong to.
class ZYRCONTROLLER_EXPORT BQueryFileThumbnailHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BQueryFileThumbnailHandler(BActionFinishedCallerBase* caller, QWeakPointer<ZYRModel::MFile> file);
    ~BQueryFileThumbnailHandler() override;

    QWeakPointer<ZYRModel::MFile> file() const;
    QByteArray thumbnailData() const;

protected:
    void parseReply() override;

private:
    QWeakPointer<ZYRModel::MFile> m_file;
    QByteArray m_thumbnailData;
};

} // namespace Trelan::Oku::ZYRController
