#pragma once

namespace Process
{

/// Ends the process at once with this exit code. No object is unwound and no exit handler runs: a name
/// look-up that is still under way would hold up an ordinary exit for as long as its time-out. What was
/// logged is flushed first; settings are on disk as soon as they are written.
/// Thread: any.
[[noreturn]] void exit(int code);

} // namespace Process
