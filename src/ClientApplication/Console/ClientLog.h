#pragma once

/// The log of the layers below, as a person at a terminal wants it: nothing, and at the end one line if there
/// was something to warn of. With --verbose, all of it on standard error.
/// Thread: main; messages come from any.
namespace ClientLog
{

/// Takes over Qt's message handler.
void install();
void setVerbose(bool verbose);
/// The line, if there was something; for the end of the process.
void summarize();

} // namespace ClientLog
