#include "Client/SpectrumFrame.h"

bool SpectrumRange::isValid() const
{
    const bool isPowerOfTwo = fftSize > 0 && (fftSize & (fftSize - 1)) == 0;
    return isPowerOfTwo && fftSize >= kMinimumFftSize && fftSize <= kMaximumFftSize && dataSize >= 1 &&
           dataSize <= kMaximumDataSize && startIndex >= -kMaximumFftSize &&
           stopIndex <= 2 * kMaximumFftSize && stopIndex > startIndex;
}

bool operator==(const SpectrumRange& left, const SpectrumRange& right)
{
    return left.startIndex == right.startIndex && left.stopIndex == right.stopIndex &&
           left.dataSize == right.dataSize && left.fftSize == right.fftSize;
}

bool operator!=(const SpectrumRange& left, const SpectrumRange& right)
{
    return !(left == right);
}
