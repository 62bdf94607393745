#include "Network/Protocol/Replication.h"

quint16 Replication::checksum(const QByteArray& names)
{
    return qChecksum(names.constData(), static_cast<uint>(names.size()));
}
