#pragma once

/// The library's log lines on their way to the host.
namespace HostLog
{

/// From now on all lines of the library go where orvenlink::setLogHandler tells. Any thread.
void install();

} // namespace HostLog
