#pragma once

#include "Network/Data/int160.h"

#include <QHostAddress>
#include <QJsonObject>
#include <QStringList>
#include <QVariant>

/// Typed reading of JSON objects that came from the network: a bad value costs a log line and nothing else.
/// Every reader writes `result`, in failure too, and returns whether the value could be converted.
/// Thread: any.
namespace Json
{

/// These have no failure: a missing key or another type gives false, an empty text, an invalid variant, a
/// null address, an empty id.
bool toBool(const QJsonObject& object, const QString& key, bool& result);
bool toString(const QJsonObject& object, const QString& key, QString& result);
bool toVariant(const QJsonObject& object, const QString& key, QVariant& result);
bool toHostAddress(const QJsonObject& object, const QString& key, QHostAddress& result);
bool toNodeId(const QJsonObject& object, const QString& key, int160& result);

/// Numbers, also as text or boolean; a fraction is rounded. A failure is logged and gives 0.
bool toInt(const QJsonObject& object, const QString& key, int& result);
/// The low 8 bits of the integer.
bool toInt8(const QJsonObject& object, const QString& key, qint8& result);
/// The low 16 bits of the unsigned integer.
bool toUInt16(const QJsonObject& object, const QString& key, quint16& result);
bool toLongLong(const QJsonObject& object, const QString& key, qint64& result);
bool toDouble(const QJsonObject& object, const QString& key, double& result);

[[nodiscard]] bool contains(const QJsonObject& object, const QString& key);
/// True for an empty list.
[[nodiscard]] bool containsAll(const QJsonObject& object, const QStringList& keys);

/// Parses one object that has to hold all of `keys`; false with a log line otherwise. A parsed object stays
/// in `object` even if a key is missing.
[[nodiscard]] bool fromByteArray(const QByteArray& data, QJsonObject& object, const QStringList& keys);

} // namespace Json
