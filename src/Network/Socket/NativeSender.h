#pragma once

#include "Platform/UdpSocket.h"

#include <QHostAddress>
#include <optional>

/// Sends datagrams by the system's own call through the descriptor of a QUdpSocket, which by itself takes
/// from the heap twice for each.
/// Thread: that of the socket.
class NativeSender
{
public:
    /// To be called when the descriptor may be of another socket than before.
    void reset() { m_descriptor = kNone; }

    /// The bytes sent, -1 if the system took none; nothing if it wasn't asked, and the QUdpSocket has to be:
    /// it knows more kinds of addresses. `descriptor` is -1 for no socket.
    [[nodiscard]] std::optional<qint64> send(qintptr descriptor, const char* data, int size,
                                             const QHostAddress& address, quint16 port);

private:
    static constexpr qintptr kNone = -1;

    qintptr m_descriptor = kNone;
    UdpSocket::Family m_family = UdpSocket::Family::Other; // of the descriptor
};
