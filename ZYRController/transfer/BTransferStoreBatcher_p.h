// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRCommon/TransferItemDBManager.h>
#include <ZYRController/BFileCacheManager.h>
#include <ZYRModel/MFileCacheItem.h>
#include <ZYRModel/MFileTransferItem.h>

#include <QList>
#include <QTimer>

namespace Trelan::Oku::ZYRController {

/// The transfer queue's writes to the transfer store and the cache store.
/// New records and removals are written at once, each call's records in one
/// transaction. Changes of a record are batched: the first after a quiet
/// spell is written at once and starts the timer, later ones gather (a
/// record once, however often it changed) until the owner's tick calls
/// flush(); a tick with nothing to write stops the timer. Without
/// persistence the transfer store is never touched; cache records of
/// finished uploads are written in any case.
class BTransferStoreBatcher {
public:
    using ItemList = QList<Trelan::Oku::ZYRModel::MFileTransferItem*>;

    BTransferStoreBatcher(bool persist, int flushIntervalMs);

    bool persists() const;
    QTimer* timer();
    BFileCacheManager& cacheManager();

    void add(const ItemList& items);
    void update(Trelan::Oku::ZYRModel::MFileTransferItem* item, bool batched);
    /// Deletes from the store, after dropping the records' waiting changes
    /// so that no later batch writes them back.
    void remove(const ItemList& items);
    void forgetAll();
    void addCacheItem(const Trelan::Oku::ZYRModel::MFileCacheItem& item);
    /// Writes what has gathered; stops the timer when nothing had.
    void flush();
    void stop();

    /// The user's unfinished records and at most \a finishedLimit of the
    /// latest finished ones, as new records owned by the caller.
    void load(const QString& userId, int finishedLimit, ItemList& unfinished, ItemList& finished);

private:
    void schedule();

    const bool m_persist;
    Trelan::Oku::ZYRCommon::TransferItemDBManager m_store;
    BFileCacheManager m_cacheManager;
    ItemList m_pendingUpdates;
    QList<Trelan::Oku::ZYRModel::MFileCacheItem> m_pendingCacheItems;
    QTimer m_timer;
};

} // namespace Trelan::Oku::ZYRController
