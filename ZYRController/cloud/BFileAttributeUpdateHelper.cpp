// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BFileAttributeUpdateHelper.h>

#include <ZYRCommon/FileUtils.h>
#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BAddAttributesByPathHandler.h>
#include <ZYRController/BTCloudManager.h>
#include <ZYRModel/MToken.h>
#include <ZYRService/ZYRDocument.h>

#include <QFileInfo>

namespace Trelan::Oku::ZYRController {

using ZYRCommon::FileUtils;

namespace {

// True when \a path is \a folder or lies below it. A bare prefix test would
// put /a/project/x below /a/proj.
bool isInFolder(const QString& path, const QString& folder)
{
    if (!path.startsWith(folder))
        return false;
    return path.size() == folder.size() || folder.endsWith(QLatin1Char('/'))
            || path.at(folder.size()) == QLatin1Char('/');
}

} // namespace

BFileAttributeUpdateHelper::BFileAttributeUpdateHelper(BTCloudManager* manager) : m_cloudManager(manager) { }

BFileAttributeUpdateHelper::~BFileAttributeUpdateHelper() = default;

QString BFileAttributeUpdateHelper::generateUploadedFileKey(const QString& first, const QString& second)
{
    return FileUtils::concat(first, second);
}

void BFileAttributeUpdateHelper::addUploadedFileAttributes(const QString& first, const QString& remoteFolder,
                                                           const QList<QString>& localPaths,
                                                           const QMap<QString, Attributes>& attributesByLocalFile)
{
    if (first.isEmpty() || remoteFolder.isEmpty() || localPaths.isEmpty() || attributesByLocalFile.isEmpty())
        return;

    QMap<QString, QString> folderNames; // normalised local folder → its own name
    for (const QString& localPath : localPaths) {
        const QString path = FileUtils::formatPath(localPath);
        const QFileInfo info(path);
        if (info.isDir())
            folderNames.insert(path, info.fileName());
    }

    for (auto file = attributesByLocalFile.cbegin(); file != attributesByLocalFile.cend(); ++file) {
        const QString filePath = FileUtils::formatPath(file.key());
        QString remotePath = FileUtils::concat(remoteFolder, FileUtils::getFileName(filePath));
        for (auto folder = folderNames.cbegin(); folder != folderNames.cend(); ++folder) {
            if (isInFolder(filePath, folder.key())) {
                const QString relative = filePath.mid(folder.key().size());
                remotePath = FileUtils::concat(remoteFolder, FileUtils::concat(folder.value(), relative));
                break;
            }
        }
        Attributes& pending = m_pendingAttributes[generateUploadedFileKey(first, remotePath)];
        for (auto attribute = file.value().cbegin(); attribute != file.value().cend(); ++attribute)
            pending.insert(attribute.key(), attribute.value());
    }
}

const QMap<QString, BFileAttributeUpdateHelper::Attributes>& BFileAttributeUpdateHelper::pendingAttributes() const
{
    return m_pendingAttributes;
}

void BFileAttributeUpdateHelper::slotFileUploaded(const QString& first, const QString& remotePath)
{
    if (m_pendingAttributes.isEmpty())
        return;
    const auto pending = m_pendingAttributes.constFind(generateUploadedFileKey(first, remotePath));
    // The entry stays until the answer: a second report sends again.
    if (pending != m_pendingAttributes.cend())
        addAttributesByPath(first, remotePath, pending.value());
}

void BFileAttributeUpdateHelper::addAttributesByPath(const QString& first, const QString& remotePath,
                                                     const Attributes& attributes)
{
    auto* caller = new BActionFinishedCaller<BFileAttributeUpdateHelper>(
            this, &BFileAttributeUpdateHelper::onAddAttributesByPathFinished);
    auto* handler = new BAddAttributesByPathHandler(caller, first, remotePath, attributes);
    ZYRService::ZYRDocument::AddAttributesByPath(getToken(), first, remotePath, attributes, handler);
}

void BFileAttributeUpdateHelper::onAddAttributesByPathFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    auto* added = static_cast<BAddAttributesByPathHandler*>(handler);
    m_pendingAttributes.remove(generateUploadedFileKey(added->first(), added->remotePath()));
    // Deliberately only the status: the answer's "message" is not consulted.
    if (!added->isStatusOk())
        return;
    Q_EMIT addAttributesByPathFinished(added->first(), added->remotePath(), added->attributes());
}

QString BFileAttributeUpdateHelper::getToken() const
{
    if (m_cloudManager && m_cloudManager->getToken())
        return m_cloudManager->getToken()->getAccessToken();
    return QString();
}

} // namespace Trelan::Oku::ZYRController
