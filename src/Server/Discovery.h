#pragma once

#include "Network/Data/int160.h"

#include <QObject>
#include <QString>

class QUdpSocket;

/// Announces a free server on the local network: one JSON datagram to the broadcast address, UDP port 45433,
/// with all that a client there needs to connect. Only sends, from a socket and a port of its own.
/// Thread:    the main one.
/// Errors:    none: on a computer without a network the datagrams vanish.
class Discovery : public QObject
{
    Q_OBJECT

public:
    static constexpr quint16 kPort = 45433;

    /// `port` is the UDP port that the server serves on, `deviceType` a value of DefRadioDevice::Type.
    Discovery(int160 id, quint16 port, int deviceType, const QString& title, const QString& description,
              const QString& identificator, QObject* parent);

    /// Sends one announcement.
    void send();

private:
    const int160 m_id;
    const quint16 m_port;
    const QString m_title;
    const QString m_description;
    const QString m_identificator;
    const int m_deviceType;
    QUdpSocket* m_udpSocket;
};
