#pragma once

/// The version of the protocol, as numbers; the application's own version is another.
/// Thread: any.
namespace ProtocolVersion
{

constexpr int kMajor = 8;
constexpr int kMinor = 0;

} // namespace ProtocolVersion
