#pragma once

#include <random>
#include <vector>

/// The samples that a fake receives on its air, by the script's key `source`:
///   counter   the values 0, 1, 2, ... one after the other, I of sample n is 2 n and Q is 2 n + 1, for a fake
///             to cut to the width of its own format; this is the default
///   tone      a carrier `tone.hz` above the middle (I the cosine, Q the sine) of `tone.level`, 0 to 1
///   noise     white, of `tone.level`
///   silence   zeros
class FakeSource
{
public:
    struct Sample
    {
        double i;
        double q;
    };

    /// The next `count` samples at `rate` hertz. Valid until the next call.
    const std::vector<Sample>& next(int count, double rate);

    /// Whether the last samples are counts, not values of -1 to 1.
    [[nodiscard]] bool isCounter() const { return m_counter; }

private:
    std::vector<Sample> m_samples;
    bool m_counter = true;
    long long m_position = 0; // samples given
    double m_phase = 0.0;     // turns
    std::mt19937 m_generator;
};
