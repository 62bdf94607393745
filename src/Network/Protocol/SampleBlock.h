#pragma once

#include <QByteArray>
#include <QVector>
#include <optional>
#include <utility>

/// The payload of the stream packets, after their type byte. All numbers are big-endian:
///
///   0            4
///   | count      | count samples ...              16-bit integers, or 32-bit floats
///
/// Two runs of floats simply follow each other. A compressed block is
///
///   0            4
///   | length     | zlib stream (RFC 1950) ...     length: bytes of the block that was compressed
///
/// Bytes in, value or nothing out: it knows no socket. A count or a length is checked against the bytes that
/// are there before it sizes anything. Any thread.
namespace SampleBlock
{

/// 16 MiB: far above any block that is sent, far below what a full datagram of zeros could blow up to.
constexpr int kMaxUncompressed = 16'777'216; // bytes

QByteArray encode(const QVector<qint16>& samples);
QByteArray encode(const QVector<float>& first, const QVector<float>& second);

/// Bytes of the block that `count` 16-bit samples make.
int sizeOf(int count);

/// Appends the block to what `packet` holds already, as it is or compressed at level 9, the smallest. Nothing
/// is taken from the heap, after the first time on a thread, by a packet that has reserved enough
/// (`Deflater`).
void append(QByteArray& packet, const QVector<qint16>& samples);
void appendCompressed(QByteArray& packet, const QVector<qint16>& samples);

/// Nothing if there are fewer samples than the count says. What follows them is ignored.
std::optional<QVector<qint16>> decode(const QByteArray& block);

/// Each run empty if it is short; the second also if the first is.
std::pair<QVector<float>, QVector<float>> decodePair(const QByteArray& block);

/// The block that was compressed; nothing if the stream is damaged, holds more than the stated length, or if
/// that length is more than the stream could mean or than `maximumSize` bytes.
std::optional<QByteArray> uncompress(const QByteArray& data, int maximumSize = kMaxUncompressed);

} // namespace SampleBlock
