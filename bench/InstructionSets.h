#pragma once

#include <QString>
#include <cstdint>
#include <functional>

/// The instruction sets that the kernels were built for and this processor has.
namespace InstructionSets
{

/// Runs `measure` with each of them forced in turn, best first; then the choice is the kernels' own again.
void forEach(const std::function<void(std::int64_t set)>& measure);

/// As makers of processors call it.
QString name(std::int64_t set);

/// The one that the kernels choose by themselves here.
QString best();

/// What a piece may cost with each; a negative one is no bar.
struct Bars
{
    double avx512;
    double avx2;
    double sse2; ///< Also with SSE4, for which there is no bar of its own.
};

/// The bar of `bars` for `set`: that of AVX2 where it is another maker's vectors.
double bar(const Bars& bars, std::int64_t set);

} // namespace InstructionSets
