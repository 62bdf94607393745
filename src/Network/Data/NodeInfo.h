#pragma once

#include "Network/Data/int160.h"

#include <QHostAddress>

/// A peer: who it is and where its datagrams come from.
/// Thread: any.
struct NodeInfo
{
    int160 id;
    QHostAddress address;
    quint16 port = 0;
};

/// The id alone decides: a node seen at a new address stays the same node.
bool operator==(const NodeInfo& left, const NodeInfo& right);
bool operator!=(const NodeInfo& left, const NodeInfo& right);

/// The wire holds id, address and port in this order; reading replaces all three.
QDataStream& operator<<(QDataStream& stream, const NodeInfo& node);
QDataStream& operator>>(QDataStream& stream, NodeInfo& node);
