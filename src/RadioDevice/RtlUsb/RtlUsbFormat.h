#pragma once

#include <atomic>

/// How the bytes of every RTL2832U dongle are read. Dongles deliver offset binary, with 128 for zero; clients
/// know them read as two's complement, so that the other way is a choice.
namespace RtlUsbFormat
{

/// Any thread. Takes effect at the next buffer.
inline std::atomic<bool> offsetBinary{false};

} // namespace RtlUsbFormat
