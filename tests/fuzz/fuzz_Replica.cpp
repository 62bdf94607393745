#include "Client/RemoteDevice.h"
#include "Network/Remote/ReplicaObject.h"
#include "fuzz/FuzzTarget.h"
#include "support/Wire.h"

#include <QCoreApplication>
#include <cmath>

using FuzzTarget::expect;

namespace
{

const QByteArrayList kValidSet{
    R"({"cd":"pci_rrd","n":"frequency","v":14123000})",
    R"({"cd":"pci_rrd","n":"supportFrequencies","v":["14000","14500"]})",
    R"({"cd":"sss_syc_rrd"})",
};

QByteArray checksum(const QByteArray& names)
{
    return R"({"cd":"sync_crc_rrd","crc":)" +
           QByteArray::number(qChecksum(names.constData(), static_cast<uint>(names.size()))) + '}';
}

/// A client's end of a session's RPC, and its copy of the server's receiver. What it sends goes to a socket
/// that nobody reads.
class Client
{
public:
    Client()
        : m_server{int160(QByteArray(20, 's').constData()), QHostAddress::LocalHost, FuzzTarget::deafPort()}
    {
        device.attach(m_rpc, m_server);
    }

    void nextSession()
    {
        device.detach();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        device.attach(m_rpc, m_server);
    }

    void receive(const QByteArray& json)
    {
        QByteArray datagram =
            Wire::packet(Wire::bigEndian(++m_number), m_server.id.bytes(), m_rpc->id().bytes(), json);
        if (Socket::isOffered(datagram.size())) {
            m_rpc->readyRead(datagram, m_server.address, m_server.port);
        }
    }

    RemoteDevice device;

private:
    QSharedPointer<RpcSocket> m_rpc{
        new RpcSocket(FuzzTarget::socket(), int160(QByteArray(20, 'c').constData()), nullptr)};
    NodeInfo m_server;
    quint32 m_number = 0;
};

// Every reader gives a number that is one, or nothing.
void checkValues(const RemoteDevice& device)
{
    for (const auto& number : {device.sampleRate(), device.frequency(), device.levelCorrection()}) {
        expect(!number || std::isfinite(*number), "a number is finite");
    }
    for (const double rate : device.supportedSampleRates()) {
        expect(std::isfinite(rate), "a rate is finite");
    }
    for (const RemoteDevice::FrequencyRange& range : device.supportedFrequencies()) {
        expect(std::isfinite(range.lowest) && std::isfinite(range.highest), "a range is finite");
        expect(range.lowest <= range.highest, "a range is none backwards");
    }
    static_cast<void>(device.type());
    static_cast<void>(device.ppmCorrection());
    static_cast<void>(device.swapIQ());
}

} // namespace

/// The bodies of RPC datagrams, which are JSON texts, at a client's copy of the server's receiver: the
/// replica and its typed readers. When a second passes, the set is asked for again, or by the next session if
/// this one has not got it.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto arrivals = FuzzTarget::arrivals(data, size);
    Client client;
    RemoteDevice& device = client.device;
    for (const FuzzTarget::Arrival& arrival : arrivals) {
        if (arrival.isLate && !(device.isSynchronized() && device.refresh())) {
            client.nextSession();
        }
        client.receive(arrival.datagram);
        checkValues(device);
    }
    const QStringList names = device.names();
    qint64 characters = 0;
    for (const QString& name : names) {
        characters += name.size();
        const QVariant value = device.value(name);
        expect(device.write(name, value) && device.value(name) == value, "what came can be written back");
    }
    expect(names.size() <= arrivals.size() && characters <= ReplicaObject::kMaximumSize,
           "the copy is bounded, and of what came");

    device.clear();
    client.nextSession();
    for (const QByteArray& body : kValidSet) {
        client.receive(body);
    }
    client.receive(checksum("frequency"));
    expect(!device.isSynchronized(), "a set takes its checksum");
    client.receive(checksum("frequencysupportFrequencies"));
    expect(device.isSynchronized(), "a set is still taken");
    expect(device.frequency() == 14'123'000.0 && device.supportedFrequencies().size() == 1 &&
               device.names().size() == 2,
           "it is taken as it was sent");
    return 0;
}
