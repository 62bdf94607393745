#include "Core/Signal/Kernels/MixerTable.h"

namespace
{

constexpr int kRepeated = 16; // entries: as many as a kernel takes at once, at most

} // namespace

namespace Kernels
{

MixerTable::MixerTable(int length)
    : m_length(length)
    , m_direct(kLead + length + kRepeated)
    , m_crossed(kLead + length + kRepeated)
{
    for (int entry = 0; entry < length; ++entry) {
        set(entry, {1.0, 0.0});
    }
}

void MixerTable::set(int entry, DoubleComplex factor)
{
    for (int at = kLead + entry; at < kLead + m_length + kRepeated; at += m_length) {
        m_direct.data()[at] = {factor.re, factor.re};
        m_crossed.data()[at] = {-factor.im, factor.im};
    }
}

} // namespace Kernels
