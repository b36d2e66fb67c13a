// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFilePath.h>

namespace Trelan::Oku::ZYRController {

/// Handler of the ancestor-path query of a file
/// ({"data": {"parents": [{"fileId", "name"}, ...]}}), used to resolve a
/// folder in the tree. The root ("/") is left out of both results: for the
/// ancestors /, Design and 2019 namePath is "/Design/2019".
class ZYRCONTROLLER_EXPORT BGetFilePathHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    /// \a workspaceId and \a fileId ride along for the owner.
    explicit BGetFilePathHandler(BActionFinishedCallerBase* caller, const QString& workspaceId = QString(),
                                 const QString& fileId = QString());
    ~BGetFilePathHandler() override;

    QString workspaceId() const;
    QString fileId() const;
    const ZYRModel::MFilePath& filePath() const;
    QString namePath() const;

protected:
    void parseReply() override;

private:
    QString m_workspaceId;
    QString m_fileId;
    ZYRModel::MFilePath m_filePath;
    QString m_namePath;
};

} // namespace Trelan::Oku::ZYRController
