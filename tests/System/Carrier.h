#pragma once

#include <QJsonValue>

class WireClient;

/// Looks for the one carrier on the air, as a client with a session has it. Each waits until it is so.
namespace Carrier
{

/// It is in the spectrum `offset` hertz from the middle, and nothing is as far on the other side.
[[nodiscard]] bool isSeen(WireClient& client, double offset, double sampleRate);

/// When tuned next to it, it is 3 kHz above the middle of the IQ stream, and not below.
[[nodiscard]] bool isHeard(WireClient& client, double offset);

/// Writes a property of the receiver.
[[nodiscard]] bool write(WireClient& client, const char* name, const QJsonValue& value);

} // namespace Carrier
