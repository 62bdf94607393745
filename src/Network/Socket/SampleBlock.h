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
/// are there before it sizes anything.
namespace SampleBlock
{

QByteArray encode(const QVector<qint16>& samples);
QByteArray encode(const QVector<float>& first, const QVector<float>& second);

/// Bytes of the block that `samples` make.
int sizeOf(const QVector<qint16>& samples);

/// At level 9, the smallest.
QByteArray compress(const QByteArray& block);

/// As the two above, behind what `packet` holds already. Nothing is taken from the heap, after the first time
/// on a thread, by a packet that has reserved enough (`Deflater`).
void append(QByteArray& packet, const QVector<qint16>& samples);
void appendCompressed(QByteArray& packet, const QVector<qint16>& samples);

/// Nothing if there are fewer samples than the count says. What follows them is ignored.
std::optional<QVector<qint16>> decode(const QByteArray& block);

/// Each run empty if it is short; the second also if the first is.
std::pair<QVector<float>, QVector<float>> decodePair(const QByteArray& block);

/// The block that was compressed; nothing if the stream is damaged, holds more than the stated length, or if
/// that length is more than the stream could mean or than 16 MiB.
std::optional<QByteArray> uncompress(const QByteArray& data);

} // namespace SampleBlock
