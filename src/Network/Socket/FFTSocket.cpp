#include "Network/Socket/FFTSocket.h"

#include "Network/Protocol/PacketType.h"
#include "Network/Protocol/SampleBlock.h"

#include <utility>

namespace
{

constexpr int kWorthCompressing = 256; // bytes; a longer block is compressed

} // namespace

FFTSocket::FFTSocket(QSharedPointer<Socket> socket, QObject* parent)
    : QObject(parent)
    , m_socket(std::move(socket))
{
}

void FFTSocket::setCallback(Callback callback)
{
    m_callback = std::move(callback);
}

void FFTSocket::setMaximumSamples(int count)
{
    m_maximumBlock = SampleBlock::sizeOf(count);
}

bool FFTSocket::send(const QVector<qint16>& samples, const QHostAddress& address, quint16 port, bool compress)
{
    if (compress && SampleBlock::sizeOf(samples.size()) > kWorthCompressing) {
        beginPacket(m_packet, PacketType::SpectrumCompressed);
        SampleBlock::appendCompressed(m_packet, samples);
    } else {
        beginPacket(m_packet, PacketType::Spectrum);
        SampleBlock::append(m_packet, samples);
    }
    return m_socket->write(m_packet, address, port);
}

bool FFTSocket::readyRead(QByteArray& data, const QHostAddress& /*address*/, quint16 /*port*/)
{
    const bool compressed = isPacket(data, PacketType::SpectrumCompressed);
    if (!compressed && !isPacket(data, PacketType::Spectrum)) {
        return false;
    }
    if (!m_callback) {
        return true; // anyone may send it, and to unpack it for nobody is dear
    }
    data.remove(0, 1);
    const QByteArray block =
        compressed ? SampleBlock::uncompress(data, m_maximumBlock).value_or(QByteArray()) : data;
    m_received = SampleBlock::decode(block).value_or(QVector<qint16>());
    m_callback(m_received);
    return true;
}
