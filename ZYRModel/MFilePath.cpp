// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MFilePath.h>

namespace Trelan::Oku::ZYRModel {

MFilePath::MFilePath() = default;

const QList<MFilePath::Item>& MFilePath::getPath() const
{
    return m_items;
}

void MFilePath::setPath(const QList<Item>& items)
{
    m_items = items;
}

bool MFilePath::isEmpty() const
{
    return m_items.isEmpty();
}

int MFilePath::count() const
{
    return static_cast<int>(m_items.size());
}

QString MFilePath::toNamePath() const
{
    if (m_items.isEmpty())
        return QStringLiteral("/");
    QString path;
    for (const Item& item : m_items)
        path += QLatin1Char('/') + item.name;
    return path;
}

} // namespace Trelan::Oku::ZYRModel
