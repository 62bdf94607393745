#pragma once

#include <functional>

/// Longest wait for a fact, ms: far beyond what even a sanitized build on a loaded machine takes.
constexpr int kPatience = 60'000;

/// Runs the event loop until `fact` holds, looking after every event. False if it never came to hold.
[[nodiscard]] bool waitUntil(const std::function<bool()>& fact, int milliseconds = kPatience);
