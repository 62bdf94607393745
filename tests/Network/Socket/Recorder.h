#pragma once

#include "Network/Socket/InterfaceSocket.h"

#include <QList>
#include <functional>

/// An attached object that notes what it is offered and does as told with it.
class Recorder : public InterfaceSocket
{
public:
    struct Datagram
    {
        QByteArray data;
        QHostAddress address;
        quint16 port;
    };

    explicit Recorder(bool acceptsAll = true)
        : accepts(acceptsAll)
    {
    }

    bool readyRead(QByteArray& data, const QHostAddress& address, quint16 port) override
    {
        datagrams.append({QByteArray(data.constData(), data.size()), address, port});
        if (onDatagram) {
            onDatagram(data);
        }
        return accepts;
    }

    void onTimeout() override
    {
        ++heartbeats;
        if (onHeartbeat) {
            onHeartbeat();
        }
    }

    [[nodiscard]] QList<QByteArray> contents() const
    {
        QList<QByteArray> result;
        for (const Datagram& datagram : datagrams) {
            result.append(datagram.data);
        }
        return result;
    }

    bool accepts;
    QList<Datagram> datagrams;
    int heartbeats = 0;
    std::function<void(QByteArray&)> onDatagram;
    std::function<void()> onHeartbeat;
};
