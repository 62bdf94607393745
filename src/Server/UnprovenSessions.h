#pragma once

#include "Core/Log/SteadyClock.h"

#include <QHostAddress>
#include <QSharedPointer>
#include <functional>
#include <optional>
#include <vector>

class UnprovenBudget;

/// Keeps a server from being aimed at others: whoever asks for a session may write any address as its own. Of
/// the sessions whose client hasn't addressed them yet, one a minute is sent all that a session is sent. What
/// goes to the addresses of the others is charged to a budget, for the minute after their beginning even if
/// they have ended: something of them may still be on its way.
/// Thread: that of the Socket that has the budget.
class UnprovenSessions
{
public:
    using Clock = std::function<qint64()>; ///< Milliseconds; any epoch, never back.

    static constexpr qint64 kMinute = 60'000; ///< ms

    explicit UnprovenSessions(QSharedPointer<UnprovenBudget> budget,
                              Clock clock = &SteadyClock::milliseconds);

    [[nodiscard]] QSharedPointer<UnprovenBudget> budget() const { return m_budget; }

    /// A session has begun whose client is said to be there.
    void begin(const QHostAddress& address, quint16 port);

    /// The client is there.
    void prove(const QHostAddress& address, quint16 port);

private:
    struct Session
    {
        QHostAddress address;
        quint16 port = 0;
        qint64 time = 0; // ms, of its beginning

        [[nodiscard]] bool isAt(const QHostAddress& otherAddress, quint16 otherPort) const
        {
            return address == otherAddress && port == otherPort;
        }
    };

    template <class Condition>
    void release(Condition condition);

    QSharedPointer<UnprovenBudget> m_budget;
    Clock m_clock;
    std::optional<Session> m_free;  // the last one that nothing was charged for
    std::vector<Session> m_charged; // an address once at most
};
