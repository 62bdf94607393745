#include "Core/Losses/Losses.h"
#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Core/Signal/Kernels/IntegerIq.h"
#include "Core/Worker/DspH/DspH.h"
#include "DatagramReceiver.h"
#include "Network/Socket/Socket.h"
#include "Server/FFTStream.h"
#include "Server/IQStream.h"
#include "support/AllocationCounter.h"

#include <QMutexLocker>
#include <QTest>
#include <memory>
#include <random>
#include <vector>

/// The samples' way from a library's buffer to the client's datagrams, once everything on it has its memory.
class tst_SamplePath : public QObject
{
    Q_OBJECT

private slots:
    void receiversSamplesReachDatagramsWithoutHeap_data();
    void receiversSamplesReachDatagramsWithoutHeap();
    void wholeBandReachesDatagramsAlsoWhenRateChanges_data();
    void wholeBandReachesDatagramsAlsoWhenRateChanges();
};

namespace
{

constexpr double kRate = 2'400'000.0; // Hz
constexpr int kBlock = 32'768;        // samples
constexpr int kFftSize = 32'768;
constexpr int kTurns = 20;

class Device : public AbstractRadioDevice
{
    Q_OBJECT

public:
    Device()
        : AbstractRadioDevice(QSharedPointer<InfoRadioDevice>::create(), nullptr)
        , m_bytes(2 * kBlock)
    {
        m_sampleRate = kRate;
        initDsp();
        setBlockSize(kBlock);
        std::mt19937 generator(1);
        for (std::int8_t& byte : m_bytes) {
            byte = static_cast<std::int8_t>(generator());
        }
    }

    ~Device() override { stop(); }

    void deliver()
    {
        writeMade(kBlock, [this](DoubleComplex* made, int first, int count) {
            Kernels::scalePairs(m_bytes.data() + 2 * first, count, 1.0 / 10'240.0, made);
        });
    }

    /// Calls `action` on the thread of the chain, between two of its blocks.
    template <class Action>
    void onDsp(Action action)
    {
        QMetaObject::invokeMethod(m_dsp, action, Qt::BlockingQueuedConnection);
    }

    [[nodiscard]] int written() const
    {
        const QMutexLocker lock(&outBuffer()->mutex);
        return outBuffer()->writeIndex;
    }

private:
    std::vector<std::int8_t> m_bytes;
};

} // namespace

void tst_SamplePath::receiversSamplesReachDatagramsWithoutHeap_data()
{
    QTest::addColumn<bool>("compress");
    QTest::addColumn<int>("stopIndex");
    QTest::addColumn<int>("dataSize");
    // Frames of one turn of the event loop: a timer has the rest sent, and takes a little for itself.
    QTest::newRow("compressed, every bin") << true << 6000 << 6000;
    QTest::newRow("compressed, thinned bins") << true << kFftSize << 1000;
    QTest::newRow("plain, repeated bins") << false << 4000 << 6000;
}

void tst_SamplePath::receiversSamplesReachDatagramsWithoutHeap()
{
    QFETCH(const bool, compress);
    QFETCH(const int, stopIndex);
    QFETCH(const int, dataSize);
    const DatagramReceiver receiver;
    const auto socket = QSharedPointer<Socket>::create();
    IQStream iqStream(socket, compress, nullptr);
    FFTStream fftStream(socket, compress, nullptr);
    Device device;
    iqStream.setHost(QHostAddress::LocalHost, receiver.port());
    iqStream.setDevice(&device);
    fftStream.setHost(QHostAddress::LocalHost, receiver.port());
    fftStream.setDevice(&device);
    fftStream.setDataRange(0, stopIndex, dataSize, kFftSize);
    QVERIFY(device.start(false));

    const auto turn = [&] {
        const int before = device.written();
        QTRY_VERIFY([&] {
            device.deliver();
            return device.written() != before;
        }());
        iqStream.onTimeout();
        fftStream.onTimeout();
    };
    turn(); // what the first samples make stays
    std::unique_ptr<AllocationCounter> ofChain;
    device.onDsp([&ofChain] { ofChain = std::make_unique<AllocationCounter>(); });
    const int packets = static_cast<int>(socket->sentPackets());
    int ofDelivery = 0;
    int ofStreams = 0;
    for (int i = 0; i < kTurns; ++i) {
        const int before = device.written();
        {
            const AllocationCounter counter;
            device.deliver();
            ofDelivery += counter.count();
        }
        QTRY_VERIFY(device.written() != before);
        const AllocationCounter counter;
        iqStream.onTimeout();
        fftStream.onTimeout();
        ofStreams += counter.count();
    }
    int chain = -1;
    device.onDsp([&] {
        chain = ofChain->count();
        ofChain.reset();
    });
    QVERIFY(static_cast<int>(socket->sentPackets()) > packets + kTurns);
    QCOMPARE(ofDelivery, 0);
    QCOMPARE(ofStreams, 0);
    QCOMPARE(chain, 0);
}

void tst_SamplePath::wholeBandReachesDatagramsAlsoWhenRateChanges_data()
{
    QTest::addColumn<double>("wide"); // samples a second
    QTest::newRow("10 million") << 10e6;
    QTest::newRow("38.4 million") << 38.4e6;
}

void tst_SamplePath::wholeBandReachesDatagramsAlsoWhenRateChanges()
{
    QFETCH(const double, wide);
    constexpr int kDatagram = 128; // samples
    const DatagramReceiver receiver;
    const auto socket = QSharedPointer<Socket>::create();
    IQStream stream(socket, false, nullptr);
    Device device;
    stream.setHost(QHostAddress::LocalHost, receiver.port());
    stream.setDevice(&device);
    device.setupDspH(wide, 8000.0);
    QVERIFY(device.start(false));
    const qint64 lost = Losses::process().total(Losses::Cause::OutRing);
    const auto written = [&device] {
        const QMutexLocker lock(&device.outBuffer()->mutex);
        return device.outBuffer()->written;
    };
    // The first call is served before the chain's loop or in it, the second one in it: it is ready then.
    device.onDsp([] {});
    device.onDsp([] {});
    for (const double rate : {wide, kRate, wide}) {
        device.setSampleRate(rate);
        device.onDsp([] {}); // the new rate has arrived
        for (int i = 0; i < 4; ++i) {
            // A block of the chain is one of the device's, or two.
            const quint64 before = written();
            const int blocks = rate == wide ? 2 : 1;
            for (int block = 0; block < blocks; ++block) {
                device.deliver();
            }
            QTRY_COMPARE(written(), before + static_cast<quint64>(blocks) * kBlock);
            // It sends some of them in each turn.
            QTRY_COMPARE((stream.onTimeout(), static_cast<quint64>(socket->sentPackets())),
                         written() / kDatagram);
        }
    }
    QCOMPARE(Losses::process().total(Losses::Cause::OutRing), lost);
    device.stop();
}

QTEST_GUILESS_MAIN(tst_SamplePath)

#include "tst_SamplePath.moc"
