#pragma once

#include "abuse/Scene.h"

class WireClient;

/// What text of strangers does to a server: to its log, and to its processor and memory.
namespace ForeignText
{

struct LogFigures
{
    double bytes = 0.0;    ///< All that was logged.
    double controls = 0.0; ///< Control characters, tabulators aside.
    double forged = 0.0;   ///< Lines that the text itself began.
};

/// The log while forgeries arrive for so long, and until it has told what it left out.
LogFigures forgeLog(Scene& scene, int milliseconds);

/// Processor time of the server's main thread for one such body, in us: a mean over many.
double costOf(Scene& scene, WireClient& stranger, const QByteArray& body);

/// Resident memory, in MB, that a session's device takes for dynamic properties with values of 60 kB.
double memoryOfValues(Scene& scene, WireClient& stranger, int count);

} // namespace ForeignText
