#pragma once

#include <QString>

/// Measures until nothing is in the way of judging it, three times at the most; gives the last result, whose
/// `obstacle` tells what was.
template <typename Measure>
auto attempt(Measure measure)
{
    constexpr int kAttempts = 3;
    auto result = measure();
    for (int i = 1; i < kAttempts && !result.obstacle.isEmpty(); ++i) {
        result = measure();
    }
    return result;
}
