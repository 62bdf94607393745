#include "Core/Worker/DspH/MixedCics.h"

#include <algorithm>

void MixedCics::append(CCicN3DecimateBy2* stage)
{
    if (size() < kMaxStages) {
        m_histories.push_back(stage->history());
    }
}

Kernels::CicStages MixedCics::stagesFrom(int first) const
{
    return {m_histories.data() + first, std::min(size() - first, Kernels::CicStages::kMaxStages)};
}

int MixedCics::process(TableOscillator& mixer, int count, DoubleComplex* samples)
{
    DoubleComplex* out = samples;
    for (int done = 0; done < count; done += kChunk) {
        int run = stagesFrom(0).count;
        int left = kChunk >> run;
        const auto target = [&] { return run < size() ? m_chunk.data() : out; };
        const int entry = mixer.advance(kChunk);
        Kernels::mixAndCics(samples + done, left, mixer.table(), entry, stagesFrom(0), target());
        while (run < size()) {
            const Kernels::CicStages stages = stagesFrom(run);
            run += stages.count;
            left >>= stages.count;
            Kernels::cics(m_chunk.data(), left, stages, target());
        }
        out += left;
    }
    return static_cast<int>(out - samples);
}
