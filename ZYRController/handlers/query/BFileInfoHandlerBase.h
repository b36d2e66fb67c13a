// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QSharedPointer>

namespace Trelan::Oku::ZYRController {

/// Base of the handlers whose answer is one file's metadata, bare or in an
/// envelope: a successful answer becomes a new MFile, held by shared
/// pointer (the owner may keep it).
class ZYRCONTROLLER_EXPORT BFileInfoHandlerBase : public BReplyHandlerBase {
    Q_OBJECT
public:
    explicit BFileInfoHandlerBase(BActionFinishedCallerBase* caller);
    ~BFileInfoHandlerBase() override;

    /// The metadata as the service sent it; null until a good answer came.
    QSharedPointer<ZYRModel::MFile> file() const;

protected:
    void parseReply() override;

private:
    QSharedPointer<ZYRModel::MFile> m_file;
};

} // namespace Trelan::Oku::ZYRController
