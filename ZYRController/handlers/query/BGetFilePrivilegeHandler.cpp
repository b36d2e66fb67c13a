// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BGetFilePrivilegeHandler.h>

#include <ZYRController/BReplyLogging_p.h>
#include <ZYRController/BSyncWorker.h>

#include <cmath>
#include <limits>

namespace Trelan::Oku::ZYRController {

namespace {

constexpr qint32 NoPrivilege = -1;
constexpr qint32 ViewThreshold = 0x7;
constexpr qint32 DownloadThreshold = 0x2F;
constexpr qint32 GrantThreshold = 0x55BF2F; // every privilege

QString applicationDataFolderName()
{
    return QString::fromUtf8("应用数据");
}

// "maxPrivilegeValue" truncated to int; out-of-range numbers saturate rather
// than overflow, NaN counts as 0.
qint32 toPrivilegeValue(double number)
{
    if (std::isnan(number))
        return 0;
    if (number >= static_cast<double>(std::numeric_limits<qint32>::max()))
        return std::numeric_limits<qint32>::max();
    if (number <= static_cast<double>(std::numeric_limits<qint32>::min()))
        return std::numeric_limits<qint32>::min();
    return static_cast<qint32>(number);
}

} // namespace

BGetFilePrivilegeHandler::BGetFilePrivilegeHandler(BActionFinishedCallerBase* caller, const QString& authorityId,
                                                   QWeakPointer<ZYRModel::MFile> parent,
                                                   QWeakPointer<ZYRModel::MFile> file)
    : BReplyHandlerBase(caller), m_authorityId(authorityId), m_parent(std::move(parent)), m_file(std::move(file)),
      m_notifier(new BSyncWorker(this))
{
}

BGetFilePrivilegeHandler::~BGetFilePrivilegeHandler()
{
    if (!m_notifier->hasEnded())
        m_notifier->notifyEnded();
}

QString BGetFilePrivilegeHandler::authorityId() const
{
    return m_authorityId;
}

QWeakPointer<ZYRModel::MFile> BGetFilePrivilegeHandler::parent() const
{
    return m_parent;
}

QWeakPointer<ZYRModel::MFile> BGetFilePrivilegeHandler::file() const
{
    return m_file;
}

const QList<QString>& BGetFilePrivilegeHandler::privileges() const
{
    return m_privileges;
}

bool BGetFilePrivilegeHandler::hasPrivileges() const
{
    return m_privilegesSet;
}

ISyncWorker* BGetFilePrivilegeHandler::notifier() const
{
    return m_notifier;
}

void BGetFilePrivilegeHandler::notifyEnded()
{
    m_notifier->notifyEnded();
}

const QMap<qint32, QString>& BGetFilePrivilegeHandler::privilegeTable()
{
    static const QMap<qint32, QString> table{
        { 0x1, QStringLiteral("enter") },
        { ViewThreshold, QStringLiteral("view") },
        { DownloadThreshold, QStringLiteral("download") },
        { 0xB12F, QStringLiteral("create") },
        { 0xBF2F, QStringLiteral("update") },
        { 0x15BF2F, QStringLiteral("delete") },
        { GrantThreshold, QStringLiteral("grant") },
    };
    return table;
}

bool BGetFilePrivilegeHandler::isInApplicationData() const
{
    QSharedPointer<ZYRModel::MFile> node = m_file.toStrongRef();
    if (!node)
        return false;
    // The node just below the parentless root; the file itself when it has
    // no parent.
    QSharedPointer<ZYRModel::MFile> topLevel = node;
    while (QSharedPointer<ZYRModel::MFile> parent = node->getParent()) {
        topLevel = node;
        node = parent;
    }
    return topLevel->getFileName() == applicationDataFolderName();
}

void BGetFilePrivilegeHandler::parseReply()
{
    if (isInApplicationData()) {
        // The application's own data is readable and shareable whatever the
        // service says; the body is not even read.
        const QMap<qint32, QString>& table = privilegeTable();
        m_privileges = { table.value(ViewThreshold), table.value(DownloadThreshold), table.value(GrantThreshold) };
        m_privilegesSet = true;
        return;
    }

    QJsonObject root;
    if (!readRootObject(root))
        return;
    const QJsonArray authorityList = root.value(QLatin1String("authorityList")).toArray();
    if (m_file.isNull()) {
        qCDebug(lcReply) << "privilege answer for a node that is gone; ignored";
        return;
    }

    qint32 value = NoPrivilege;
    for (const QJsonValue& entryValue : authorityList) {
        const QJsonObject entry = entryValue.toObject();
        if (entry.isEmpty())
            continue;
        const QString authorityId = jsonString(entry.value(QLatin1String("authorityId")));
        if (authorityId.isEmpty() || authorityId != m_authorityId)
            continue;
        // Only the first entry of our authority counts.
        const QString role = jsonString(entry.value(QLatin1String("role")));
        if (role == QLatin1String("CREATOR") || role == QLatin1String("ADMIN"))
            value = GrantThreshold;
        else if (role == QLatin1String("MEMBER"))
            value = toPrivilegeValue(entry.value(QLatin1String("maxPrivilegeValue")).toDouble(0));
        break;
    }
    setPrivilegesFromValue(value);
}

void BGetFilePrivilegeHandler::setPrivilegesFromValue(qint32 value)
{
    m_privileges.clear();
    const QMap<qint32, QString>& table = privilegeTable();
    for (auto it = table.cbegin(); it != table.cend(); ++it) {
        if (it.key() <= value)
            m_privileges.append(it.value());
    }
    m_privilegesSet = true;
}

} // namespace Trelan::Oku::ZYRController
