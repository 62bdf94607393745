#pragma once

#include <string>

/// What every host of a test does with the library: finds the server, has a session with it, receives, and
/// goes. An empty text, or what went wrong.
std::string useLibrary(const std::string& place, const std::string& identificator);
/// Threads of this process.
int threadCount();
