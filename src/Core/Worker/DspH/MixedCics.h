#pragma once

#include "Core/Worker/DspH/CCicN3DecimateBy2.h"
#include "Core/Worker/DspH/PhaseBuffer.h"
#include "Core/Worker/DspH/TableOscillator.h"

#include <vector>

/// The mixer and the CIC stages behind it, run over a block in chunks that stay in the nearest cache, even
/// and odd positions apart from the mixer to the last stage. The same bits as one after another over the
/// whole block. Ownership: the stages stay their chain's, with their history.
class MixedCics
{
public:
    static constexpr int kChunk = 1'024; // samples
    static constexpr int kMaxStages = 7; // what would a chunk have left after more?

    /// Takes the stages out of use.
    void clear();
    void append(CCicN3DecimateBy2* stage);
    [[nodiscard]] int size() const { return static_cast<int>(m_stages.size()); }

    /// Mixes and filters `count` samples, a multiple of `kChunk`, and writes the outputs to the start of the
    /// array; returns how many there are. What stands behind them is of no use. There is one stage at least.
    int process(TableOscillator& mixer, int count, DoubleComplex* samples);

private:
    std::vector<CCicN3DecimateBy2*> m_stages;
    std::vector<PhaseBuffer> m_inputs; // of each stage
};
