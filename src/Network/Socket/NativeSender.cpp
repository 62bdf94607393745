#include "Network/Socket/NativeSender.h"

std::optional<qint64> NativeSender::send(qintptr descriptor, const char* data, int size,
                                         const QHostAddress& address, quint16 port)
{
    if (descriptor == kNone || !address.scopeId().isEmpty()) {
        return std::nullopt;
    }
    if (descriptor != m_descriptor) {
        m_descriptor = descriptor;
        m_family = UdpSocket::familyOf(descriptor);
    }
    bool isSent = false;
    if (m_family == UdpSocket::Family::IPv4 && address.protocol() == QAbstractSocket::IPv4Protocol) {
        isSent = UdpSocket::sendToIPv4(descriptor, data, size, address.toIPv4Address(), port);
    } else if (m_family == UdpSocket::Family::IPv6 && !address.isNull()) {
        // An IPv4 address in its mapped form.
        isSent = UdpSocket::sendToIPv6(descriptor, data, size, address.toIPv6Address().c, port);
    } else {
        return std::nullopt;
    }
    return isSent ? size : -1;
}
