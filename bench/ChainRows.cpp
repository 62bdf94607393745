#include "Core/Worker/DspH/DownConvertor.h"
#include "Core/Worker/DspH/RotatingOscillator.h"
#include "Core/Worker/DspH/TableOscillator.h"
#include "Core/Worker/RingBuffer.h"
#include "InstructionSets.h"
#include "Rounds.h"
#include "Rows.h"
#include "Table.h"

#include <QVector>
#include <algorithm>

namespace
{

constexpr int kTier = 1;
constexpr float kBandWidth = 30'000.0F; // hertz
constexpr float kAliasFree = 8'000.0F;
constexpr int kRingCapacity = 262'144; // samples, as receivers have it
constexpr double kTuned = 123'456.0;

struct Rate
{
    double hertz;
    int block; // samples, that the signal path takes at once at this rate
    InstructionSets::Bars bars;
};

constexpr double kGrowthBar = 1.05;
constexpr Rate kSlow{2'400'000.0, 32'768, {3.0, 3.0, 4.3}};
constexpr Rate kFast{10'000'000.0, 65'536, {2.7, 2.7, 3.8}};
constexpr Rate kFastest{38'400'000.0, 65'536, {-1.0, -1.0, -1.0}};

// Both mixers and the decimators between them, as the worker runs them, in place on a block.
class Chain
{
public:
    explicit Chain(const Rate& rate)
        : m_ring(kRingCapacity)
        , m_input(rate.block, DoubleComplex{0.5, -0.25})
        , m_work(rate.block)
    {
        const float outRate =
            m_convertor.setup(rate.block, static_cast<float>(rate.hertz), kBandWidth, kAliasFree, kTier);
        m_coarse.setSampleRate(rate.hertz);
        m_coarse.setFrequency(kTuned);
        m_fine.setFrequencyAndRate(m_coarse.residual(), static_cast<double>(outRate));
    }

    Task task()
    {
        return {[this] { process(); }, [this] { copy(); }, 1};
    }

    // What the worker does before it: takes a block that another thread has left in the ring.
    Task readTask()
    {
        return {[this] {
                    m_ring.read(m_readIndex, m_work.data(), m_work.size());
                    m_readIndex = m_ring.advance(m_readIndex, m_work.size());
                    use(m_work.constData());
                },
                {}};
    }

    // The copy alone, of what the nearest cache that holds both has.
    Task copyTask()
    {
        return {[this] { copy(); }, {}};
    }

private:
    void copy()
    {
        std::copy(m_input.cbegin(), m_input.cend(), m_work.begin());
        use(m_work.constData());
    }

    void process()
    {
        const int count = m_convertor.process(m_coarse, m_work.size(), m_work.data());
        m_fine.process(m_work.data(), count);
        use(m_work.constData());
    }

    RingBuffer<DoubleComplex> m_ring;
    int m_readIndex = 0;
    const QVector<DoubleComplex> m_input;
    QVector<DoubleComplex> m_work;
    TableOscillator m_coarse;
    DownConvertor m_convertor;
    RotatingOscillator m_fine;
};

QString text(const Rate& rate)
{
    return QStringLiteral("chain at %1 million samples/s").arg(rate.hertz / 1e6);
}

} // namespace

void chainRows(Table& table)
{
    InstructionSets::forEach([&table](std::int64_t set) {
        const QString name = InstructionSets::name(set);
        for (const Rate& rate : {kSlow, kFast, kFastest}) {
            Chain chain(rate);
            const double samples = rate.block;
            table.add({text(rate), name, QStringLiteral("a copy of the block from the ring"),
                       InstructionSets::bar(rate.bars, set), Table::Unit::Nanoseconds, samples, samples},
                      compare(chain.task(), chain.readTask()));
            table.add({text(rate), name, QStringLiteral("a copy of the block within the cache"), -1.0,
                       Table::Unit::Nanoseconds, samples, samples},
                      compare(chain.task(), chain.copyTask()));
        }
        for (const Rate& rate : {kFast, kFastest}) {
            Chain ours(rate);
            Chain slow(kSlow);
            table.add({text(rate), name, QStringLiteral("the same at 2.4 million"), kGrowthBar,
                       Table::Unit::Nanoseconds, static_cast<double>(rate.block),
                       static_cast<double>(kSlow.block)},
                      compare(ours.task(), slow.task()));
        }
    });
}
