#include "Client/SessionSocket.h"

// Only a heartbeat finds out that the peer is silent.
void SessionSocket::onTimeout()
{
    m_inHeartbeat = true;
    UserSocket::onTimeout();
    m_inHeartbeat = false;
}
