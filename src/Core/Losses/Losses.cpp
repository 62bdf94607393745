#include "Core/Losses/Losses.h"

#include "Core/Log/Log.h"
#include "Core/Log/SteadyClock.h"

#include <utility>

namespace
{

constexpr qint64 kInterval = 1000; // ms

// In the order of Losses::Cause.
constexpr std::array<const char*, Losses::kCauses> kTexts{
    "samples, overrun in ring \"in\"",
    "samples, overrun in ring \"out\"",
    "samples of the recording, too late to be made up for",
    "samples, in blocks too large for the ring",
    "blocks, without usable data",
    "datagrams, not taken by the system",
    "datagrams, beyond the budget of unproven addresses",
};

} // namespace

Losses& Losses::process()
{
    // Never destroyed: threads of the receivers' libraries may count to the very end.
    static auto* const instance = new Losses;
    return *instance;
}

Losses::Losses()
    : Losses(&SteadyClock::milliseconds)
{
}

Losses::Losses(Clock clock)
    : m_clock(std::move(clock))
{
}

void Losses::add(Cause cause, qint64 count)
{
    m_totals[static_cast<std::size_t>(cause)].fetch_add(count, std::memory_order_relaxed);
}

qint64 Losses::total(Cause cause) const
{
    return m_totals[static_cast<std::size_t>(cause)].load(std::memory_order_relaxed);
}

void Losses::report()
{
    const qint64 now = m_clock();
    for (std::size_t i = 0; i < kCauses; ++i) {
        Told& told = m_told[i];
        const qint64 total = m_totals[i].load(std::memory_order_relaxed);
        if (total == told.total || (told.total > 0 && now - told.time < kInterval)) {
            continue;
        }
        LOG_WARNING() << QStringLiteral("Lost: %1 %2 (%3 in all)")
                             .arg(total - told.total)
                             .arg(QLatin1String(kTexts[i]))
                             .arg(total);
        told = {total, now};
    }
}

QStringList Losses::totals() const
{
    QStringList lines;
    for (std::size_t i = 0; i < kCauses; ++i) {
        lines.append(QStringLiteral("Lost %1: %2")
                         .arg(QLatin1String(kTexts[i]))
                         .arg(m_totals[i].load(std::memory_order_relaxed)));
    }
    return lines;
}
