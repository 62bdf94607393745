#include "RadioDevice/Vendor/VendorCalls.h"

#include <algorithm>
#include <memory>
#include <utility>

VendorCalls::VendorCalls(std::chrono::milliseconds deadline)
    : m_deadline(deadline)
    , m_timeLeft(deadline)
{
}

VendorCalls::Operation::Operation(VendorCalls& calls)
    : m_calls(calls)
{
    if (m_calls.m_operations++ == 0) {
        m_calls.m_timeLeft = m_calls.m_deadline;
    }
}

std::optional<int> VendorCalls::run(const QString& what, std::function<int()> call,
                                    std::function<void()> late)
{
    const Operation operation(*this);
    return runOn(what, std::move(call), std::move(late));
}

std::optional<int> VendorCalls::runOn(const QString& what, std::function<int()> call,
                                      std::function<void()> late)
{
    const auto begin = std::chrono::steady_clock::now();
    const auto result = std::make_shared<int>(0);
    const bool back = BoundedCall::run(
        what, [result, call = std::move(call)] { *result = call(); },
        std::chrono::duration_cast<std::chrono::milliseconds>(m_timeLeft), std::move(late));
    const auto spent = std::chrono::steady_clock::now() - begin;
    m_timeLeft = std::max(m_timeLeft - spent, std::chrono::steady_clock::duration::zero());
    return back ? std::optional(*result) : std::nullopt;
}
