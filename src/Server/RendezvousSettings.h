#pragma once

#include "Network/Data/int160.h"

#include <QString>

/// Which rendezvous server this server announces itself to: the built-in one, unless the owner has stored
/// one of his own under the private keys "rendezvous_host", "rendezvous_id" (40 hexadecimal digits) and
/// "rendezvous_port". A stored value that can't be meant is passed over with a warning.
namespace RendezvousSettings
{

QString host();
int160 id();
quint16 port();

} // namespace RendezvousSettings
