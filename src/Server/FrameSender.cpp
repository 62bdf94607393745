#include "Server/FrameSender.h"

#include "Network/Protocol/SpectrumPackets.h"
#include "Network/Socket/FFTSocket.h"

#include <algorithm>
#include <utility>

namespace
{

constexpr int kPacketsPerTurn = 24; // half a millisecond's work, as much as a frame's transform

} // namespace

FrameSender::FrameSender(QSharedPointer<FFTSocket> fftSocket, bool compress, QObject* parent)
    : QObject(parent)
    , m_fftSocket(std::move(fftSocket))
    , m_packet(SpectrumPackets::kPacketPoints)
    , m_turns(kPacketsPerTurn, [this] { return sendPacket(); })
    , m_compress(compress)
{
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
    m_turns.run();
}

// False once the frame is sent.
bool FrameSender::sendPacket()
{
    QVector<qint16>& packet = m_points.size() - m_sent < m_packet.size() ? m_lastPacket : m_packet;
    std::copy_n(m_points.constData() + m_sent, packet.size(), packet.data());
    m_sent += packet.size();
    m_fftSocket->send(packet, m_address, m_port, m_compress);
    if (isSending()) {
        return true;
    }
    m_points = {}; // shared with whoever makes the next frame
    m_sent = 0;
    return false;
}
