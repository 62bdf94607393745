#include "support/LossyLink.h"

namespace
{

constexpr int kLongestDelay = 8; // datagrams
constexpr int kPatience = 15;    // ms

} // namespace

LossyLink::LossyLink(unsigned seed, QObject* parent)
    : QObject(parent)
    , m_random(seed)
{
    for (size_t i = 0; i < m_ends.size(); ++i) {
        QUdpSocket& socket = m_ends.at(i).socket;
        socket.bind(QHostAddress(QHostAddress::LocalHost));
        connect(&socket, &QUdpSocket::readyRead, this, [this, i] { onReadyRead(i); });
    }
    connect(&m_timer, &QTimer::timeout, this, &LossyLink::flush);
    m_timer.start(kPatience);
}

void LossyLink::join(quint16 first, quint16 second)
{
    m_ends[0].port = first;
    m_ends[1].port = second;
}

int LossyLink::below(int limit)
{
    return static_cast<int>(m_random() % static_cast<unsigned>(limit));
}

void LossyLink::onReadyRead(size_t from)
{
    QUdpSocket& socket = m_ends.at(from).socket;
    quint16 sender = 0;
    while (socket.hasPendingDatagrams()) {
        QByteArray datagram(static_cast<int>(socket.pendingDatagramSize()), '\0');
        socket.readDatagram(datagram.data(), datagram.size(), nullptr, &sender);
        if (m_ends.at(from).port == 0) {
            m_ends.at(from).port = sender;
        }
        onDatagram(1 - from, datagram);
    }
}

void LossyLink::onDatagram(size_t to, const QByteArray& datagram)
{
    if (m_isLost && m_isLost(datagram)) {
        ++m_lost;
        return;
    }
    int fate = below(100);
    const auto meets = [&fate](int chance) {
        fate -= chance;
        return fate < 0;
    };
    if (meets(m_fates.lost)) {
        ++m_lost;
    } else if (meets(m_fates.repeated)) {
        pass(to, datagram);
        pass(to, datagram);
    } else if (meets(m_fates.swapped)) {
        m_ends.at(to).held.append({datagram, 1});
    } else if (meets(m_fates.delayed)) {
        m_ends.at(to).held.append({datagram, 1 + below(kLongestDelay)});
    } else {
        pass(to, datagram);
    }
}

void LossyLink::pass(size_t to, const QByteArray& datagram)
{
    End& end = m_ends.at(to);
    // What leaves here comes from the port that represents the other end.
    const auto send = [this, &end](const QByteArray& bytes) {
        ++m_passed;
        end.socket.writeDatagram(bytes, QHostAddress(QHostAddress::LocalHost), end.port);
    };
    send(datagram);
    for (int i = 0; i < end.held.size();) {
        if (--end.held[i].passes > 0) {
            ++i;
            continue;
        }
        send(end.held.takeAt(i).datagram);
    }
}

void LossyLink::flush()
{
    for (End& end : m_ends) {
        const QVector<Held> held = std::exchange(end.held, {});
        for (const Held& one : held) {
            ++m_passed;
            end.socket.writeDatagram(one.datagram, QHostAddress(QHostAddress::LocalHost), end.port);
        }
    }
}
