#include "FakeSource.h"

#include "FakeScript.h"

#include <cmath>
#include <string>

const std::vector<FakeSource::Sample>& FakeSource::next(int count, double rate)
{
    const std::string source = FakeScript::text("source", "counter");
    const double turns = FakeScript::real("tone.hz", 1000.0) / rate;
    const double level = source == "tone" || source == "noise" ? FakeScript::real("tone.level", 0.5) : 0.0;
    std::uniform_real_distribution<double> noise(-level, level);
    m_counter = source == "counter";
    m_samples.resize(static_cast<std::size_t>(count));
    for (Sample& sample : m_samples) {
        if (m_counter) {
            sample = {static_cast<double>(2 * m_position), static_cast<double>(2 * m_position + 1)};
        } else if (source == "noise") {
            sample = {noise(m_generator), noise(m_generator)};
        } else {
            const double radians = 2.0 * M_PI * m_phase;
            sample = {level * std::cos(radians), level * std::sin(radians)};
        }
        ++m_position;
        m_phase = std::fmod(m_phase + turns, 1.0);
    }
    return m_samples;
}
