#include "Network/Socket/UnprovenBudget.h"

#include <algorithm>
#include <utility>

UnprovenBudget::UnprovenBudget(Clock clock)
    : m_clock(std::move(clock))
{
}

void UnprovenBudget::limit(const QHostAddress& address, quint16 port)
{
    if (!isLimited(address, port)) {
        m_limited.push_back({address, port});
    }
}

void UnprovenBudget::release(const QHostAddress& address, quint16 port)
{
    const auto found = find(address, port);
    if (found != m_limited.cend()) {
        m_limited.erase(found);
    }
}

bool UnprovenBudget::isLimited(const QHostAddress& address, quint16 port) const
{
    return find(address, port) != m_limited.cend();
}

// An IPv4 address is the same one in its form of 128 bits.
std::vector<UnprovenBudget::Destination>::const_iterator UnprovenBudget::find(const QHostAddress& address,
                                                                              quint16 port) const
{
    return std::find_if(m_limited.cbegin(), m_limited.cend(), [&](const Destination& destination) {
        return destination.port == port &&
               destination.address.isEqual(address, QHostAddress::ConvertV4MappedToIPv4);
    });
}

bool UnprovenBudget::admit(const QHostAddress& address, quint16 port, int size)
{
    if (!isLimited(address, port)) {
        return true;
    }
    const qint64 now = m_clock();
    forgetUntil(now - kWindow);
    if (m_charged + size > kBytes) {
        return false;
    }
    if (m_charges.empty() || m_charges.back().time != now) {
        m_charges.push_back({now, 0});
    }
    m_charges.back().bytes += size;
    m_charged += size;
    return true;
}

void UnprovenBudget::forgetUntil(qint64 time)
{
    while (!m_charges.empty() && m_charges.front().time <= time) {
        m_charged -= m_charges.front().bytes;
        m_charges.pop_front();
    }
}
