#include "RadioDevice/IQPlayer/WavHeader.h"

#include <QtEndian>
#include <cmath>

namespace
{

constexpr double kMsPerDay = 86'400'000.0;

constexpr quint16 kIntegers = 1;
constexpr quint16 kFloats = 3;

template <class T>
T field(const std::array<char, WavHeader::kSize>& bytes, std::size_t offset)
{
    return qFromLittleEndian<T>(bytes.data() + offset);
}

} // namespace

WavHeader WavHeader::decode(const std::array<char, kSize>& bytes)
{
    WavHeader header;
    header.chunkSize = field<quint32>(bytes, 16);
    header.formatCode = field<quint16>(bytes, 20);
    header.channels = field<quint16>(bytes, 22);
    header.sampleRate = field<quint32>(bytes, 24);
    header.bytesPerSecond = field<quint32>(bytes, 28);
    header.frameSize = field<quint16>(bytes, 32);
    header.bitsPerSample = field<quint16>(bytes, 34);
    header.dataSize = field<quint32>(bytes, 40);
    return header;
}

int WavHeader::bytesPerValue() const
{
    switch (bitsPerSample) {
    case 8:
        return 1;
    case 16:
        return 2;
    case 32:
        return formatCode == kIntegers || formatCode == kFloats ? 4 : 0;
    default:
        return 0;
    }
}

QTime WavHeader::duration(qint64 fileSize) const
{
    double ms = 0.0;
    if (bytesPerValue() > 0 && sampleRate > 0) {
        ms = static_cast<double>(fileSize - kSize) / bytesPerValue() / sampleRate * 1000.0;
    }
    return QTime(0, 0).addMSecs(static_cast<int>(std::fmod(std::round(ms), kMsPerDay)));
}

qint64 WavHeader::durationSeconds() const
{
    if (bytesPerValue() == 0 || sampleRate == 0) {
        return 0;
    }
    return qRound64(static_cast<double>(dataSize) / sampleRate / bytesPerValue());
}
