// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRCommon/TransferItemDBManager.h>

#include <ZYRCommon/ApplicationSettings.h>

#include "StoreConnection_p.h"

#include <QFileInfo>
#include <QSqlQuery>
#include <QVariant>

namespace Trelan::Oku::ZYRCommon {

using ZYRModel::MFileTransferItem;

namespace {

// 1: the records; 2: the failure reason of a Failed record.
constexpr int SchemaVersion = 2;

const StoreConnection::Schema& schema()
{
    static const StoreConnection::Schema s{ SchemaVersion,
                                            { QStringLiteral("CREATE TABLE IF NOT EXISTS transfer_items ("
                                                             " id TEXT PRIMARY KEY NOT NULL,"
                                                             " user_id TEXT NOT NULL DEFAULT '',"
                                                             " file_id TEXT NOT NULL DEFAULT '',"
                                                             " is_download INTEGER NOT NULL DEFAULT 0,"
                                                             " local_path TEXT NOT NULL DEFAULT '',"
                                                             " remote_parent_path TEXT NOT NULL DEFAULT '',"
                                                             " remote_path TEXT NOT NULL DEFAULT '',"
                                                             " size INTEGER NOT NULL DEFAULT 0,"
                                                             " bytes_completed INTEGER NOT NULL DEFAULT 0,"
                                                             " workspace_id TEXT NOT NULL DEFAULT '',"
                                                             " create_time INTEGER,"
                                                             " update_time INTEGER,"
                                                             " status INTEGER NOT NULL DEFAULT 0)"),
                                              QStringLiteral("CREATE INDEX IF NOT EXISTS transfer_items_user_status"
                                                             " ON transfer_items (user_id, status)"),
                                              // Runs once, from version 0 or 1 alike: the table
                                              // above is the first version's.
                                              QStringLiteral("ALTER TABLE transfer_items ADD COLUMN"
                                                             " failure_reason INTEGER NOT NULL DEFAULT 0") } };
    return s;
}

// Column order shared by the SELECTs and readItem().
const QLatin1String Columns("id, user_id, file_id, is_download, local_path, remote_parent_path,"
                            " remote_path, size, bytes_completed, workspace_id, create_time,"
                            " update_time, status, failure_reason");

// A null QString would be bound as SQL NULL; the text columns hold '' instead.
QVariant text(const QString& value)
{
    return value.isNull() ? QVariant(QString(QLatin1String(""))) : QVariant(value);
}

// Milliseconds since the epoch; NULL for an unset time.
QVariant time(const QDateTime& value)
{
    return value.isValid() ? QVariant(value.toMSecsSinceEpoch()) : QVariant();
}

// Read back in UTC: the same instant as what was stored (QDateTime compares
// instants), without a time-zone lookup in whichever thread reads.
QDateTime timeAt(const QSqlQuery& query, int column)
{
    return query.isNull(column) ? QDateTime()
                                : QDateTime::fromMSecsSinceEpoch(query.value(column).toLongLong(), Qt::UTC);
}

// Binds the fields in the order of the INSERT's columns; UPDATE uses the same
// order with the id moved to the end.
void bindFields(QSqlQuery& query, const MFileTransferItem& item)
{
    query.addBindValue(text(item.getUserId()));
    query.addBindValue(text(item.getFileId()));
    query.addBindValue(item.getIsDownload() ? 1 : 0);
    query.addBindValue(text(item.getLocalPath()));
    query.addBindValue(text(item.getRemoteParentPath()));
    query.addBindValue(text(item.getRemotePath()));
    query.addBindValue(item.getSize());
    query.addBindValue(item.getBytesCompleted());
    query.addBindValue(text(item.getWorkspaceId()));
    query.addBindValue(time(item.getCreateTime()));
    query.addBindValue(time(item.getUpdateTime()));
    query.addBindValue(static_cast<int>(item.getStatus()));
    query.addBindValue(static_cast<int>(item.getFailureReason()));
}

MFileTransferItem readItem(const QSqlQuery& query)
{
    MFileTransferItem item;
    item.setId(query.value(0).toString());
    item.setUserId(query.value(1).toString());
    item.setFileId(query.value(2).toString());
    item.setIsDownload(query.value(3).toInt() != 0);
    item.setLocalPath(query.value(4).toString());
    item.setRemoteParentPath(query.value(5).toString());
    item.setRemotePath(query.value(6).toString());
    item.setSize(query.value(7).toLongLong());
    item.setBytesCompleted(query.value(8).toLongLong());
    item.setWorkspaceId(query.value(9).toString());
    item.setCreateTime(timeAt(query, 10));
    item.setUpdateTime(timeAt(query, 11));
    item.setStatus(static_cast<MFileTransferItem::TransferStatus>(query.value(12).toInt()));
    item.setFailureReason(static_cast<MFileTransferItem::FailureReason>(query.value(13).toInt()));
    return item;
}

bool hasId(const MFileTransferItem* item, const char* what)
{
    if (item && !item->getId().isEmpty())
        return true;
    qCWarning(lcStore) << what << "refused:" << (item ? "record without id" : "null record");
    return false;
}

const QString InsertSql
        = QStringLiteral("INSERT OR REPLACE INTO transfer_items (id, user_id, file_id, is_download, local_path,"
                         " remote_parent_path, remote_path, size, bytes_completed, workspace_id, create_time,"
                         " update_time, status, failure_reason) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
const QString UpdateSql
        = QStringLiteral("UPDATE transfer_items SET user_id = ?, file_id = ?, is_download = ?, local_path = ?,"
                         " remote_parent_path = ?, remote_path = ?, size = ?, bytes_completed = ?, workspace_id = ?,"
                         " create_time = ?, update_time = ?, status = ?, failure_reason = ? WHERE id = ?");
const QString DeleteSql = QStringLiteral("DELETE FROM transfer_items WHERE id = ?");

bool insertPrepared(QSqlQuery& query, const MFileTransferItem& item)
{
    query.addBindValue(item.getId());
    bindFields(query, item);
    return StoreConnection::exec(query, "transfer insert");
}

bool updatePrepared(QSqlQuery& query, const MFileTransferItem& item)
{
    bindFields(query, item);
    query.addBindValue(item.getId());
    return StoreConnection::exec(query, "transfer update");
}

bool deletePrepared(QSqlQuery& query, const QString& id)
{
    query.addBindValue(id);
    return StoreConnection::exec(query, "transfer delete");
}

} // namespace

TransferItemDBManager::TransferItemDBManager(const QString& databasePath, const QString& connectionPrefix)
    : m_databasePath(databasePath.isEmpty() ? ApplicationSettings::databaseLocation() + QStringLiteral("/transfer.db")
                                            : QFileInfo(databasePath).absoluteFilePath()),
      m_connectionPrefix(connectionPrefix.isEmpty() ? QStringLiteral("zyr.transfer") : connectionPrefix)
{
}

TransferItemDBManager::~TransferItemDBManager()
{
    // Other threads' connections end with their threads; this thread's one
    // is reopened on demand by any other manager of the same file.
    StoreConnection::release(m_connectionPrefix, m_databasePath);
}

const QString& TransferItemDBManager::databasePath() const
{
    return m_databasePath;
}

bool TransferItemDBManager::insertItem(const MFileTransferItem* item)
{
    if (!hasId(item, "transfer insert"))
        return false;
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    QSqlQuery query(db);
    return StoreConnection::prepare(query, InsertSql, "transfer insert") && insertPrepared(query, *item);
}

bool TransferItemDBManager::insertItems(const QList<MFileTransferItem*>& items)
{
    for (const MFileTransferItem* item : items) {
        if (!hasId(item, "transfer insert"))
            return false;
    }
    if (items.isEmpty())
        return true;
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    return StoreConnection::forEachInTransaction(
            db, InsertSql, "transfer insert", items,
            [](QSqlQuery& query, const MFileTransferItem* item) { return insertPrepared(query, *item); });
}

bool TransferItemDBManager::updateItem(const MFileTransferItem* item)
{
    if (!hasId(item, "transfer update"))
        return false;
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    QSqlQuery query(db);
    return StoreConnection::prepare(query, UpdateSql, "transfer update") && updatePrepared(query, *item);
}

bool TransferItemDBManager::updateItems(const QList<MFileTransferItem>& items)
{
    for (const MFileTransferItem& item : items) {
        if (!hasId(&item, "transfer update"))
            return false;
    }
    if (items.isEmpty())
        return true;
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    return StoreConnection::forEachInTransaction(
            db, UpdateSql, "transfer update", items,
            [](QSqlQuery& query, const MFileTransferItem& item) { return updatePrepared(query, item); });
}

bool TransferItemDBManager::deleteItem(const MFileTransferItem* item)
{
    if (!hasId(item, "transfer delete"))
        return false;
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    QSqlQuery query(db);
    return StoreConnection::prepare(query, DeleteSql, "transfer delete") && deletePrepared(query, item->getId());
}

bool TransferItemDBManager::deleteItems(const QList<MFileTransferItem*>& items)
{
    for (const MFileTransferItem* item : items) {
        if (!hasId(item, "transfer delete"))
            return false;
    }
    if (items.isEmpty())
        return true;
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    return StoreConnection::forEachInTransaction(
            db, DeleteSql, "transfer delete", items,
            [](QSqlQuery& query, const MFileTransferItem* item) { return deletePrepared(query, item->getId()); });
}

bool TransferItemDBManager::getUnfinishedItems(const QString& userId, QList<MFileTransferItem>& items)
{
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    QSqlQuery query(db);
    query.setForwardOnly(true);
    if (!StoreConnection::prepare(query,
                                  QStringLiteral("SELECT ") + Columns
                                          + QStringLiteral(" FROM transfer_items WHERE user_id = ? AND status <> ?"
                                                           " ORDER BY create_time, rowid"),
                                  "transfer read"))
        return false;
    query.addBindValue(text(userId));
    query.addBindValue(static_cast<int>(MFileTransferItem::Finished));
    if (!StoreConnection::exec(query, "transfer read"))
        return false;
    QList<MFileTransferItem> read;
    while (query.next())
        read.append(readItem(query));
    items.append(read);
    return true;
}

bool TransferItemDBManager::getFinishedItems(const QString& userId, QList<MFileTransferItem>& items, int limit)
{
    if (limit < 0) {
        qCWarning(lcStore) << "finished records: negative limit" << limit;
        return false;
    }
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    QSqlQuery query(db);
    query.setForwardOnly(true);
    if (!StoreConnection::prepare(query,
                                  QStringLiteral("SELECT ") + Columns
                                          + QStringLiteral(" FROM transfer_items WHERE user_id = ? AND status = ?"
                                                           " ORDER BY update_time DESC, rowid DESC LIMIT ?"),
                                  "transfer read"))
        return false;
    query.addBindValue(text(userId));
    query.addBindValue(static_cast<int>(MFileTransferItem::Finished));
    query.addBindValue(limit);
    if (!StoreConnection::exec(query, "transfer read"))
        return false;
    QList<MFileTransferItem> read;
    while (query.next())
        read.append(readItem(query));
    items.append(read);
    return true;
}

} // namespace Trelan::Oku::ZYRCommon
