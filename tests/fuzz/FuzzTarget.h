#pragma once

#include "Network/Socket/Socket.h"

#include <QByteArray>
#include <QSharedPointer>
#include <QVector>
#include <cstddef>
#include <cstdint>

/// What a fuzz target defines and its driver calls: libFuzzer, or the Driver.cpp of this folder. Ends the
/// process if a promise is broken; returns 0. Keeps nothing from one input to the next.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace FuzzTarget
{

// An input is a row of datagrams. A file that holds one datagram, just as it was on the wire, is such a row;
// longer ones have one of these between two.
constexpr char kNext[] = "<next>"; ///< The following datagram comes at once.
constexpr char kLate[] = "<late>"; ///< A second passes, in which a target may do more.

struct Arrival
{
    QByteArray datagram;
    bool isLate = false;
};

/// The datagrams of an input, at least one. The first to call it makes the process's QCoreApplication and
/// silences the log.
QVector<Arrival> arrivals(const std::uint8_t* data, std::size_t size);

/// What a target's objects send through: a Socket that is bound to no port.
QSharedPointer<Socket> socket();
/// A port on loopback whose datagrams nobody reads.
quint16 deafPort();

/// Ends the process, with the promise on standard error, unless it is kept.
void expect(bool isKept, const char* promise);

} // namespace FuzzTarget
