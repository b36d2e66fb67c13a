// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

namespace Trelan::Oku::ZYRModel {
class MFileTransferItem;
}

namespace Trelan::Oku::ZYRController {

class BFileTransferWorker;

/// Handler of the path-of-a-file query ({"path": [{"id", "name"}, ...]}).
/// Gives the id and name chains joined by slashes, without a leading slash
/// and without the root "/", and the same chains without the last element
/// (the parent's). For /, A, B with ids 1, 7, 9: idPath "7/9", namePath
/// "A/B", parentIdPath "7", parentNamePath "A".
///
/// The transfer queue carries the context of the finished upload it asks
/// about; the handler never dereferences those pointers.
class ZYRCONTROLLER_EXPORT BQueryFilePathHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    explicit BQueryFilePathHandler(BActionFinishedCallerBase* caller);
    ~BQueryFilePathHandler() override;

    QString namePath() const;
    QString parentNamePath() const;
    QString idPath() const;
    QString parentIdPath() const;

    /// Carries an upload's completion through the query (not owned).
    void setTransferContext(BFileTransferWorker* worker, ZYRModel::MFileTransferItem* item, int status,
                            const QString& fileId);
    BFileTransferWorker* worker() const;
    ZYRModel::MFileTransferItem* transferItem() const;
    int transferStatus() const;
    QString fileId() const;

protected:
    void parseReply() override;

private:
    QString m_namePath;
    QString m_parentNamePath;
    QString m_idPath;
    QString m_parentIdPath;
    BFileTransferWorker* m_worker = nullptr;
    ZYRModel::MFileTransferItem* m_transferItem = nullptr;
    int m_transferStatus = 0;
    QString m_fileId;
};

} // namespace Trelan::Oku::ZYRController
