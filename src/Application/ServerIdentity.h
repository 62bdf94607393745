#pragma once

#include "Network/Data/int160.h"

/// The persistent server address of a receiver, kept in the private settings under "server_id_" followed
/// by the receiver's identificator, as 40 lower-case hexadecimal digits.
/// Thread: main.
namespace ServerIdentity
{

/// The stored address, or a fresh random one that is stored first; always a fresh one with `regenerate`.
int160 load(const QString& identificator, bool regenerate);

} // namespace ServerIdentity
