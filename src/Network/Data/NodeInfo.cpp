#include "Network/Data/NodeInfo.h"

#include <QDataStream>

bool operator==(const NodeInfo& left, const NodeInfo& right)
{
    return left.id == right.id;
}

bool operator!=(const NodeInfo& left, const NodeInfo& right)
{
    return !(left == right);
}

QDataStream& operator<<(QDataStream& stream, const NodeInfo& node)
{
    return stream << node.id << node.address << node.port;
}

QDataStream& operator>>(QDataStream& stream, NodeInfo& node)
{
    return stream >> node.id >> node.address >> node.port;
}
