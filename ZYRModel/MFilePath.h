// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRModel/zyrmodel_export.h>

#include <QList>
#include <QString>

namespace Trelan::Oku::ZYRModel {

/// The chain of ancestors of a file, from the top folder below the root down.
class ZYRMODEL_EXPORT MFilePath {
public:
    struct Item {
        QString id;
        QString name;
        bool operator==(const Item& other) const { return id == other.id && name == other.name; }
    };

    MFilePath();

    const QList<Item>& getPath() const;
    void setPath(const QList<Item>& items);
    bool isEmpty() const;
    int count() const;
    /// "/A/B" for the items A and B; "/" when empty.
    QString toNamePath() const;

private:
    QList<Item> m_items;
};

} // namespace Trelan::Oku::ZYRModel
