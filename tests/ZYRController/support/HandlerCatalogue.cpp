// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <HandlerCatalogue.h>

#include <ZYRController/BAddAttributesByPathHandler.h>
#include <ZYRController/BAddFavoriteFilesHandler.h>
#include <ZYRController/BCopyFilesHandler.h>
#include <ZYRController/BCreateFolderHandler.h>
#include <ZYRController/BDeleteFilesHandler.h>
#include <ZYRController/BFileSimpleResultHandler.h>
#include <ZYRController/BGetFilePathHandler.h>
#include <ZYRController/BGetFilePrivilegeHandler.h>
#include <ZYRController/BLoginHandler.h>
#include <ZYRController/BQueryAllWorkspaceHandler.h>
#include <ZYRController/BQueryAttributesHandler.h>
#include <ZYRController/BQueryChildrenByInfoHandler.h>
#include <ZYRController/BQueryChildrenHandler.h>
#include <ZYRController/BQueryFavoriteFilesHandler.h>
#include <ZYRController/BQueryFileMetaHandler.h>
#include <ZYRController/BQueryFilePathHandler.h>
#include <ZYRController/BQueryFileThumbnailHandler.h>
#include <ZYRController/BQueryShareLinksHandler.h>
#include <ZYRController/BQueryTargetLoginTokenHandler.h>
#include <ZYRController/BQueryUserAvatarHandler.h>
#include <ZYRController/BQueryUserInfoHandler.h>
#include <ZYRController/BQueryViewcodeHandler.h>
#include <ZYRController/BQueryWorkspaceLogoHandler.h>
#include <ZYRController/BQueryWorkspaceQuotaHandler.h>
#include <ZYRController/BRemoveFavoriteFilesHandler.h>
#include <ZYRController/BRemoveShareLinksHandler.h>
#include <ZYRController/BRenameFileHandler.h>
#include <ZYRController/BSimpleResultHandler.h>
#include <ZYRController/BUpdateShareLinkHandler.h>

#include <ZYRModel/MDocumentViewcode.h>
#include <ZYRModel/MToken.h>
#include <ZYRModel/MUser.h>
#include <ZYRModel/MWorkspace.h>
#include <ZYRModel/MWorkspaceQuota.h>

#include <functional>
#include <memory>

namespace Trelan::Oku::ZYRTest {

using namespace ZYRController;
using ZYRModel::MFile;
using FilePtr = QSharedPointer<MFile>;
using Factory = std::function<BReplyHandlerBase*(BActionFinishedCallerBase*)>;

namespace {

// / → Design → a.dwg, alive for the whole run: handlers hold nodes weakly.
const QList<FilePtr>& sampleTree()
{
    static const QList<FilePtr> tree
            = makeChain({ QStringLiteral("/"), QStringLiteral("Design"), QStringLiteral("a.dwg") });
    return tree;
}

template <typename Handler, typename... Context>
QPair<QByteArray, Factory> entry(Context... context)
{
    const QByteArray qualified = Handler::staticMetaObject.className();
    return { qualified.mid(qualified.lastIndexOf(':') + 1),
             [=](BActionFinishedCallerBase* caller) { return new Handler(caller, context...); } };
}

const QList<QPair<QByteArray, Factory>>& factories()
{
    static const QList<QPair<QByteArray, Factory>> list = [] {
        const QString ws = QStringLiteral("w1");
        const QWeakPointer<MFile> folder = sampleTree().at(1);
        const QWeakPointer<MFile> file = sampleTree().at(2);
        const QList<QWeakPointer<MFile>> files{ file };
        const QMap<QString, QString> attributes{ { QStringLiteral("k"), QStringLiteral("v") } };
        return QList<QPair<QByteArray, Factory>>{
            entry<BSimpleResultHandler>(),
            entry<BLoginHandler>(),
            entry<BQueryUserInfoHandler>(),
            entry<BQueryUserAvatarHandler>(QStringLiteral("u1")),
            entry<BQueryTargetLoginTokenHandler>(QStringLiteral("https://target.example/")),
            entry<BQueryAllWorkspaceHandler>(false),
            entry<BQueryWorkspaceQuotaHandler>(ws),
            entry<BQueryWorkspaceLogoHandler>(ws),
            entry<BQueryChildrenHandler>(ws, FilePtr()),
            entry<BQueryChildrenByInfoHandler>(ws, QStringLiteral("/Design"), true),
            entry<BQueryFavoriteFilesHandler>(ws),
            entry<BQueryShareLinksHandler>(ws),
            entry<BFileInfoHandlerBase>(),
            entry<BQueryFileMetaHandler>(file, QString()),
            entry<BGetFilePathHandler>(ws, QStringLiteral("n2")),
            entry<BQueryFilePathHandler>(),
            entry<BQueryAttributesHandler>(file),
            entry<BQueryFileThumbnailHandler>(file),
            entry<BQueryViewcodeHandler>(ws, file),
            entry<BGetFilePrivilegeHandler>(QStringLiteral("u1"), folder, file),
            entry<BCreateFolderHandler>(ws, folder, QWeakPointer<MFile>(), QStringLiteral("New")),
            entry<BRenameFileHandler>(ws, file, QStringLiteral("a.dwg"), QStringLiteral("b.dwg")),
            entry<BCopyFilesHandler>(ws, folder, folder, files, false),
            entry<BDeleteFilesHandler>(ws, folder, files),
            entry<BCreateShareLinkHandler>(ws),
            entry<BUpdateShareLinkHandler>(ws, QWeakPointer<ZYRModel::MFileShareLink>()),
            entry<BAddAttributesHandler>(file, attributes),
            entry<BAddAttributesByPathHandler>(ws, QStringLiteral("/Design/a.dwg"), attributes),
            entry<BAddFavoriteFilesHandler>(ws, files),
            entry<BRemoveFavoriteFilesHandler>(ws, files),
            entry<BRemoveShareLinksHandler>(ws, QList<QWeakPointer<ZYRModel::MFileShareLink>>()),
            entry<BFileSimpleResultHandler>(ws, files),
        };
    }();
    return list;
}

QStringList flag(bool success)
{
    return { success ? QStringLiteral("success") : QStringLiteral("failure") };
}

// Takes the record the way owners do (release true) and describes it.
template <typename Record>
QStringList taken(Record* raw, const std::function<QString(const Record&)>& describe)
{
    const std::unique_ptr<Record> record(raw);
    return record ? QStringList{ describe(*record) } : QStringList();
}

template <typename List, typename Describe>
QStringList each(const List& list, Describe describe)
{
    QStringList out;
    for (const auto& element : list)
        out << describe(element);
    return out;
}

QStringList filesIn(const QList<FilePtr>& files)
{
    return each(files, [](const FilePtr& file) { return file->getFileName() + u'@' + file->getWorkspaceId(); });
}

QStringList nodeIn(const FilePtr& file)
{
    return file ? QStringList{ file->getId() + u' ' + file->getFileName() } : QStringList();
}

} // namespace

QList<FilePtr> makeChain(const QStringList& names)
{
    QList<FilePtr> nodes;
    for (const QString& name : names) {
        auto node = FilePtr::create();
        node->setFileName(name);
        node->setId(QStringLiteral("n%1").arg(nodes.size()));
        if (!nodes.isEmpty())
            MFile::setChildren({ node }, nodes.last());
        nodes.append(node);
    }
    return nodes;
}

QByteArrayList handlerClasses()
{
    QByteArrayList names;
    for (const auto& factory : factories())
        names << factory.first;
    return names;
}

BReplyHandlerBase* makeHandler(const QByteArray& className, BActionFinishedCallerBase* caller)
{
    for (const auto& factory : factories()) {
        if (factory.first == className)
            return factory.second(caller);
    }
    BActionFinishedCallerBase::destroy(caller);
    return nullptr;
}

QStringList parsedResults(BReplyHandlerBase* handler)
{
    // Subclasses that parse like their base are read through the base.
    if (auto* h = qobject_cast<BSimpleResultHandler*>(handler))
        return flag(h->isSuccess());
    if (auto* h = qobject_cast<BAddAttributesHandler*>(handler))
        return flag(h->isSuccess());
    if (auto* h = qobject_cast<BDeleteFilesHandler*>(handler))
        return flag(h->isSuccess());
    if (auto* h = qobject_cast<BLoginHandler*>(handler))
        return taken<ZYRModel::MToken>(h->takeToken(true), [](auto& t) { return t.getAccessToken(); });
    if (auto* h = qobject_cast<BQueryUserInfoHandler*>(handler))
        return taken<ZYRModel::MUser>(h->takeUser(true), [](auto& u) { return u.getId(); });
    if (auto* h = qobject_cast<BQueryWorkspaceQuotaHandler*>(handler))
        return taken<ZYRModel::MWorkspaceQuota>(h->takeQuota(true), [](auto& q) {
            return QStringLiteral("%1 %2/%3").arg(q.getWorkspaceId()).arg(q.getUsedSize()).arg(q.getTotalSize());
        });
    if (auto* h = qobject_cast<BQueryViewcodeHandler*>(handler))
        return taken<ZYRModel::MDocumentViewcode>(h->takeViewcode(true),
                                                  [](auto& v) { return v.getViewcode() + u' ' + v.getViewURL(); });
    if (auto* h = qobject_cast<BQueryUserAvatarHandler*>(handler))
        return { QString::fromLatin1(h->avatarData()) };
    if (auto* h = qobject_cast<BQueryWorkspaceLogoHandler*>(handler))
        return { QString::fromLatin1(h->logoData()) };
    if (auto* h = qobject_cast<BQueryFileThumbnailHandler*>(handler))
        return { QString::fromLatin1(h->thumbnailData()) };
    if (auto* h = qobject_cast<BQueryTargetLoginTokenHandler*>(handler))
        return { h->loginToken() };
    if (auto* h = qobject_cast<BQueryAllWorkspaceHandler*>(handler))
        return each(*h->workspaces(), [](auto* workspace) { return workspace->getId() + u' ' + workspace->getName(); });
    if (auto* h = qobject_cast<BQueryChildrenHandler*>(handler))
        return filesIn(h->children());
    if (auto* h = qobject_cast<BQueryChildrenByInfoHandler*>(handler))
        return filesIn(h->children());
    if (auto* h = qobject_cast<BQueryFavoriteFilesHandler*>(handler))
        return filesIn(h->files());
    if (auto* h = qobject_cast<BQueryShareLinksHandler*>(handler))
        return each(h->shareLinks(), [](const auto& link) { return link->getToken(); });
    if (auto* h = qobject_cast<BCreateShareLinkHandler*>(handler))
        return h->shareLink() ? QStringList{ h->shareLink()->getToken() } : QStringList();
    if (auto* h = qobject_cast<BFileInfoHandlerBase*>(handler))
        return nodeIn(h->file());
    if (auto* h = qobject_cast<BCreateFolderHandler*>(handler))
        return nodeIn(h->file());
    if (auto* h = qobject_cast<BRenameFileHandler*>(handler))
        return nodeIn(h->file());
    if (auto* h = qobject_cast<BCopyFilesHandler*>(handler))
        return nodeIn(h->file())
                + each(h->files(), [](const FilePtr& file) { return QStringLiteral("files: ") + file->getId(); });
    if (auto* h = qobject_cast<BGetFilePathHandler*>(handler))
        return QStringList{ h->namePath() }
        + each(h->filePath().getPath(), [](const auto& item) { return item.id + u'=' + item.name; });
    if (auto* h = qobject_cast<BQueryFilePathHandler*>(handler))
        return { h->idPath(), h->namePath(), h->parentIdPath(), h->parentNamePath() };
    if (auto* h = qobject_cast<BQueryAttributesHandler*>(handler)) {
        const QMap<QString, QString>& map = h->attributes();
        return each(map.keys(), [&map](const QString& key) { return key + u'=' + map.value(key); });
    }
    if (auto* h = qobject_cast<BGetFilePrivilegeHandler*>(handler))
        return h->hasPrivileges() ? QStringList(h->privileges()) : QStringList{ QStringLiteral("unset") };
    return {}; // handlers that read no body
}

} // namespace Trelan::Oku::ZYRTest
