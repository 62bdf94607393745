#pragma once

#include <cstdint>
#include <functional>

/// How the callbacks of the library's stream find their device, and only while it wants them. The library
/// has one stream in a process, no handle whose closing would be its last word, and is closed: nobody can
/// say when it calls back for the last time. So its context is no address but the number of a start, and a
/// callback that comes late finds nobody under it, whatever was started or deleted since.
/// Thread: `begin`, `open` and `close` on the device's thread, `deliver` on the library's. A delivery waits
///         for nothing but the few instructions of those three; they wait for the block that is delivered.
class RspStream
{
public:
    using Receiver = std::function<void(const short* xi, const short* xq, unsigned count)>;

    /// Takes a new number and gives it, as the library's context. Its samples are dropped until `open`.
    [[nodiscard]] void* begin();
    /// From now on `receiver` gets this number's samples, and nobody any other's.
    void open(Receiver receiver);
    /// When this returns the receiver is not being called, nor will it be.
    void close();

    /// True while another stream has begun and isn't closed yet: the library is that one's.
    [[nodiscard]] bool isSuperseded() const;

    static void deliver(const void* context, const short* xi, const short* xq, unsigned count);

private:
    std::uintptr_t m_number = 0; // none
};
