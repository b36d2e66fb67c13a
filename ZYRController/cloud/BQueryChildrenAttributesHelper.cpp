// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryChildrenAttributesHelper.h>

#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BCloudHandler_p.h>
#include <ZYRController/BQueryAttributesHandler.h>
#include <ZYRController/BTCloudManager.h>
#include <ZYRModel/MToken.h>
#include <ZYRService/ZYRDocument.h>

namespace Trelan::Oku::ZYRController {

using ZYRModel::MFile;
using AttributesHandler = BCloudHandler<BQueryAttributesHandler>;

BQueryChildrenAttributesHelper::BQueryChildrenAttributesHelper(BTCloudManager* manager) : m_cloudManager(manager) { }

BQueryChildrenAttributesHelper::~BQueryChildrenAttributesHelper() = default;

bool BQueryChildrenAttributesHelper::queryChildrenAttributes(QWeakPointer<MFile> folder)
{
    const QSharedPointer<MFile> node = folder.toStrongRef();
    if (!node || !node->getIsFolder() || node->getChildren().isEmpty())
        return false;
    m_pendingFolders.remove(node->getId());

    qint32 skipped = 0;
    QList<QSharedPointer<MFile>> toQuery;
    for (const QSharedPointer<MFile>& child : node->getChildren()) {
        if (!child || child->hasStatus(MFile::StatusAttributesLoaded))
            ++skipped;
        else
            toQuery.append(child);
    }
    if (toQuery.isEmpty())
        return true;

    m_pendingFolders.insert(node->getId(), PendingFolder{ folder, skipped });
    for (const QSharedPointer<MFile>& child : std::as_const(toQuery)) {
        queryChildAttributes(child);
        // Its next answer counts again.
        const qsizetype index = indexOfAnswered(child.data());
        if (index >= 0)
            m_answeredChildren.removeAt(index);
    }
    return true;
}

void BQueryChildrenAttributesHelper::queryChildAttributes(const QSharedPointer<MFile>& child)
{
    // Without a token nothing is sent, and the folder never completes.
    if (!child || !m_cloudManager || !m_cloudManager->getToken())
        return;
    auto* caller = new BActionFinishedCaller<BQueryChildrenAttributesHelper>(
            this, &BQueryChildrenAttributesHelper::onQueryAttributesFinished);
    auto* handler = new AttributesHandler(caller, child);
    ZYRService::ZYRDocument::QueryAttributes(m_cloudManager->getToken()->getAccessToken(), child->getWorkspaceId(),
                                             child->getId(), false, handler, QString());
}

void BQueryChildrenAttributesHelper::onQueryAttributesFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* answer = static_cast<BQueryAttributesHandler*>(handler);
    const QSharedPointer<MFile> child = answer->child().toStrongRef();
    if (!child)
        return;
    // A failed answer, or one that is not JSON, still counts as an answer.
    const auto* state = dynamic_cast<const BCloudHandlerState*>(handler);
    if (answer->isStatusOk() && (!state || state->isAnswerReadable()))
        child->setAttributes(answer->attributes());

    const bool alreadyAnswered = indexOfAnswered(child.data()) >= 0;
    if (!alreadyAnswered)
        m_answeredChildren.append(child);

    const auto pending = m_pendingFolders.find(child->getParentId());
    if (pending == m_pendingFolders.end())
        return;
    const QSharedPointer<MFile> folder = pending->folder.toStrongRef();
    if (!folder) {
        m_pendingFolders.erase(pending);
        return;
    }
    if (!alreadyAnswered)
        ++pending->answered;
    if (folder->getChildren().size() != pending->answered)
        return;

    m_pendingFolders.erase(pending);
    for (const QSharedPointer<MFile>& done : folder->getChildren()) {
        const qsizetype index = indexOfAnswered(done.data());
        if (index >= 0)
            m_answeredChildren.removeAt(index);
    }
    Q_EMIT childrenAttributesQueried(folder);
}

qsizetype BQueryChildrenAttributesHelper::indexOfAnswered(const MFile* child) const
{
    for (qsizetype i = m_answeredChildren.size() - 1; i >= 0; --i) {
        if (m_answeredChildren.at(i).toStrongRef().data() == child)
            return i;
    }
    return -1;
}

} // namespace Trelan::Oku::ZYRController
