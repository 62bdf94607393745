#pragma once

#include "Core/Log/SteadyClock.h"

#include <QHostAddress>
#include <deque>
#include <functional>
#include <vector>

/// Bounds what goes out to addresses that nobody has proven to be his: whoever forges the source of one short
/// request must not have a stream sent there. All limited addresses together get 32 KiB in any 10 seconds.
/// Thread: that of the Socket which asks it.
class UnprovenBudget
{
public:
    using Clock = std::function<qint64()>; ///< Milliseconds; any epoch, never back.

    static constexpr int kBytes = 32 * 1024;  ///< Of payload.
    static constexpr qint64 kWindow = 10'000; ///< ms

    explicit UnprovenBudget(Clock clock = &SteadyClock::milliseconds);

    /// From now on what goes to this address and port is charged. No more once `release` is called, which the
    /// owner has to do for each in the end.
    void limit(const QHostAddress& address, quint16 port);
    void release(const QHostAddress& address, quint16 port);
    [[nodiscard]] bool isLimited(const QHostAddress& address, quint16 port) const;

    /// Whether a datagram of `size` bytes may go there now; charges it if so. Always true, and free, for an
    /// address that isn't limited.
    [[nodiscard]] bool admit(const QHostAddress& address, quint16 port, int size);

private:
    struct Destination
    {
        QHostAddress address;
        quint16 port = 0;
    };
    struct Charge
    {
        qint64 time = 0; // ms
        int bytes = 0;
    };

    [[nodiscard]] std::vector<Destination>::const_iterator find(const QHostAddress& address,
                                                                quint16 port) const;
    void forgetUntil(qint64 time);

    Clock m_clock;
    std::vector<Destination> m_limited;
    std::deque<Charge> m_charges; // of the last kWindow, oldest first
    int m_charged = 0;            // bytes, sum of m_charges
};
