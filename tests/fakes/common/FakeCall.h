#pragma once

#include <string>

/// One call of a fake library's function: looks its result up in the script, hangs if it is told to
/// (`hang.NAME`, or `hang.NAME.N` for the N-th alone), and writes the call down when it returns.
///
///     int rtlsdr_set_center_freq(rtlsdr_dev_t* dev, uint32_t freq)
///     {
///         return FakeCall("rtlsdr_set_center_freq", dev, freq).result(0);
///     }
class FakeCall
{
public:
    template <class... Arguments>
    explicit FakeCall(const char* name, const Arguments&... arguments)
        : m_name(name)
    {
        [[maybe_unused]] const char* separator = "";
        ((m_arguments += separator + written(arguments), separator = ", "), ...);
        m_number = count(m_name);
    }

    /// Which call of its name this is, from 1, since the script's epoch changed.
    [[nodiscard]] int number() const { return m_number; }

    /// What the script has for this call, or `otherwise`; writes the call down with it.
    [[nodiscard]] int result(int otherwise);
    /// Writes the call down without a result.
    void done();

private:
    // A handle's fake has a `static std::string text(const Handle*)` next to the handle, in no namespace.
    static std::string written(int value) { return std::to_string(value); }
    static std::string written(unsigned value) { return std::to_string(value); }
    static std::string written(long value) { return std::to_string(value); }
    static std::string written(long long value) { return std::to_string(value); }
    static std::string written(unsigned long value) { return std::to_string(value); }
    static std::string written(unsigned long long value) { return std::to_string(value); }
    static std::string written(double value);
    static std::string written(const char* value) { return value; }
    static std::string written(const std::string& value) { return value; }
    template <class Handle>
    static std::string written(const Handle* handle)
    {
        return text(handle);
    }

    static int count(const std::string& name);

    std::string m_name;
    std::string m_arguments;
    int m_number = 0;
};
