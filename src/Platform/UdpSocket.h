#pragma once

#include <cstdint>

/// The system's own calls for a UDP socket, given its descriptor. Addresses and ports are in the host's
/// order.
/// Thread: any, one at a time for a socket.
namespace UdpSocket
{

enum class Family
{
    Other, ///< Of no socket, too.
    IPv4,
    IPv6,
};

[[nodiscard]] Family familyOf(std::intptr_t descriptor);

/// Send one datagram of `size` bytes; false if the system didn't take it whole.
[[nodiscard]] bool sendToIPv4(std::intptr_t descriptor, const char* data, int size, std::uint32_t address,
                              std::uint16_t port);
/// `address` has 16 bytes, the first of them first.
[[nodiscard]] bool sendToIPv6(std::intptr_t descriptor, const char* data, int size,
                              const std::uint8_t* address, std::uint16_t port);

/// Bytes that the system grants of a receive buffer, where it tells `told`.
[[nodiscard]] int grantedReceiveBuffer(int told);

} // namespace UdpSocket
