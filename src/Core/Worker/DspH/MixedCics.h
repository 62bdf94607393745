#pragma once

#include "Core/Worker/DspH/CCicN3DecimateBy2.h"
#include "Core/Worker/DspH/TableOscillator.h"

#include <vector>

/// The mixer and the CIC stages after it, run over a block in chunks that stay in the nearest cache. The
/// same bits as one after another over the whole block.
/// Thread: that of its `DspH`.
/// Ownership: the stages stay their chain's, with their history.
class MixedCics
{
public:
    static constexpr int kChunk = 1'024; ///< Samples.
    /// More would leave too little of a chunk.
    static constexpr int kMaxStages = 7;

    /// Takes the stages out of use.
    void clear() { m_histories.clear(); }
    /// Does nothing for a stage too many.
    void append(CCicN3DecimateBy2* stage);
    void removeLast() { m_histories.pop_back(); }
    [[nodiscard]] int size() const { return static_cast<int>(m_histories.size()); }

    /// Mixes and filters `count` samples, a multiple of `kChunk`, and writes the outputs to the start of the
    /// array; returns how many there are. What is after them is of no use. There is at least one stage.
    int process(TableOscillator& mixer, int count, DoubleComplex* samples);

private:
    // The stages from `first` on that one kernel runs.
    [[nodiscard]] Kernels::CicStages stagesFrom(int first) const;

    std::vector<Kernels::CicHistory*> m_histories;
    AlignedSamples m_chunk{kChunk / 2}; // between two kernels
};
