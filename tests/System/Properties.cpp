#include "System/Properties.h"

#include "support/WireClient.h"

Dump dump(WireClient& client)
{
    client.forgetCalls();
    Dump result;
    if (!client.ask(client.serverId(), QStringLiteral("it_ra_rrd"))) {
        return result;
    }
    for (const WireClient::Message& call : client.calls()) {
        if (call.sender != client.serverId() || call.command.startsWith(QStringLiteral("pc_"))) {
            continue;
        }
        result.commands.append(call.command);
        if (call.command == QStringLiteral("pci_rrd")) {
            const QString name = call.body.value(QStringLiteral("n")).toString();
            result.names.append(name);
            result.values.insert(name, call.body.value(QStringLiteral("v")));
        } else if (call.command == QStringLiteral("sync_crc_rrd")) {
            result.crc = call.body.value(QStringLiteral("crc")).toInt(-1);
        }
    }
    return result;
}

QJsonObject write(const QString& name, const QJsonValue& value)
{
    return {{QStringLiteral("n"), name}, {QStringLiteral("v"), value}};
}

bool writeProperty(WireClient& client, const QString& name, const QJsonValue& value)
{
    return client.ask(client.serverId(), QStringLiteral("wp_rrd"), write(name, value)).has_value();
}
