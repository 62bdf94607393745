#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Core/Signal/Kernels/FloatIq.h"
#include "Network/Socket/Socket.h"
#include "Rows.h"
#include "Server/FFTStream.h"
#include "Server/IQStream.h"
#include "Table.h"

#include <QAbstractEventDispatcher>
#include <QEventLoop>
#include <QTimer>
#include <QUdpSocket>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <random>
#include <thread>
#include <vector>

// How long the event loop is away from its events in a session: both streams on one thread, with a receiver's
// samples at their pace. What counts is the processor's time, which others on the machine don't lengthen.

namespace
{

constexpr double kRate = 10'000'000; // hertz
constexpr int kBlock = 65'536;       // samples
constexpr int kFftSize = 32'768;
constexpr std::chrono::seconds kMeasured{4};
constexpr double kBar = 2'000; // microseconds

class Device : public AbstractRadioDevice
{
public:
    Device()
        : AbstractRadioDevice(QSharedPointer<InfoRadioDevice>::create(), nullptr)
        , m_samples(2 * static_cast<std::size_t>(kBlock))
    {
        std::mt19937 generator(1);
        std::normal_distribution<float> noise(0.0F, 0.01F);
        std::generate(m_samples.begin(), m_samples.end(), [&] { return noise(generator); });
        m_sampleRate = kRate;
        initDsp();
        setBlockSize(kBlock);
        start(false);
        m_delivery = std::thread([this] { deliver(); });
    }

    ~Device() override
    {
        m_ended = true;
        m_delivery.join();
        stop();
    }

private:
    Q_DISABLE_COPY_MOVE(Device)

    void deliver()
    {
        auto next = std::chrono::steady_clock::now();
        while (!m_ended) {
            writeMade(kBlock, [this](DoubleComplex* made, int first, int count) {
                Kernels::widen(m_samples.data() + 2LL * first, count, made);
            });
            next += std::chrono::nanoseconds(static_cast<qint64>(kBlock / kRate * 1e9));
            std::this_thread::sleep_until(next);
        }
    }

    std::vector<float> m_samples;
    std::atomic<bool> m_ended{false};
    std::thread m_delivery;
};

double processorTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) * 1e-3;
}

// Of each turn of the loop, in microseconds, the longest last.
std::vector<double> turns(int dataSize)
{
    QUdpSocket client;
    client.bind(QHostAddress(QHostAddress::LocalHost), 0);
    const auto socket = QSharedPointer<Socket>::create();
    IQStream iq(socket, true, nullptr);
    FFTStream spectrum(socket, true, nullptr);
    Device device;
    iq.setHost(QHostAddress(QHostAddress::LocalHost), client.localPort());
    spectrum.setHost(QHostAddress(QHostAddress::LocalHost), client.localPort());
    iq.setDevice(&device);
    spectrum.setDevice(&device);
    spectrum.setDataRange(0, kFftSize, dataSize, kFftSize);

    std::vector<double> times;
    double last = processorTime();
    const auto note = [&] {
        const double now = processorTime();
        times.push_back(now - last);
        last = now;
    };
    QEventLoop loop;
    // Of Qt's dispatchers some handle events between the first and the second, others after the second.
    QAbstractEventDispatcher* const dispatcher = QAbstractEventDispatcher::instance();
    QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, &loop, note);
    QObject::connect(dispatcher, &QAbstractEventDispatcher::awake, &loop, note);
    iq.start();
    spectrum.start();
    QTimer::singleShot(kMeasured, &loop, &QEventLoop::quit);
    loop.exec();
    iq.stop();
    spectrum.stop();
    std::sort(times.begin(), times.end());
    return times;
}

} // namespace

void loopRows(Table& table)
{
    for (const int points : {1'000, kFftSize}) {
        const std::vector<double> times = turns(points);
        table.add(QStringLiteral("longest turn of the event loop, %1 points").arg(points), times.back(),
                  QStringLiteral("us"), kBar);
        table.add(QStringLiteral("- one in a hundred is longer than"),
                  times[times.size() - times.size() / 100 - 1], QStringLiteral("us"));
    }
}
