#include "Server/UnprovenSessions.h"

#include "Network/Socket/UnprovenBudget.h"

#include <algorithm>
#include <utility>

UnprovenSessions::UnprovenSessions(QSharedPointer<UnprovenBudget> budget, Clock clock)
    : m_budget(std::move(budget))
    , m_clock(std::move(clock))
{
}

void UnprovenSessions::begin(const QHostAddress& address, quint16 port)
{
    const Session session{address, port, m_clock()};
    release([&session](const Session& other) {
        return session.time - other.time >= kMinute || session.isAt(other.address, other.port);
    });
    if (!m_free || session.time - m_free->time >= kMinute) {
        m_free = session;
        return;
    }
    m_charged.push_back(session);
    m_budget->limit(address, port);
}

void UnprovenSessions::prove(const QHostAddress& address, quint16 port)
{
    release([&address, port](const Session& session) { return session.isAt(address, port); });
    if (m_free && m_free->isAt(address, port)) {
        m_free.reset();
    }
}

template <class Condition>
void UnprovenSessions::release(Condition condition)
{
    const auto kept =
        std::stable_partition(m_charged.begin(), m_charged.end(),
                              [&condition](const Session& session) { return !condition(session); });
    for (auto session = kept; session != m_charged.end(); ++session) {
        m_budget->release(session->address, session->port);
    }
    m_charged.erase(kept, m_charged.end());
}
