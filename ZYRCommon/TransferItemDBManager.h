// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRCommon/zyrcommon_export.h>

#include <ZYRModel/MFileTransferItem.h>

#include <QList>
#include <QString>

namespace Trelan::Oku::ZYRCommon {

/// SQLite store of transfer records. Usable from any thread: every thread
/// gets its own connection to the same file. Every operation returns false
/// on a database error (and logs the driver's text); list writes run in one
/// transaction.
class ZYRCOMMON_EXPORT TransferItemDBManager
{
public:
    /// \a databasePath empty: "transfer.db" in ApplicationSettings::databaseLocation().
    /// \a connectionPrefix empty: a name derived from the path.
    TransferItemDBManager(const QString& databasePath, const QString& connectionPrefix);
    ~TransferItemDBManager();

    const QString& databasePath() const;

    bool insertItem(const Trelan::Oku::ZYRModel::MFileTransferItem* item);
    bool insertItems(const QList<Trelan::Oku::ZYRModel::MFileTransferItem*>& items);
    bool updateItem(const Trelan::Oku::ZYRModel::MFileTransferItem* item);
    bool updateItems(const QList<Trelan::Oku::ZYRModel::MFileTransferItem>& items);
    bool deleteItem(const Trelan::Oku::ZYRModel::MFileTransferItem* item);
    bool deleteItems(const QList<Trelan::Oku::ZYRModel::MFileTransferItem*>& items);
    /// Records of \a userId whose status is not Finished, oldest first.
    bool getUnfinishedItems(const QString& userId, QList<Trelan::Oku::ZYRModel::MFileTransferItem>& items);
    /// At most \a limit Finished records of \a userId, newest first.
    bool getFinishedItems(const QString& userId, QList<Trelan::Oku::ZYRModel::MFileTransferItem>& items, int limit);

private:
    QString m_databasePath;
    QString m_connectionPrefix;
};

} // namespace Trelan::Oku::ZYRCommon
