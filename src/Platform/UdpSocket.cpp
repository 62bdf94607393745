#include "Platform/UdpSocket.h"

#include <cstring>

// The same calls everywhere, with other types.
#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
using Descriptor = SOCKET;
using Length = int;
using Size = int;
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
using Descriptor = int;
using Length = socklen_t;
using Size = std::size_t;
#endif

namespace
{

template <typename Name>
bool sendTo(std::intptr_t descriptor, const char* data, int size, const Name& name)
{
    return sendto(static_cast<Descriptor>(descriptor), data, static_cast<Size>(size), 0,
                  reinterpret_cast<const sockaddr*>(&name), sizeof name) == size;
}

} // namespace

UdpSocket::Family UdpSocket::familyOf(std::intptr_t descriptor)
{
    sockaddr_storage name{};
    Length length = sizeof name;
    if (getsockname(static_cast<Descriptor>(descriptor), reinterpret_cast<sockaddr*>(&name), &length) != 0) {
        return Family::Other;
    }
    return name.ss_family == AF_INET    ? Family::IPv4
           : name.ss_family == AF_INET6 ? Family::IPv6
                                        : Family::Other;
}

bool UdpSocket::sendToIPv4(std::intptr_t descriptor, const char* data, int size, std::uint32_t address,
                           std::uint16_t port)
{
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    name.sin_addr.s_addr = htonl(address);
    return sendTo(descriptor, data, size, name);
}

bool UdpSocket::sendToIPv6(std::intptr_t descriptor, const char* data, int size, const std::uint8_t* address,
                           std::uint16_t port)
{
    sockaddr_in6 name{};
    name.sin6_family = AF_INET6;
    name.sin6_port = htons(port);
    std::memcpy(&name.sin6_addr, address, sizeof name.sin6_addr);
    return sendTo(descriptor, data, size, name);
}

int UdpSocket::grantedReceiveBuffer(int told)
{
#ifdef __linux__
    return told / 2; // the other half is for its own records
#else
    return told;
#endif
}
