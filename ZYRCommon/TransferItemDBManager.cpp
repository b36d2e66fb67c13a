// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRCommon/TransferItemDBManager.h>

#include "StoreConnection_p.h"

#include <QSqlQuery>

namespace Trelan::Oku::ZYRCommon {

using ZYRModel::MFileTransferItem;

namespace {

// 1: the records; 2: the failure reason of a Failed record.
constexpr int SchemaVersion = 2;

StoreConnection::Schema schema()
{
    return { SchemaVersion,
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
               // Runs once, from version 0 or 1 alike: the table above is the first version's.
               QStringLiteral("ALTER TABLE transfer_items ADD COLUMN"
                              " failure_reason INTEGER NOT NULL DEFAULT 0") } };
}

// Column order shared by the SELECTs and readItem().
const QLatin1String Columns("id, user_id, file_id, is_download, local_path, remote_parent_path,"
                            " remote_path, size, bytes_completed, workspace_id, create_time,"
                            " update_time, status, failure_reason");

const QString InsertSql
        = QStringLiteral("INSERT OR REPLACE INTO transfer_items (id, user_id, file_id, is_download, local_path,"
                         " remote_parent_path, remote_path, size, bytes_completed, workspace_id, create_time,"
                         " update_time, status, failure_reason) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
const QString UpdateSql
        = QStringLiteral("UPDATE transfer_items SET user_id = ?, file_id = ?, is_download = ?, local_path = ?,"
                         " remote_parent_path = ?, remote_path = ?, size = ?, bytes_completed = ?, workspace_id = ?,"
                         " create_time = ?, update_time = ?, status = ?, failure_reason = ? WHERE id = ?");
const QString DeleteSql = QStringLiteral("DELETE FROM transfer_items WHERE id = ?");

// The fields in the order of the INSERT's columns after the id; the UPDATE
// binds them first and the id last.
QVariantList fields(const MFileTransferItem& item)
{
    return { sqlText(item.getUserId()),
             sqlText(item.getFileId()),
             item.getIsDownload() ? 1 : 0,
             sqlText(item.getLocalPath()),
             sqlText(item.getRemoteParentPath()),
             sqlText(item.getRemotePath()),
             item.getSize(),
             item.getBytesCompleted(),
             sqlText(item.getWorkspaceId()),
             sqlTime(item.getCreateTime()),
             sqlTime(item.getUpdateTime()),
             static_cast<int>(item.getStatus()),
             static_cast<int>(item.getFailureReason()) };
}

QVariantList insertValues(const MFileTransferItem& item)
{
    return QVariantList{ item.getId() } + fields(item);
}

QVariantList updateValues(const MFileTransferItem& item)
{
    return fields(item) << item.getId();
}

QVariantList deleteValues(const MFileTransferItem& item)
{
    return { item.getId() };
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
    item.setCreateTime(sqlTimeAt(query, 10));
    item.setUpdateTime(sqlTimeAt(query, 11));
    item.setStatus(static_cast<MFileTransferItem::TransferStatus>(query.value(12).toInt()));
    item.setFailureReason(static_cast<MFileTransferItem::FailureReason>(query.value(13).toInt()));
    return item;
}

bool hasId(const MFileTransferItem* item, const char* what)
{
    return (item && !item->getId().isEmpty())
            || StoreConnection::refuse(what, item ? "record without id" : "null record");
}

const MFileTransferItem* recordOf(const MFileTransferItem* item)
{
    return item;
}

const MFileTransferItem* recordOf(const MFileTransferItem& item)
{
    return &item;
}

// Writes every record with \a sql in one transaction, or none at all when one
// of them is refused.
template <typename List>
bool writeAll(const StoreConnection& store, const char* what, const QString& sql, const List& items,
              QVariantList (*values)(const MFileTransferItem&))
{
    QList<QVariantList> rows;
    for (const auto& item : items) {
        const MFileTransferItem* record = recordOf(item);
        if (!hasId(record, what))
            return false;
        rows.append(values(*record));
    }
    return store.execEach(what, sql, rows);
}

// Appends the records that \a condition (the query after WHERE) selects.
bool readWhere(const StoreConnection& store, const char* condition, const QVariantList& values,
               QList<MFileTransferItem>& items)
{
    QList<MFileTransferItem> read;
    if (!store.exec("transfer read",
                    QStringLiteral("SELECT ") + Columns + QStringLiteral(" FROM transfer_items WHERE ")
                            + QLatin1String(condition),
                    values, [&read](const QSqlQuery& query) { read.append(readItem(query)); }))
        return false;
    // Only a whole answer reaches the caller.
    items.append(read);
    return true;
}

} // namespace

TransferItemDBManager::TransferItemDBManager(const QString& databasePath, const QString& connectionPrefix)
    : d(std::make_unique<StoreConnection>(QStringLiteral("transfer"), databasePath, connectionPrefix, schema()))
{
}

TransferItemDBManager::~TransferItemDBManager() = default;

const QString& TransferItemDBManager::databasePath() const
{
    return d->path();
}

bool TransferItemDBManager::insertItem(const MFileTransferItem* item)
{
    return hasId(item, "transfer insert") && d->exec("transfer insert", InsertSql, insertValues(*item));
}

bool TransferItemDBManager::insertItems(const QList<MFileTransferItem*>& items)
{
    return writeAll(*d, "transfer insert", InsertSql, items, insertValues);
}

bool TransferItemDBManager::updateItem(const MFileTransferItem* item)
{
    return hasId(item, "transfer update") && d->exec("transfer update", UpdateSql, updateValues(*item));
}

bool TransferItemDBManager::updateItems(const QList<MFileTransferItem>& items)
{
    return writeAll(*d, "transfer update", UpdateSql, items, updateValues);
}

bool TransferItemDBManager::deleteItem(const MFileTransferItem* item)
{
    return hasId(item, "transfer delete") && d->exec("transfer delete", DeleteSql, deleteValues(*item));
}

bool TransferItemDBManager::deleteItems(const QList<MFileTransferItem*>& items)
{
    return writeAll(*d, "transfer delete", DeleteSql, items, deleteValues);
}

bool TransferItemDBManager::getUnfinishedItems(const QString& userId, QList<MFileTransferItem>& items)
{
    return readWhere(*d, "user_id = ? AND status <> ? ORDER BY create_time, rowid",
                     { sqlText(userId), static_cast<int>(MFileTransferItem::Finished) }, items);
}

bool TransferItemDBManager::getFinishedItems(const QString& userId, QList<MFileTransferItem>& items, int limit)
{
    if (limit < 0) {
        qCWarning(lcStore) << "finished records: negative limit" << limit;
        return false;
    }
    return readWhere(*d, "user_id = ? AND status = ? ORDER BY update_time DESC, rowid DESC LIMIT ?",
                     { sqlText(userId), static_cast<int>(MFileTransferItem::Finished), limit }, items);
}

} // namespace Trelan::Oku::ZYRCommon
