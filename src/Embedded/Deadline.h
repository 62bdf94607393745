#pragma once

#include <algorithm>
#include <chrono>

/// The end of a time limit that begins now; one beyond a year is a year. Any thread.
[[nodiscard]] inline std::chrono::steady_clock::time_point deadlineAfter(std::chrono::milliseconds limit)
{
    constexpr std::chrono::hours kLongest(24 * 365);
    return std::chrono::steady_clock::now() + std::min<std::chrono::milliseconds>(limit, kLongest);
}
