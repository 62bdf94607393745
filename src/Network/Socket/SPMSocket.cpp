#include "Network/Socket/SPMSocket.h"

#include "Network/Protocol/PacketType.h"
#include "Network/Protocol/SampleBlock.h"

#include <tuple>
#include <utility>

SPMSocket::SPMSocket(QSharedPointer<Socket> socket, QObject* parent)
    : QObject(parent)
    , m_socket(std::move(socket))
{
}

void SPMSocket::setCallback(Callback callback)
{
    m_callback = std::move(callback);
}

bool SPMSocket::send(const QVector<float>& first, const QVector<float>& second, const NodeInfo& node)
{
    return m_socket->write(makePacket(PacketType::Spm, SampleBlock::encode(first, second)), node.address,
                           node.port);
}

bool SPMSocket::readyRead(QByteArray& data, const QHostAddress& /*address*/, quint16 /*port*/)
{
    if (!isPacket(data, PacketType::Spm)) {
        return false;
    }
    data.remove(0, 1);
    std::tie(m_receivedFirst, m_receivedSecond) = SampleBlock::decodePair(data);
    m_callback(m_receivedFirst, m_receivedSecond);
    return true;
}
