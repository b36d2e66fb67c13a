// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRCommon/zyrcommon_export.h>

#include <ZYRModel/MFileTransferItem.h>

#include <QList>
#include <QString>

#include <memory>

namespace Trelan::Oku::ZYRCommon {

class StoreConnection;

/// SQLite store of transfer records. Usable from any thread: every thread
/// gets its own connection to the same file, opened on first use and closed
/// when the thread ends (the destructor closes the calling thread's one).
/// Every operation returns false on a database error (and logs the driver's
/// text); list writes run in one transaction, all or nothing. The store
/// copies what it is given: the caller keeps owning its records.
class ZYRCOMMON_EXPORT TransferItemDBManager {
public:
    /// \a databasePath empty: "transfer.db" in ApplicationSettings::databaseLocation().
    /// \a connectionPrefix empty: a name derived from the path.
    /// Nothing is opened before the first operation.
    TransferItemDBManager(const QString& databasePath, const QString& connectionPrefix);
    ~TransferItemDBManager();

    /// The absolute path of the database file.
    const QString& databasePath() const;

    /// Writes the record under its id, replacing a stored one. A null record
    /// or one without id is refused (false); a list holding one writes nothing.
    bool insertItem(const Trelan::Oku::ZYRModel::MFileTransferItem* item);
    bool insertItems(const QList<Trelan::Oku::ZYRModel::MFileTransferItem*>& items);
    /// Overwrites the stored record of the same id; an id that is not stored
    /// is skipped without error.
    bool updateItem(const Trelan::Oku::ZYRModel::MFileTransferItem* item);
    bool updateItems(const QList<Trelan::Oku::ZYRModel::MFileTransferItem>& items);
    /// Removes the record with the item's id (none stored is not an error).
    bool deleteItem(const Trelan::Oku::ZYRModel::MFileTransferItem* item);
    bool deleteItems(const QList<Trelan::Oku::ZYRModel::MFileTransferItem*>& items);
    /// Appends the records of \a userId whose status is not Finished, oldest
    /// creation time first (ties in storing order).
    bool getUnfinishedItems(const QString& userId, QList<Trelan::Oku::ZYRModel::MFileTransferItem>& items);
    /// Appends at most \a limit Finished records of \a userId, latest update
    /// time first. A negative limit is refused (false).
    bool getFinishedItems(const QString& userId, QList<Trelan::Oku::ZYRModel::MFileTransferItem>& items, int limit);

private:
    std::unique_ptr<StoreConnection> d;
};

} // namespace Trelan::Oku::ZYRCommon
