#pragma once

#include "Client/RemoteDevice.h"
#include "Client/ServerFinder.h"
#include "Client/SpectrumFrame.h"
#include "Embedded/orvenlink/Values.h"

/// Between what the session knows and what a host sees.
/// Thread: that of the session.
namespace Conversion
{

[[nodiscard]] orvenlink::Server toServer(const ServerFinder::Server& server);
[[nodiscard]] orvenlink::Receiver toReceiver(const RemoteDevice& device);
/// Of a property that the device has.
[[nodiscard]] orvenlink::Property toProperty(const QString& name, const RemoteDevice& device);
/// `device`: for the frequencies that the frame's points are at.
[[nodiscard]] orvenlink::Spectrum toSpectrum(const SpectrumFrame& frame, const RemoteDevice& device);

/// What can be written to a property; invalid if it can't be meant.
[[nodiscard]] QVariant toVariant(const QString& name, const orvenlink::Value& value);

} // namespace Conversion
