#include "FakeScript.h"

#include <cstdlib>
#include <fstream>

namespace
{

std::string trimmed(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t");
    return first == std::string::npos ? std::string()
                                      : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

} // namespace

std::string FakeScript::text(const std::string& key, const std::string& otherwise)
{
    const char* name = std::getenv("FAKE_SCRIPT");
    std::ifstream file(name != nullptr ? name : "");
    std::string result = otherwise;
    for (std::string line; std::getline(file, line);) {
        const auto equals = line.find('=');
        if (line.empty() || line[0] == '#' || equals == std::string::npos) {
            continue;
        }
        if (trimmed(line.substr(0, equals)) == key) {
            result = trimmed(line.substr(equals + 1));
        }
    }
    return result;
}

long long FakeScript::number(const std::string& key, long long otherwise)
{
    const std::string value = text(key, "");
    return value.empty() ? otherwise : std::strtoll(value.c_str(), nullptr, 0);
}

double FakeScript::real(const std::string& key, double otherwise)
{
    const std::string value = text(key, "");
    return value.empty() ? otherwise : std::strtod(value.c_str(), nullptr);
}
