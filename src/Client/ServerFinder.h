#pragma once

#include "Network/Protocol/Announcement.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QObject>
#include <QVector>
#include <functional>

class QTimer;
class QUdpSocket;

/// Listens for the servers that announce themselves on the local network and keeps a list of those heard
/// within the last 5 seconds. Shares the port, so that several clients and servers live on one machine.
/// Thread: the one that made it, which runs an event loop.
/// Errors: what is no announcement costs one warning in the finder's life, and nothing else; of more than
/// kMaximumServers, or as many addresses of them, the newest are left out. A flood leaves the event loop its
/// turns.
class ServerFinder : public QObject
{
    Q_OBJECT

public:
    using Clock = std::function<qint64()>; ///< Milliseconds; any epoch, never back.

    static constexpr int kMaximumAge = 5000; ///< ms
    static constexpr int kMaximumServers = 256;

    struct Server
    {
        Announcement announcement;
        QHostAddress address; ///< Where the announcement came from, IPv4; announcement.port goes with it.
        qint64 age = 0;       ///< ms since it was last heard from there.
    };

    explicit ServerFinder(QObject* parent = nullptr, Clock clock = {});

    /// Begins to listen. False, with a line in errorString(), if the port can't be had.
    [[nodiscard]] bool listen(quint16 port = Announcement::kPort);
    [[nodiscard]] QString errorString() const;

    /// Those heard within kMaximumAge, in the order in which they were first heard. One that announces the
    /// same from several addresses, being on several networks, is one server, at the address that was
    /// heard first; an impostor, whose announcement differs, is another one.
    [[nodiscard]] QVector<Server> servers() const;
    /// Datagrams that were no announcement.
    [[nodiscard]] qint64 refusedDatagrams() const { return m_refused; }

signals:
    /// A server is new in the list, or announces something else than before.
    void found(const ServerFinder::Server& server);
    /// A server has not been heard for kMaximumAge; told within a second.
    void lost(const ServerFinder::Server& server);

public slots:
    /// Drops those too old; the finder's own timer calls it once a second.
    void onTimeout();

private:
    struct Entry
    {
        Announcement announcement;
        QHostAddress address;
        qint64 heard = 0; // ms, of the clock
    };

    [[nodiscard]] bool isOld(const Entry& entry) const;
    void onReadyRead();
    void receive(const QByteArray& datagram, const QHostAddress& address);
    [[nodiscard]] Server toServer(const Entry& entry) const;

    Clock m_clock;
    QElapsedTimer m_elapsed;
    QUdpSocket* m_udp;
    QTimer* m_timer;
    QVector<Entry> m_entries; // one for each address of a server
    qint64 m_refused = 0;
};
