#pragma once

#include "Network/Data/int160.h"

#include <QString>

/// Which rendezvous server this server announces itself to: the built-in one, unless the owner has stored
/// another under the private keys "rendezvous_host", "rendezvous_id" (40 hexadecimal digits) and
/// "rendezvous_port". An unusable stored value is ignored, with a warning.
/// Thread: any.
namespace RendezvousSettings
{

QString host();
int160 id();
quint16 port();

} // namespace RendezvousSettings
