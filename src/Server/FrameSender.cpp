#include "Server/FrameSender.h"

#include "Network/Protocol/SpectrumPackets.h"
#include "Network/Socket/FFTSocket.h"

#include <QTimer>
#include <algorithm>
#include <utility>

namespace
{

constexpr int kPacketsPerTurn = 24; // half a millisecond's work, as much as a frame's transform

} // namespace

FrameSender::FrameSender(QSharedPointer<FFTSocket> fftSocket, bool compress, QObject* parent)
    : QObject(parent)
    , m_fftSocket(std::move(fftSocket))
    , m_nextTurn(new QTimer(this))
    , m_packet(SpectrumPackets::kPacketPoints)
    , m_compress(compress)
{
    m_nextTurn->setSingleShot(true);
    m_nextTurn->setInterval(0);
    connect(m_nextTurn, &QTimer::timeout, this, &FrameSender::sendTurn);
}

void FrameSender::send(const QVector<qint16>& points, const QHostAddress& address, quint16 port)
{
    Q_ASSERT(!isSending() && !points.isEmpty());
    m_points = points;
    m_sent = 0;
    m_address = address;
    m_port = port;
    m_lastPacket.resize(points.size() % SpectrumPackets::kPacketPoints);
    SpectrumPackets::writeHeader(points.size(), m_header);
    m_fftSocket->send(m_header, m_address, m_port, m_compress);
    sendTurn();
}

void FrameSender::sendTurn()
{
    for (int i = 0; i < kPacketsPerTurn && isSending(); ++i) {
        sendPacket();
    }
    if (isSending()) {
        m_nextTurn->start();
    } else {
        m_points = {}; // shared with whoever makes the next frame
        m_sent = 0;
    }
}

void FrameSender::sendPacket()
{
    QVector<qint16>& packet = m_points.size() - m_sent < m_packet.size() ? m_lastPacket : m_packet;
    std::copy_n(m_points.constData() + m_sent, packet.size(), packet.data());
    m_sent += packet.size();
    m_fftSocket->send(packet, m_address, m_port, m_compress);
}
