#pragma once

#include "Network/Data/int160.h"

#include <QByteArray>
#include <QString>
#include <optional>

/// What a free server broadcasts once a second on the local network: a datagram of one compact JSON object,
/// without a type byte or anything else around it.
///
///   {"description":"...","device_type":0,"id":"40 hexadecimal digits","identificator":"...","port":40123,
///    "title":"...","vma":8,"vmi":0}
/// Thread: any.
struct Announcement
{
    static constexpr quint16 kPort = 45433; ///< UDP, that announcements are sent to.
    /// Bytes; the longest object that is read. Three texts, of which two may be the longest of file paths.
    static constexpr int kMaximumSize = 32768;

    int160 id; ///< The server's address; never null.
    int majorVersion = 0;
    int minorVersion = 0;
    quint16 port = 0;      ///< Where the server serves, which is not where the datagram came from; never 0.
    int deviceType = -1;   ///< A DefRadioDevice::Type.
    QString title;         ///< For people; of a decoded one as foreignText makes it.
    QString description;   ///< For people; likewise.
    QString identificator; ///< What connect_to_host has to name, exactly as it is: may hold anything.

    [[nodiscard]] QByteArray encode() const;

    /// True if this client speaks the server's protocol.
    [[nodiscard]] bool isCompatible() const;

    /// Bytes of anyone in, value or nothing out: nothing if a key is missing, of another type or out of its
    /// range, or if the datagram is longer than kMaximumSize. Keys beyond the eight are ignored.
    [[nodiscard]] static std::optional<Announcement> decode(const QByteArray& datagram);
};

bool operator==(const Announcement& left, const Announcement& right);
bool operator!=(const Announcement& left, const Announcement& right);
