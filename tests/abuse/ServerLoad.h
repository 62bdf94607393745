#pragma once

#include <QtGlobal>

/// What a process has had of the processor so far, all in seconds. Linux.
struct ServerLoad
{
    double ran = 0.0;       ///< Its main thread.
    double waited = 0.0;    ///< Its main thread, ready to run while another had the processor.
    double processor = 0.0; ///< All its threads, those included that have ended.

    static ServerLoad of(qint64 pid);
};

ServerLoad operator-(const ServerLoad& later, const ServerLoad& earlier);
