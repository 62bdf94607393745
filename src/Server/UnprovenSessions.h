#pragma once

#include "Core/Log/SteadyClock.h"

#include <QHostAddress>
#include <QSharedPointer>
#include <functional>
#include <optional>
#include <vector>

class UnprovenBudget;

/// Keeps a server from being used to flood others: whoever asks for a session can forge the address it asks
/// from. Of the sessions to which their client hasn't sent anything yet, one a minute gets all that a session
/// gets. What is sent to the addresses of the others is charged to a budget, until a minute after their start
/// even if they end before: some of it may still be queued.
/// Thread: that of the Socket that has the budget.
class UnprovenSessions
{
public:
    using Clock = std::function<qint64()>; ///< Milliseconds of any epoch, never going back.

    static constexpr qint64 kMinute = 60'000; ///< ms

    explicit UnprovenSessions(QSharedPointer<UnprovenBudget> budget,
                              Clock clock = &SteadyClock::milliseconds);

    [[nodiscard]] QSharedPointer<UnprovenBudget> budget() const { return m_budget; }

    /// A session has begun, whose client claims this address.
    void begin(const QHostAddress& address, quint16 port);

    /// The client has proved that the address is its own.
    void prove(const QHostAddress& address, quint16 port);

private:
    struct Session
    {
        QHostAddress address;
        quint16 port = 0;
        qint64 time = 0; // ms, of its start

        [[nodiscard]] bool isAt(const QHostAddress& otherAddress, quint16 otherPort) const
        {
            return address == otherAddress && port == otherPort;
        }
    };

    template <class Condition>
    void release(Condition condition);

    QSharedPointer<UnprovenBudget> m_budget;
    Clock m_clock;
    std::optional<Session> m_free;  // the last one that nothing is charged for
    std::vector<Session> m_charged; // each address once at most
};
