#pragma once

class AbstractRadioDevice;
class FFTStream;
class UserSocket;

/// What a session's client may ask of it besides the device's properties.
/// Thread: that of the session's Socket.
namespace SessionCommands
{

/// Declares setIF, setupDspH and fft_data_range on `session`. Each has an empty reply, whether it was
/// understood or not. `device` may go before the session does, `spectrum` may not.
void declare(UserSocket& session, AbstractRadioDevice* device, FFTStream& spectrum);

} // namespace SessionCommands
