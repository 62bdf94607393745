#include "Network/Socket/Socket.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/Losses/Losses.h"
#include "Platform/UdpSocket.h"

#include <QTimer>
#include <QUdpSocket>
#include <utility>

namespace
{

constexpr int kHeartbeat = 1000;                 // ms
constexpr int kReceiveBuffer = 2'000'000;        // bytes: streams arrive here besides everything else
constexpr int kReadsPerTurn = 64;                // datagrams, some tenths of a millisecond
constexpr double kMegabyte = 9.5367431640625e-7; // 1 / 1048576
constexpr double kKilobyte = 0.0009765625;       // 1 / 1024

// A failed send takes one byte off, so the growth may be negative.
double kilobytesSince(quint64 total, quint64 before)
{
    return static_cast<double>(static_cast<qint64>(total - before)) * kKilobyte;
}

} // namespace

Socket::Socket(QObject* parent)
    : QObject(parent)
    , m_timer(new QTimer(this))
    , m_udp(new QUdpSocket(this))
{
    m_buffer.reserve(kMaxDatagram);
    connect(m_udp, &QUdpSocket::readyRead, this, &Socket::onReadyRead, Qt::DirectConnection);
    connect(m_timer, &QTimer::timeout, this, &Socket::onTimeout);
    m_timer->setTimerType(Qt::CoarseTimer);
    m_timer->start(kHeartbeat);
}

bool Socket::listen(quint16 port)
{
    m_sender.reset();
    if (!m_udp->bind(port)) {
        LOG_CRITICAL()
            << QStringLiteral("Error bind udp port: %1, %2").arg(QString::number(port), m_udp->errorString());
        return false;
    }
    m_udp->setReadBufferSize(kReceiveBuffer);
    askForReceiveBuffer();
    return true;
}

// The read buffer of a QUdpSocket holds nothing: what waits to be read, the system holds.
void Socket::askForReceiveBuffer()
{
    const auto option = QAbstractSocket::ReceiveBufferSizeSocketOption;
    m_udp->setSocketOption(option, kReceiveBuffer);
    const int granted = UdpSocket::grantedReceiveBuffer(m_udp->socketOption(option).toInt());
    if (granted < kReceiveBuffer) {
        LOG_DEBUG() << QStringLiteral("Receive buffer of the udp port: %1 bytes wanted, %2 granted")
                           .arg(kReceiveBuffer)
                           .arg(granted);
    }
}

bool Socket::write(const QByteArray& data, const QHostAddress& address, quint16 port)
{
    if (data.size() > kMaxDatagram) {
        return false;
    }
    if (m_budget && !m_budget->admit(address, port, data.size())) {
        Losses::process().add(Losses::Cause::OverBudget, 1);
        return false;
    }
    return send(data, address, port);
}

bool Socket::answer(const QByteArray& data, const QHostAddress& address, quint16 port)
{
    return data.size() <= kMaxDatagram && send(data, address, port);
}

bool Socket::send(const QByteArray& data, const QHostAddress& address, quint16 port)
{
    ++m_sentPackets;
    const auto native =
        m_sender.send(m_udp->socketDescriptor(), data.constData(), data.size(), address, port);
    const qint64 sent = native ? *native : m_udp->writeDatagram(data, address, port);
    m_sentBytes += static_cast<quint64>(sent);
    if (sent != data.size()) {
        Losses::process().add(Losses::Cause::Unsent, 1);
        LOG_LIMITED(LOG_WARNING())
            << QStringLiteral("Error send packet! Size: %1, sended size: %2").arg(data.size()).arg(sent);
        return false;
    }
    return true;
}

void Socket::setBudget(QSharedPointer<UnprovenBudget> budget)
{
    m_budget = std::move(budget);
}

quint16 Socket::localPort() const
{
    return m_udp->localPort();
}

QString Socket::errorString() const
{
    return m_udp->errorString();
}

void Socket::addSocket(const QSharedPointer<InterfaceSocket>& socket)
{
    if (!m_sockets.contains(socket)) {
        m_sockets.append(socket);
    }
}

void Socket::removeSocket(const QSharedPointer<InterfaceSocket>& socket)
{
    const int index = m_sockets.indexOf(socket);
    if (index < 0) {
        return;
    }
    for (int* const place : {&m_offerPlace, &m_heartbeatPlace}) {
        if (index <= *place) {
            --*place;
        }
    }
    m_sockets.removeAt(index);
}

// Visits the list in place until `visit` returns true. The list may change meanwhile.
template <typename Visit>
void Socket::walk(int& place, Visit visit)
{
    for (place = 0; place < m_sockets.size(); ++place) {
        const QSharedPointer<InterfaceSocket> socket = m_sockets.at(place);
        if (visit(*socket)) {
            break;
        }
    }
    place = -1;
}

void Socket::onReadyRead()
{
    // One read at least, even if nothing waits: a datagram with a bad checksum or a pending error wakes the
    // notifier too, and QUdpSocket then keeps it off until the next read. After a read, failed or not, it is
    // on, and calls back for what still waits: in a flood the timers have their turn before that.
    m_turnEnded = false;
    for (int i = 0; i < kReadsPerTurn && !m_turnEnded; ++i) {
        if (!readDatagram()) {
            return;
        }
        if (isOffered(m_buffer.size())) {
            offerDatagram();
        }
        if (!m_udp->hasPendingDatagrams()) {
            return;
        }
    }
}

bool Socket::readDatagram()
{
    const qint64 pending = m_udp->pendingDatagramSize();
    m_buffer.resize(pending < 0 ? kMaxDatagram : static_cast<int>(pending));
    const qint64 size =
        m_udp->readDatagram(m_buffer.data(), m_buffer.size(), &m_senderAddress, &m_senderPort);
    if (size < 0) {
        return false;
    }
    m_buffer.resize(static_cast<int>(size));
    m_receivedBytes += static_cast<quint64>(size);
    return true;
}

void Socket::offerDatagram()
{
    walk(m_offerPlace, [this](InterfaceSocket& socket) {
        if (!socket.readyRead(m_buffer, m_senderAddress, m_senderPort)) {
            return false;
        }
        ++m_receivedPackets;
        return true;
    });
}

void Socket::onTimeout()
{
    m_receiveSpeed = kilobytesSince(m_receivedBytes, m_receivedBytesAtTick);
    m_sendSpeed = kilobytesSince(m_sentBytes, m_sentBytesAtTick);
    m_receivedBytesAtTick = m_receivedBytes;
    m_sentBytesAtTick = m_sentBytes;
    walk(m_heartbeatPlace, [](InterfaceSocket& socket) {
        socket.onTimeout();
        return false;
    });
}

double Socket::receivedMegabytes() const
{
    return static_cast<double>(m_receivedBytes) * kMegabyte;
}

double Socket::sentMegabytes() const
{
    return static_cast<double>(m_sentBytes) * kMegabyte;
}

double Socket::receiveSpeed() const
{
    return m_receiveSpeed;
}

double Socket::sendSpeed() const
{
    return m_sendSpeed;
}

quint64 Socket::receivedPackets() const
{
    return m_receivedPackets;
}

quint64 Socket::sentPackets() const
{
    return m_sentPackets;
}
