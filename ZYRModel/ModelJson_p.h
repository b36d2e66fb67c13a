// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

// Lenient readers shared by the records' fromJson functions: the service is
// free to send ids as numbers and counts as strings.

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>

namespace Trelan::Oku::ZYRModel::Json {

/// A JSON number as a 64-bit integer, the fraction dropped; false for a number
/// no qint64 holds (converting it would be undefined behaviour).
inline bool toInt64(double number, qint64& out)
{
    if (!(number > -9223372036854775808.0 && number < 9223372036854775808.0)) // 2^63; false for NaN
        return false;
    out = static_cast<qint64>(number);
    return true;
}

/// Strings as they are, numbers as integer text (empty when out of range),
/// booleans as "true" or "false".
inline QString toString(const QJsonValue& value)
{
    if (value.isString())
        return value.toString();
    qint64 number = 0;
    if (value.isDouble())
        return toInt64(value.toDouble(), number) ? QString::number(number) : QString();
    if (value.isBool())
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    return QString();
}

inline QString string(const QJsonObject& object, const char* key)
{
    return toString(object.value(QLatin1String(key)));
}

inline qint64 int64(const QJsonObject& object, const char* key)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isString())
        return value.toString().toLongLong();
    qint64 number = 0;
    return toInt64(value.toDouble(), number) ? number : 0; // out of range counts as missing
}

inline bool boolean(const QJsonObject& object, const char* key)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isString())
        return value.toString().compare(QLatin1String("true"), Qt::CaseInsensitive) == 0;
    if (value.isDouble())
        return value.toDouble() != 0;
    return value.toBool();
}

/// Milliseconds since the epoch (UTC); an absent or zero value gives a null time.
inline QDateTime time(const QJsonObject& object, const char* key)
{
    const qint64 ms = int64(object, key);
    return ms == 0 ? QDateTime() : QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC);
}

inline qint64 timeToJson(const QDateTime& time)
{
    return time.isValid() ? time.toMSecsSinceEpoch() : 0;
}

inline QList<QString> stringList(const QJsonObject& object, const char* key)
{
    QList<QString> out;
    const QJsonArray array = object.value(QLatin1String(key)).toArray();
    out.reserve(array.size());
    for (const QJsonValue& v : array)
        out.append(toString(v));
    return out;
}

inline QJsonArray toArray(const QList<QString>& list)
{
    QJsonArray array;
    for (const QString& s : list)
        array.append(s);
    return array;
}

} // namespace Trelan::Oku::ZYRModel::Json
