#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QUdpSocket>
#include <QVector>
#include <QtEndian>

/// What a client receives: a UDP port, on loopback unless told otherwise. A datagram is there as soon as its
/// sender has returned.
class DatagramReceiver
{
public:
    explicit DatagramReceiver(const QHostAddress& address = QHostAddress::LocalHost, quint16 port = 0)
        : m_bound(m_udp.bind(address, port))
    {
    }

    [[nodiscard]] bool isBound() const { return m_bound; }
    [[nodiscard]] quint16 port() const { return m_udp.localPort(); }

    /// All that has come and was not taken yet, in order.
    QList<QByteArray> take()
    {
        QList<QByteArray> datagrams;
        while (m_udp.hasPendingDatagrams()) {
            QByteArray datagram(static_cast<int>(m_udp.pendingDatagramSize()), '\0');
            m_udp.readDatagram(datagram.data(), datagram.size());
            datagrams.append(datagram);
        }
        return datagrams;
    }

private:
    QUdpSocket m_udp;
    bool m_bound;
};

/// A block of samples as the wire has it: a count, then the values, all big-endian.
inline QByteArray sampleBlock(const QVector<qint16>& values)
{
    QByteArray block(4, '\0');
    qToBigEndian<qint32>(values.size(), block.data());
    for (const qint16 value : values) {
        block.append(static_cast<char>(value >> 8)).append(static_cast<char>(value));
    }
    return block;
}

/// The values of a stream datagram, plain or compressed; none if the block is not exactly as long as it says.
inline QVector<qint16> valuesOf(const QByteArray& datagram)
{
    const bool compressed = datagram.at(0) % 2 != 0;
    const QByteArray block = compressed ? qUncompress(datagram.mid(1)) : datagram.mid(1);
    if (block.size() < 4 || block.size() != 4 + 2 * qFromBigEndian<qint32>(block.constData())) {
        return {};
    }
    QVector<qint16> values((block.size() - 4) / 2);
    qFromBigEndian<qint16>(block.constData() + 4, values.size(), values.data());
    return values;
}
