#include "Server/RendezvousSettings.h"

#include "Core/Log/Log.h"
#include "Core/Settings/Settings.h"
#include "Rendezvous/RendezvousServer.h"

namespace
{

constexpr int kMaximumPort = 65535;

QVariant stored(const QString& key)
{
    return Settings::privateRead(key, QVariant());
}

void warnPassedOver(const QString& key, const QVariant& value)
{
    LOG_WARNING()
        << QStringLiteral("Stored setting passed over! Key: %1, value: %2").arg(key, value.toString());
}

} // namespace

QString RendezvousSettings::host()
{
    const QString key = QStringLiteral("rendezvous_host");
    const QVariant value = stored(key);
    const QString name = value.toString().trimmed();
    if (value.isValid() && name.isEmpty()) {
        warnPassedOver(key, value);
    }
    return name.isEmpty() ? QString::fromLatin1(RendezvousServer::kHostName) : name;
}

int160 RendezvousSettings::id()
{
    const QString key = QStringLiteral("rendezvous_id");
    const QVariant value = stored(key);
    if (value.isValid()) {
        int160 own(value.toString().trimmed());
        if (!own.isNull()) {
            return own;
        }
        warnPassedOver(key, value);
    }
    return int160(QString::fromLatin1(RendezvousServer::kId));
}

quint16 RendezvousSettings::port()
{
    const QString key = QStringLiteral("rendezvous_port");
    const QVariant value = stored(key);
    if (value.isValid()) {
        const int own = value.toInt();
        if (own > 0 && own <= kMaximumPort) {
            return static_cast<quint16>(own);
        }
        warnPassedOver(key, value);
    }
    return RendezvousServer::kPort;
}
