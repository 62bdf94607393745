#pragma once

#include "Network/Socket/InterfaceSocket.h"
#include "Network/Socket/NativeSender.h"
#include "Network/Socket/UnprovenBudget.h"

#include <QList>
#include <QObject>
#include <QSharedPointer>

class QTimer;
class QUdpSocket;

/// The process's one UDP port. Offers every datagram to the attached objects until one accepts it, counts
/// traffic and gives the objects a heartbeat once a second.
/// Thread:    the one that made it; the attached objects are called there, from inside the read loop.
/// Ownership: shared by its owner and the objects above it; it shares what is attached. An attached object
///            that shares its Socket has to be detached by its owner, or each keeps the other alive.
class Socket : public QObject
{
    Q_OBJECT

public:
    // Sizes of a datagram, bytes: the shortest packet is an empty block of samples.
    static constexpr int kMinDatagram = 5;
    static constexpr int kMaxDatagram = 65536;

    explicit Socket(QObject* parent = nullptr);

    /// Binds every local address; 0 lets the system choose the port. False with a critical record on failure.
    [[nodiscard]] bool listen(quint16 port);

    /// Sends one datagram, once. False if it is longer than kMaxDatagram, which counts and logs nothing, if
    /// the budget has no room for it, which only the losses tell, or if the system did not take it whole.
    bool write(const QByteArray& data, const QHostAddress& address, quint16 port);

    /// As `write`, for what answers a datagram from there and is about as long as that one: nobody gains by
    /// having it sent to somebody else, and the budget doesn't bound it.
    bool answer(const QByteArray& data, const QHostAddress& address, quint16 port);

    /// What bounds the sends to some addresses from now on; none at first.
    void setBudget(QSharedPointer<UnprovenBudget> budget);

    /// Called by an object that has taken long over a datagram: the next one is read in the next turn of the
    /// event loop.
    void endTurn() { m_turnEnded = true; }

    [[nodiscard]] quint16 localPort() const;
    [[nodiscard]] QString errorString() const;

    /// Objects may be attached and detached at any time, from inside readyRead and onTimeout as well: none
    /// that stays is left out of a walk that goes on. One attached already is not attached again.
    void addSocket(const QSharedPointer<InterfaceSocket>& socket);
    void removeSocket(const QSharedPointer<InterfaceSocket>& socket);

    [[nodiscard]] double receivedMegabytes() const; ///< MiB, of all datagrams.
    [[nodiscard]] double sentMegabytes() const;     ///< MiB; a failed send takes one byte off.
    [[nodiscard]] double receiveSpeed() const;      ///< KiB in the last second.
    [[nodiscard]] double sendSpeed() const;         ///< KiB in the last second.
    [[nodiscard]] quint64 receivedPackets() const;  ///< Datagrams that an object accepted.
    [[nodiscard]] quint64 sentPackets() const;      ///< Datagrams handed to the system, taken or not.

    /// Whether a datagram of `size` bytes is one that the objects get to see.
    [[nodiscard]] static constexpr bool isOffered(qint64 size)
    {
        return size >= kMinDatagram && size <= kMaxDatagram;
    }

public slots:
    /// The heartbeat; the Socket's own timer calls it.
    void onTimeout();

private slots:
    void onReadyRead();

private:
    bool send(const QByteArray& data, const QHostAddress& address, quint16 port);
    bool readDatagram();
    void offerDatagram();
    void askForReceiveBuffer();
    template <typename Visit>
    void walk(int& place, Visit visit);

    QList<QSharedPointer<InterfaceSocket>> m_sockets;
    // Where the walk of each kind is in m_sockets; removeSocket moves it along.
    int m_offerPlace = -1;
    int m_heartbeatPlace = -1;
    QTimer* m_timer;
    QUdpSocket* m_udp;
    NativeSender m_sender;
    QSharedPointer<UnprovenBudget> m_budget;
    QByteArray m_buffer;
    QHostAddress m_senderAddress;
    quint16 m_senderPort = 0;
    bool m_turnEnded = false;
    quint64 m_receivedPackets = 0;
    quint64 m_sentPackets = 0;
    quint64 m_receivedBytes = 0;
    quint64 m_sentBytes = 0;
    quint64 m_receivedBytesAtTick = 0;
    quint64 m_sentBytesAtTick = 0;
    double m_receiveSpeed = 0;
    double m_sendSpeed = 0;
};
