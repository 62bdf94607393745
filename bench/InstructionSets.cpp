#include "InstructionSets.h"

#include <hwy/targets.h>

void InstructionSets::forEach(const std::function<void(std::int64_t set)>& measure)
{
    for (const std::int64_t set : hwy::SupportedAndGeneratedTargets()) {
        hwy::GetChosenTarget().Update(set);
        measure(set);
    }
    hwy::GetChosenTarget().DeInit();
}

QString InstructionSets::name(std::int64_t set)
{
    switch (set) {
#if HWY_ARCH_X86
    case HWY_AVX3:
        return QStringLiteral("AVX-512");
    case HWY_EMU128:
    case HWY_SCALAR: // plain loops, which the compiler made of what every such processor has
        return QStringLiteral("SSE2");
#endif
    default:
        return QString::fromLatin1(hwy::TargetName(set));
    }
}

QString InstructionSets::best()
{
    return name(hwy::SupportedAndGeneratedTargets().front());
}

double InstructionSets::bar(const Bars& bars, std::int64_t set)
{
    switch (set) {
#if HWY_ARCH_X86
    case HWY_AVX3:
        return bars.avx512;
    case HWY_SSE4:
    case HWY_EMU128:
    case HWY_SCALAR:
        return bars.sse2;
#endif
    default:
        return bars.avx2;
    }
}
