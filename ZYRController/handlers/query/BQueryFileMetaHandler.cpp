// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryFileMetaHandler.h>

#include <ZYRController/BSyncWorker.h>

namespace Trelan::Oku::ZYRController {

BQueryFileMetaHandler::BQueryFileMetaHandler(BActionFinishedCallerBase* caller, QWeakPointer<ZYRModel::MFile> file,
                                             const QString& queriedPath)
    : BFileInfoHandlerBase(caller), m_targetFile(std::move(file)), m_queriedPath(queriedPath),
      m_notifier(new BSyncWorker(this))
{
}

BQueryFileMetaHandler::~BQueryFileMetaHandler()
{
    if (!m_notifier->hasEnded())
        m_notifier->notifyEnded();
}

QWeakPointer<ZYRModel::MFile> BQueryFileMetaHandler::targetFile() const
{
    return m_targetFile;
}

QString BQueryFileMetaHandler::queriedPath() const
{
    return m_queriedPath;
}

ISyncWorker* BQueryFileMetaHandler::notifier() const
{
    return m_notifier;
}

void BQueryFileMetaHandler::notifyEnded()
{
    m_notifier->notifyEnded();
}

} // namespace Trelan::Oku::ZYRController
