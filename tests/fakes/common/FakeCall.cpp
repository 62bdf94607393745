#include "FakeCall.h"

#include "FakeLog.h"
#include "FakeScript.h"

#include <cstdio>
#include <map>
#include <mutex>

namespace
{

void hang(const std::string& name, int call)
{
    const std::string whole = "hang." + name;
    const std::string numbered = whole + "." + std::to_string(call);
    FakeScript::holdCaller(FakeScript::number("delay." + name, 0));
    FakeScript::waitWhile(whole);
    FakeScript::waitWhile(numbered);
}

} // namespace

int FakeCall::count(const std::string& name)
{
    // Never destroyed: calls that were given up go on while the process ends.
    static auto& mutex = *new std::mutex;
    static auto& counts = *new std::map<std::string, int>;
    static auto& epoch = *new std::string;
    const std::lock_guard lock(mutex);
    if (const std::string now = FakeScript::text("epoch", ""); now != epoch) {
        epoch = now;
        counts.clear();
    }
    return ++counts[name];
}

int FakeCall::result(int otherwise)
{
    hang(m_name, m_number);
    const long long always = FakeScript::number(m_name, otherwise);
    const auto value = static_cast<int>(FakeScript::number(m_name + "." + std::to_string(m_number), always));
    FakeLog::line(m_name + "(" + m_arguments + ") = " + std::to_string(value));
    return value;
}

void FakeCall::done()
{
    hang(m_name, m_number);
    FakeLog::line(m_name + "(" + m_arguments + ")");
}

std::string FakeCall::written(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}
