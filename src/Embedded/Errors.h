#pragma once

#include "Embedded/orvenlink/Values.h"
#include "Receiving/ServerResolver.h"

/// Why there is no session, for a host.
/// Thread: any.
namespace Errors
{

[[nodiscard]] orvenlink::Error make(orvenlink::Error::Code code, const QString& text);
[[nodiscard]] orvenlink::Error of(const ServerResolver::Failure& failure);
/// `text` is the server's.
[[nodiscard]] orvenlink::Error of(ClientSession::Refusal refusal, const QString& text);
/// `deviceError` is the server's, empty if there was none.
[[nodiscard]] orvenlink::Error of(ClientSession::End end, const QString& deviceError);

} // namespace Errors
