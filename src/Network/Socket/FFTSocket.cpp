#include "Network/Socket/FFTSocket.h"

#include <utility>

namespace
{

constexpr int kWorthCompressing = 256; // bytes; a longer block is compressed

} // namespace

FFTSocket::FFTSocket(QSharedPointer<Socket> socket, QObject* parent)
    : StreamSocket(std::move(socket), {PacketType::Spectrum, PacketType::SpectrumCompressed},
                   kWorthCompressing, parent)
{
}
