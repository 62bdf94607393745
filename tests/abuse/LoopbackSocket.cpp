#include "abuse/LoopbackSocket.h"

#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

sockaddr_in loopback(int host, quint16 port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl((127U << 24U) + static_cast<unsigned>(host));
    address.sin_port = htons(port);
    return address;
}

} // namespace

int LoopbackSocket::connected(quint16 port, int host)
{
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in here = loopback(host, 0);
    const sockaddr_in there = loopback(1, port);
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&here), sizeof(here)) != 0 ||
        connect(descriptor, reinterpret_cast<const sockaddr*>(&there), sizeof(there)) != 0) {
        qFatal("no socket on 127.0.0.%d", host);
    }
    return descriptor;
}
