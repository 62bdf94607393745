#pragma once

#include <QJsonObject>
#include <QStringList>

class WireClient;

/// The device's properties as a client gets them.
struct Dump
{
    QStringList commands; ///< Of the burst, in order.
    QStringList names;
    QJsonObject values;
    int crc = -1;
};

/// Asks for all properties, and gives what came before the reply.
Dump dump(WireClient& client);

/// The arguments of a write.
QJsonObject write(const QString& name, const QJsonValue& value);

/// True if the write was answered.
[[nodiscard]] bool writeProperty(WireClient& client, const QString& name, const QJsonValue& value);
