// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BTransferStoreBatcher_p.h>

namespace Trelan::Oku::ZYRController {

using Trelan::Oku::ZYRModel::MFileCacheItem;
using Trelan::Oku::ZYRModel::MFileTransferItem;

BTransferStoreBatcher::BTransferStoreBatcher(bool persist, int flushIntervalMs)
    : m_persist(persist), m_store(QString(), QString())
{
    m_timer.setInterval(flushIntervalMs);
}

bool BTransferStoreBatcher::persists() const
{
    return m_persist;
}

QTimer* BTransferStoreBatcher::timer()
{
    return &m_timer;
}

BFileCacheManager& BTransferStoreBatcher::cacheManager()
{
    return m_cacheManager;
}

void BTransferStoreBatcher::add(const ItemList& items)
{
    if (m_persist && !items.isEmpty())
        m_store.insertItems(items);
}

void BTransferStoreBatcher::update(MFileTransferItem* item, bool batched)
{
    if (!m_persist || !item)
        return;
    if (!batched) {
        m_store.updateItem(item);
    } else if (!m_pendingUpdates.contains(item)) {
        m_pendingUpdates.append(item);
        schedule();
    }
}

void BTransferStoreBatcher::remove(const ItemList& items)
{
    for (MFileTransferItem* item : items)
        m_pendingUpdates.removeAll(item);
    if (!m_persist || items.isEmpty())
        return;
    if (items.size() == 1)
        m_store.deleteItem(items.constFirst());
    else
        m_store.deleteItems(items);
}

void BTransferStoreBatcher::forgetAll()
{
    m_pendingUpdates.clear();
}

void BTransferStoreBatcher::addCacheItem(const MFileCacheItem& item)
{
    m_pendingCacheItems.append(item);
    schedule();
}

void BTransferStoreBatcher::schedule()
{
    if (m_timer.isActive())
        return;
    flush();
    m_timer.start();
}

void BTransferStoreBatcher::flush()
{
    if (m_pendingUpdates.isEmpty() && m_pendingCacheItems.isEmpty()) {
        m_timer.stop();
        return;
    }
    if (!m_pendingUpdates.isEmpty()) {
        // Copies: the store writes values, in one transaction.
        QList<MFileTransferItem> copies;
        copies.reserve(m_pendingUpdates.size());
        for (const MFileTransferItem* item : std::as_const(m_pendingUpdates))
            copies.append(*item);
        m_pendingUpdates.clear();
        if (m_persist)
            m_store.updateItems(copies);
    }
    if (!m_pendingCacheItems.isEmpty()) {
        m_cacheManager.addCacheItems(m_pendingCacheItems);
        m_pendingCacheItems.clear();
    }
}

void BTransferStoreBatcher::stop()
{
    m_timer.stop();
}

void BTransferStoreBatcher::load(const QString& userId, int finishedLimit, ItemList& unfinished, ItemList& finished)
{
    QList<MFileTransferItem> records;
    if (m_store.getUnfinishedItems(userId, records)) {
        for (const MFileTransferItem& record : std::as_const(records))
            unfinished.append(new MFileTransferItem(record));
    }
    records.clear();
    if (m_store.getFinishedItems(userId, records, finishedLimit)) {
        for (const MFileTransferItem& record : std::as_const(records))
            finished.append(new MFileTransferItem(record));
    }
}

} // namespace Trelan::Oku::ZYRController
