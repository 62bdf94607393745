#pragma once

/// What the program's exit code tells a script. docs/client.md has the table.
enum class ExitCode
{
    Done = 0,
    Failed = 1,       ///< Something on this machine: a file, a port, a full disk.
    Usage = 2,        ///< The command line says something that can't be done.
    NotFound = 3,     ///< No such server has been heard, or no such host is known.
    NoAnswer = 4,     ///< Nobody answers there.
    Refused = 5,      ///< The server lets nobody in, or not now.
    SessionLost = 6,  ///< A session had begun and has broken off.
    NotTaken = 7,     ///< The receiver has not taken a value.
    Interrupted = 130 ///< Ctrl-C before the end; as shells number it.
};
