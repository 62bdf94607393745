#pragma once

#include <QByteArray>

/// CRC-16 of ISO 3309, bit by bit: polynomial 0x1021 reflected, begun with all ones, complemented at the end.
inline int crc16(const QByteArray& bytes)
{
    unsigned crc = 0xFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1) ^ 0x8408U : crc >> 1;
        }
    }
    return static_cast<int>(~crc & 0xFFFFU);
}
