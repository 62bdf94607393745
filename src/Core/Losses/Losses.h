#pragma once

#include <QStringList>
#include <QtGlobal>
#include <array>
#include <atomic>
#include <functional>

/// Counts what the program had to give up, by cause, so that nothing is lost in silence.
/// Thread: `add` and `total` may be called from any and never wait; the rest is for the main thread.
class Losses
{
public:
    using Clock = std::function<qint64()>; ///< Milliseconds since any moment; never goes back.

    /// "stat" prints them in this order.
    enum class Cause
    {
        InRing,         ///< Samples that the receiver overwrote before DspH had read them.
        OutRing,        ///< Samples that DspH overwrote before the stream had sent them.
        Recording,      ///< Samples of a recording that were due too long ago to be made up for.
        LargeBlocks,    ///< Samples of blocks that no ring can hold.
        UnusableBlocks, ///< Blocks of a receiver's library that hold no samples to use.
        Unsent,         ///< Datagrams that the system did not take.
        OverBudget,     ///< Datagrams beyond what an unproven address is sent.
    };
    static constexpr std::size_t kCauses = 7;

    /// The counts of the whole program.
    static Losses& process();

    Losses();
    explicit Losses(Clock clock);

    /// `count` is 0 or more.
    void add(Cause cause, qint64 count);

    /// What was lost since the start.
    [[nodiscard]] qint64 total(Cause cause) const;

    /// Warns of each cause that has lost something since its last line: one line a cause, and no cause
    /// twice within a second. Called about once a second.
    void report();

    /// A line for each cause with its total, also for those without a loss.
    [[nodiscard]] QStringList totals() const;

private:
    Q_DISABLE_COPY_MOVE(Losses)

    struct Told
    {
        qint64 total = 0;
        qint64 time = 0; // ms
    };

    Clock m_clock;
    std::array<std::atomic<qint64>, kCauses> m_totals{};
    std::array<Told, kCauses> m_told{};
};
