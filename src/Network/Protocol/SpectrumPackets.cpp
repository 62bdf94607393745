#include "Network/Protocol/SpectrumPackets.h"

#include <algorithm>

namespace
{

constexpr int kHeaderSize = 3; // values: the marker, the number of points, 0

} // namespace

void SpectrumPackets::writeHeader(int points, QVector<qint16>& header)
{
    header.resize(kHeaderSize);
    header[0] = kFrameMarker;
    header[1] = static_cast<qint16>(points);
    header[2] = 0;
}

std::optional<int> SpectrumPackets::readHeader(const QVector<qint16>& block)
{
    if (block.size() != kHeaderSize || block.at(0) != kFrameMarker || block.at(2) != 0) {
        return std::nullopt;
    }
    return static_cast<quint16>(block.at(1));
}

int SpectrumPackets::packetSize(int pointsLeft)
{
    return std::min(kPacketPoints, pointsLeft);
}
