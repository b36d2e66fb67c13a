// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QWeakPointer>

#include <memory>

namespace Trelan::Oku::ZYRModel {
class MDocumentViewcode;
}

namespace Trelan::Oku::ZYRController {

/// Handler of a document's viewcode query: a 200 JSON object becomes an
/// MDocumentViewcode, owned by the handler until takeViewcode(true). The
/// workspace id and the node ride along for the owner's signal.
class ZYRCONTROLLER_EXPORT BQueryViewcodeHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BQueryViewcodeHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                          QWeakPointer<ZYRModel::MFile> file);
    ~BQueryViewcodeHandler() override;

    QString workspaceId() const;
    QWeakPointer<ZYRModel::MFile> file() const;
    /// The parsed viewcode, or null. With \a release the caller becomes its
    /// owner and the handler forgets it; without, the handler keeps it.
    ZYRModel::MDocumentViewcode* takeViewcode(bool release);

protected:
    void parseReply() override;

private:
    QString m_workspaceId;
    QWeakPointer<ZYRModel::MFile> m_file;
    std::unique_ptr<ZYRModel::MDocumentViewcode> m_viewcode;
};

} // namespace Trelan::Oku::ZYRController
