#pragma once

#include "Network/Data/NodeInfo.h"
#include "support/WirePeer.h"

/// How the system addresses a peer that goes by this id.
inline NodeInfo nodeOf(const WirePeer& peer, const int160& id)
{
    return {id, peer.address(), peer.port()};
}
