#pragma once

#include <string>

/// What a fake library is to do, from the file that the environment variable FAKE_SCRIPT names. A test
/// rewrites the file as it goes (whole, by renaming a new one over it: see support/FakeVendor.h), and each
/// question reads it again. Lines are "key = value", a later one wins; blank lines and '#' lines are skipped.
/// Without a file every question has its `otherwise` for an answer.
///
/// Keys that all fakes know:
///   epoch            any text; when it changes, the calls of each name are counted from 1 again
///   NAME             what every call of the function NAME gives: rtlsdr_open = -6
///   NAME.N           what its N-th call gives, before the above: rtlsdr_open.2 = -6
///   delay.NAME       milliseconds that a call of NAME takes
///   hang.NAME        1: calls of NAME don't return until this is 0 again
///   hang.NAME.N      the same of its N-th call alone
///   devices          how many receivers there are
///   unplug           1: the receivers are gone: none is listed, the delivery ends as the library ends it
///   stall            1: nothing is delivered, and nothing is said
///   source           counter, tone, noise or silence (FakeSource)
///   tone.hz          of the tone, relative to the middle
///   tone.level       of the tone or the noise, 0 to 1
///   rate             samples a second; without it the rate that was set by the library's call
///   buffer           samples a buffer; without it the library's own count
///   buffers          buffers that a start delivers, then it stalls; without it no limit
///   pace             real: a buffer takes as long as its samples last; fast: 1 ms
///   steady           1: the script stays as it is at the first question, and the RTL's and the Airspy's
///                    first buffer comes again and again, so that the fake takes next to nothing of the
///                    processor
/// A fake names its own keys in its own file.
class FakeScript
{
public:
    static std::string text(const std::string& key, const std::string& otherwise);
    static long long number(const std::string& key, long long otherwise);
    static double real(const std::string& key, double otherwise);
    static bool flag(const std::string& key) { return number(key, 0) != 0; }

    /// Returns once the flag is off.
    static void waitWhile(const std::string& key);
    /// A slow library: the caller is held for so long, whatever happens meanwhile.
    static void holdCaller(long long milliseconds);
};
