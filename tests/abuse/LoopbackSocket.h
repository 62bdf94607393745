#pragma once

#include <QtGlobal>

/// UDP sockets on the loopback network, 127.0.0.0/8, for their callers to close.
namespace LoopbackSocket
{

/// On 127.0.0.`host` and a port of the system's choice, for datagrams to and from `port` of 127.0.0.1 alone.
int connected(quint16 port, int host = 1);

} // namespace LoopbackSocket
