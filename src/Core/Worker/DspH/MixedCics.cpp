#include "Core/Worker/DspH/MixedCics.h"

#include <cstddef>

void MixedCics::clear()
{
    m_stages.clear();
    m_inputs.clear();
}

void MixedCics::append(CCicN3DecimateBy2* stage)
{
    m_inputs.emplace_back(1, kChunk >> (size() + 1));
    m_stages.push_back(stage);
}

int MixedCics::process(TableOscillator& mixer, int count, DoubleComplex* samples)
{
    const std::size_t last = m_stages.size() - 1;
    DoubleComplex* out = samples;
    for (int done = 0; done < count; done += kChunk) {
        mixer.processApart(samples + done, kChunk, m_inputs[0].even(), m_inputs[0].odd());
        int outputs = kChunk / 2;
        for (std::size_t s = 0; s < last; ++s) {
            m_stages[s]->decimateApart(m_inputs[s].even(), m_inputs[s].odd(), outputs, m_inputs[s + 1].even(),
                                       m_inputs[s + 1].odd());
            outputs /= 2;
        }
        m_stages[last]->decimateApart(m_inputs[last].even(), m_inputs[last].odd(), outputs, out);
        out += outputs;
    }
    return static_cast<int>(out - samples);
}
