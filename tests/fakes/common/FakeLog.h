#pragma once

#include <string>

/// Writes down each call of a fake library, a line each, in the file that the environment variable FAKE_LOG
/// names: "rtlsdr_set_center_freq(dev1, 100000000) = 0". A call that blocks is written when it returns, or
/// where its fake says when it begins. Any thread.
class FakeLog
{
public:
    static void line(const std::string& text);
};
