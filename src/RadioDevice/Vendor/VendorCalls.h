#pragma once

#include "RadioDevice/Vendor/BoundedCall.h"

#include <optional>

/// What a driver asks of its vendor's library, held to a deadline: BoundedCall for functions that give an
/// int. Whoever uses it asks nothing more about a handle whose call was left behind (see VendorHandle).
/// Thread: the device's.
class VendorCalls
{
public:
    explicit VendorCalls(std::chrono::milliseconds deadline = BoundedCall::kDeadline);

    /// While the outermost of these lives all calls share one deadline, as those of a start do.
    class Operation
    {
    public:
        explicit Operation(VendorCalls& calls);
        Operation(const Operation&) = delete;
        Operation& operator=(const Operation&) = delete;
        ~Operation() { --m_calls.m_operations; }

    private:
        VendorCalls& m_calls;
    };

    /// What `call` gives, or nothing if it was left behind. An operation of its own outside of any. What
    /// both functions touch, and `late` does, is told at BoundedCall::run.
    [[nodiscard]] std::optional<int> run(const QString& what, std::function<int()> call,
                                         std::function<void()> late = nullptr);
    /// The same, outside of any operation, in the time that the last one has left over.
    [[nodiscard]] std::optional<int> runOn(const QString& what, std::function<int()> call,
                                           std::function<void()> late = nullptr);

private:
    const std::chrono::milliseconds m_deadline;
    std::chrono::steady_clock::duration m_timeLeft; // of the present operation's, or the last one's
    int m_operations = 0;                           // one within another
};
