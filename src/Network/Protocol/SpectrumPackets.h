#pragma once

#include <QVector>
#include <optional>

/// A spectrum frame: a run of SampleBlocks, each a datagram, without numbers.
///
///   header                  packet            packet             last packet
///   | 0x7F0F | points | 0 | | 252 points ... | 252 points ... ...| the rest, unless there is none |
///
/// `points` is unsigned, the low 16 bits of the frame's count. A point is -4 times the power in dB, so that
/// the stronger signal has the smaller value; 800 is one that there is no bin for. Any thread.
namespace SpectrumPackets
{

constexpr qint16 kFrameMarker = 0x7F0F;
constexpr int kPacketPoints = 252; ///< Of a full packet.
constexpr int kPointsPerDecibel = -4;
constexpr qint16 kNoBin = 800;

/// Makes `header` that of a frame of so many points. Nothing is taken from the heap if it has been one
/// before.
void writeHeader(int points, QVector<qint16>& header);

/// Points of the frame that the block begins, 0 to 65,535; nothing if it is no header.
[[nodiscard]] std::optional<int> readHeader(const QVector<qint16>& block);

/// Points of the next packet when so many of the frame are left, 1 or more.
[[nodiscard]] int packetSize(int pointsLeft);

} // namespace SpectrumPackets
