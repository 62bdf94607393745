#include "FakeScript.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <map>
#include <thread>

namespace
{

constexpr std::chrono::milliseconds kPoll{2}; // between two looks at the script

std::string trimmed(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t");
    return first == std::string::npos ? std::string()
                                      : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

using Lines = std::map<std::string, std::string>;

Lines read()
{
    const char* name = std::getenv("FAKE_SCRIPT");
    std::ifstream file(name != nullptr ? name : "");
    Lines lines;
    for (std::string line; std::getline(file, line);) {
        const auto equals = line.find('=');
        if (!line.empty() && line[0] != '#' && equals != std::string::npos) {
            lines[trimmed(line.substr(0, equals))] = trimmed(line.substr(equals + 1));
        }
    }
    return lines;
}

std::string find(const Lines& lines, const std::string& key, const std::string& otherwise)
{
    const auto line = lines.find(key);
    return line == lines.end() ? otherwise : line->second;
}

} // namespace

std::string FakeScript::text(const std::string& key, const std::string& otherwise)
{
    // Never destroyed: calls that were given up go on while the process ends.
    static const auto& first = *new Lines(read());
    static const bool steady = find(first, "steady", "0") == "1";
    return steady ? find(first, key, otherwise) : find(read(), key, otherwise);
}

long long FakeScript::number(const std::string& key, long long otherwise)
{
    const std::string value = text(key, "");
    return value.empty() ? otherwise : std::strtoll(value.c_str(), nullptr, 0);
}

void FakeScript::waitWhile(const std::string& key)
{
    while (flag(key)) {
        // The script is a file that another process replaces: nothing tells of it but a look.
        std::this_thread::sleep_for(kPoll);
    }
}

void FakeScript::holdCaller(long long milliseconds)
{
    // The time is what is played; no fact ends it.
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

double FakeScript::real(const std::string& key, double otherwise)
{
    const std::string value = text(key, "");
    return value.empty() ? otherwise : std::strtod(value.c_str(), nullptr);
}
