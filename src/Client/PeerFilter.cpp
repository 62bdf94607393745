#include "Client/PeerFilter.h"

#include <utility>

PeerFilter::PeerFilter(QSharedPointer<InterfaceSocket> inner, const QHostAddress& address, quint16 port)
    : m_inner(std::move(inner))
    , m_address(address)
    , m_port(port)
{
}

bool PeerFilter::readyRead(QByteArray& data, const QHostAddress& address, quint16 port)
{
    return port == m_port && address == m_address && m_inner->readyRead(data, address, port);
}
