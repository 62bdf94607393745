#include "Client/IqQueue.h"
#include "Client/IqReceiver.h"
#include "Network/Socket/IQSocket.h"
#include "fuzz/FuzzTarget.h"
#include "support/Wire.h"

using FuzzTarget::expect;

namespace
{

constexpr double kSampleRate = 48'000; // Hz
constexpr qint64 kQueueCapacity = 4;   // samples

/// A client's receiving side of the IQ stream, with a listener that comes too late.
class Receiver
{
public:
    Receiver()
    {
        m_iqSocket.setCallback([this](const QVector<qint16>& values) { iq.receive(values); });
        QObject::connect(&iq, &IqReceiver::blockReceived, &iq, [this](const IqBlock& block) { take(block); });
        QObject::connect(&iq, &IqReceiver::blockReceived, &m_queue, &IqQueue::push);
        iq.setSampleRate(kSampleRate);
    }

    bool receive(QByteArray datagram)
    {
        return m_iqSocket.readyRead(datagram, QHostAddress(QHostAddress::LocalHost), 1);
    }

    void checkQueue()
    {
        qint64 kept = 0;
        qint64 dropped = 0;
        int blocks = 0;
        while (const auto taken = m_queue.take(0)) {
            kept += taken->block.samples.size();
            dropped += taken->dropped;
            ++blocks;
        }
        expect(kept <= kQueueCapacity || blocks == 1, "the queue is bounded");
        expect(kept + dropped == iq.receivedSamples(), "what the queue drops, it counts");
    }

    qint64 now = 0; // ms
    IqReceiver iq{nullptr, [this] { return now; }};
    IqBlock last;

private:
    void take(const IqBlock& block)
    {
        expect(!block.samples.isEmpty() && block.samples.size() <= 16'384, "a block has a datagram's size");
        expect(block.missing >= 0, "no samples too many are missing");
        expect(block.position == m_end + block.missing, "blocks follow each other");
        m_end = block.position + block.samples.size();
        last = block;
    }

    IQSocket m_iqSocket{FuzzTarget::socket()};
    IqQueue m_queue{kQueueCapacity};
    qint64 m_end = 0; // samples
};

} // namespace

/// Datagrams at a client that receives IQ. A second client gets each plain block compressed: so damage to
/// blocks comes to lie within compressed ones too, and both have to receive the same.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto arrivals = FuzzTarget::arrivals(data, size);
    Receiver receiver;
    Receiver twin;
    for (const FuzzTarget::Arrival& arrival : arrivals) {
        receiver.now = twin.now += arrival.isLate ? 1000 : 0;
        const QByteArray& datagram = arrival.datagram;
        if (!Socket::isOffered(datagram.size())) {
            continue;
        }
        const bool isIq = Wire::type(datagram) == 2 || Wire::type(datagram) == 3;
        expect(receiver.receive(datagram) == isIq, "IQ is taken, and nothing else");
        twin.receive(Wire::type(datagram) == 2 ? '\3' + qCompress(datagram.mid(1)) : datagram);
        expect(receiver.iq.receivedSamples() == twin.iq.receivedSamples() &&
                   receiver.iq.damagedDatagrams() == twin.iq.damagedDatagrams(),
               "compression makes no difference");
    }
    expect(receiver.iq.damagedDatagrams() <= arrivals.size(), "damaged datagrams are counted once");
    receiver.checkQueue();

    const qint64 before = receiver.iq.receivedSamples();
    receiver.receive('\2' + Wire::block({1, -2, 32767, -32768}));
    expect(receiver.iq.receivedSamples() == before + 2, "a block is still received");
    const QVector<IqSample>& samples = receiver.last.samples;
    expect(samples.at(0).q == 1 && samples.at(0).i == -2 && samples.at(1).q == 32767 &&
               samples.at(1).i == -32768,
           "it is received as it was sent");
    return 0;
}
