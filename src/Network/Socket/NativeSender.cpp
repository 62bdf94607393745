#include "Network/Socket/NativeSender.h"

#include <QtEndian>
#include <cstring>

#ifdef Q_OS_WIN
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <netinet/in.h>
#include <sys/socket.h>
#endif

namespace
{

#ifdef Q_OS_WIN
using Descriptor = SOCKET;
using Length = int;
using Size = int;
#else
using Descriptor = int;
using Length = socklen_t;
using Size = std::size_t;
#endif

int familyOf(Descriptor descriptor)
{
    sockaddr_storage name{};
    Length length = sizeof name;
    return getsockname(descriptor, reinterpret_cast<sockaddr*>(&name), &length) == 0 ? name.ss_family : 0;
}

template <typename Name>
qint64 sendTo(Descriptor descriptor, const char* data, int size, const Name& name)
{
    const auto sent = sendto(descriptor, data, static_cast<Size>(size), 0,
                             reinterpret_cast<const sockaddr*>(&name), static_cast<Length>(sizeof name));
    return sent == size ? size : -1;
}

} // namespace

std::optional<qint64> NativeSender::send(qintptr descriptor, const char* data, int size,
                                         const QHostAddress& address, quint16 port)
{
    if (descriptor == kNone || !address.scopeId().isEmpty()) {
        return std::nullopt;
    }
    const auto native = static_cast<Descriptor>(descriptor);
    if (descriptor != m_descriptor) {
        m_descriptor = descriptor;
        m_family = familyOf(native);
    }
    if (m_family == AF_INET && address.protocol() == QAbstractSocket::IPv4Protocol) {
        sockaddr_in name{};
        name.sin_family = AF_INET;
        name.sin_port = qToBigEndian(port);
        name.sin_addr.s_addr = qToBigEndian(address.toIPv4Address());
        return sendTo(native, data, size, name);
    }
    if (m_family == AF_INET6 && !address.isNull()) {
        sockaddr_in6 name{};
        name.sin6_family = AF_INET6;
        name.sin6_port = qToBigEndian(port);
        const Q_IPV6ADDR bytes = address.toIPv6Address(); // an IPv4 address in its mapped form
        std::memcpy(&name.sin6_addr, &bytes, sizeof bytes);
        return sendTo(native, data, size, name);
    }
    return std::nullopt;
}
