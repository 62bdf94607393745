#pragma once

#include "Network/Protocol/Announcement.h"

#include <QObject>
#include <QString>
#include <map>
#include <memory>

class QUdpSocket;

/// Announces a free server on the local network: one Announcement to the broadcast address, with all that a
/// client there needs to connect. It goes out on every interface that is up and can broadcast, from that
/// interface's address; if there is none, by the routing table. Only sends, from ports of its own.
/// Thread: the main one.
/// Errors: logs one line when announcements can't be sent any more, and one when they can again.
class Discovery : public QObject
{
    Q_OBJECT

public:
    /// `port` is the UDP port that the server serves on, `deviceType` a value of DefRadioDevice::Type.
    Discovery(int160 id, quint16 port, int deviceType, const QString& title, const QString& description,
              const QString& identificator, QObject* parent);
    ~Discovery() override;

    /// Sends one announcement, once on each interface.
    void send();

private:
    using Sockets = std::map<QString, std::unique_ptr<QUdpSocket>>;

    [[nodiscard]] bool sendOnInterfaces();
    [[nodiscard]] bool sendFrom(QUdpSocket& socket);
    void setReachable(bool reachable);

    const QByteArray m_announcement; // a datagram
    QUdpSocket* m_udpSocket;         // bound to no address
    Sockets m_ofInterfaces;          // each bound to its key
    bool m_reachable = true;
    QString m_error; // of the last send that failed
};
