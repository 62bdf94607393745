#pragma once

#include "Network/Remote/ReplicaObject.h"

#include "Crc16.h"
#include "support/NodeOf.h"
#include "support/WirePeer.h"

#include <memory>

inline const QByteArray kAsk = R"({"cd":"it_ra_rrd"})";

inline int160 id(char fill)
{
    return int160(QByteArray(20, fill).constData());
}

inline QByteArray message(const QByteArray& command, const QByteArray& name, const QByteArray& value)
{
    return R"({"cd":")" + command + R"(_rrd","n":")" + name + R"(","v":)" + value + "}";
}

inline QByteArray checksum(const QByteArray& names)
{
    return R"({"cd":"sync_crc_rrd","crc":)" + QByteArray::number(crc16(names)) + "}";
}

/// A replica, and a source made of datagrams; new for each test.
class ReplicaObjectTest : public QObject
{
    Q_OBJECT

protected:
    void makeReplica(int retryMs = 3'600'000, int patienceMs = 3'600'000);
    /// One call of the source's; gives the body of the reply that it got.
    QJsonObject call(const QByteArray& json);
    void tick() { QMetaObject::invokeMethod(m_replica.get(), "onTimeout"); }
    void dump(const QByteArrayList& names);
    QByteArrayList sent();

    QSharedPointer<Socket> m_socket;
    std::unique_ptr<WirePeer> m_peer;
    QSharedPointer<RpcSocket> m_rpc;
    std::unique_ptr<ReplicaObject> m_replica;

private slots:
    void init();
    void cleanup();
};
