#pragma once

#include <functional>

/// One way to do a piece of work, as it is timed.
struct Task
{
    std::function<void()> run;
    /// Before each turn, untimed; may be empty.
    std::function<void()> prepare;
    /// Runs that one `prepare` is good for.
    int runs = 1'000'000;
};

/// What a comparison found, each the median of the rounds.
struct Figures
{
    double ours;  ///< Seconds a run.
    double peer;  ///< Seconds a run.
    double ratio; ///< Of ours to the peer's within a round: what slows a round down slows both.
};

/// Runs the two by turns and takes the processor time of this thread. A fifth of a second or a little more.
[[nodiscard]] Figures compare(const Task& ours, const Task& peer);

/// For values that the compiler could otherwise find unused.
void use(const void* value);
