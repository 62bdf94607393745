#include "FakeAirspyFamily.h"

#include "FakeLog.h"
#include "FakeScript.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <utility>

std::string text(const FakeAirspyHandle* handle)
{
    if (handle == nullptr) {
        return "null";
    }
    return "dev" + std::to_string(handle->number) + (handle->closed ? " closed" : "");
}

std::uint64_t FakeAirspyFamily::serial(int place) const
{
    const bool present = place <= FakeScript::number("devices", 1) && !FakeScript::flag("unplug");
    const std::string value = FakeScript::text(key("serial." + std::to_string(place)), "");
    if (value.empty()) {
        return present ? static_cast<std::uint64_t>(place) : 0;
    }
    return FakeScript::flag("unplug") ? 0 : std::strtoull(value.c_str(), nullptr, 0);
}

int FakeAirspyFamily::list(std::uint64_t* serials, int count) const
{
    int found = 0;
    for (int i = 0; i < count; ++i) {
        serials[i] = serial(i + 1);
        found += serials[i] != 0 ? 1 : 0;
    }
    return found;
}

std::string FakeAirspyFamily::versionText() const
{
    const std::string hex = FakeScript::text(key("version.hex"), "");
    if (hex.empty()) {
        return FakeScript::text(key("version"), version);
    }
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<char>(std::strtol(hex.substr(i, 2).c_str(), nullptr, 16)));
    }
    return bytes;
}

void FakeAirspyFamily::readVersion(char* buffer, std::uint8_t size) const
{
    if (FakeScript::flag(key("version.full"))) {
        std::memset(buffer, 'x', size);
        return;
    }
    std::string value = versionText();
    value.resize(std::min<std::size_t>(value.size(), size - 1U));
    std::memcpy(buffer, value.c_str(), value.size() + 1);
}

void FakeAirspyFamily::readRates(std::uint32_t* buffer, std::uint32_t count) const
{
    std::istringstream words(FakeScript::text(key("rates"), rates));
    std::vector<std::uint32_t> present;
    for (std::uint32_t rate = 0; words >> rate;) {
        present.push_back(rate);
    }
    if (count == 0) {
        *buffer = static_cast<std::uint32_t>(
            FakeScript::number(key("rates.count"), static_cast<long long>(present.size())));
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        buffer[i] = i < present.size() ? present[i] : rateStep * (i + 1);
    }
}

void FakeAirspyFamily::start(FakeAirspyHandle& handle, Transfer transfer) const
{
    handle.delivery.start(
        handle.rate, transferSize,
        [family = *this, &handle, transfer = std::move(transfer),
         floats = std::vector<float>()](FakeSource& source, int samples, double rate) mutable {
            if (floats.empty() || !FakeScript::flag("steady")) {
                floats.clear();
                for (const FakeSource::Sample& sample : source.next(samples, rate)) {
                    floats.push_back(static_cast<float>(sample.i));
                    floats.push_back(static_cast<float>(sample.q));
                }
            }
            const std::string null = FakeScript::text(family.key("null"), "");
            transfer(null == "samples" ? nullptr : floats.data(),
                     static_cast<int>(FakeScript::number(family.key("count"), samples)), null == "transfer");
            if (FakeScript::flag(family.key("trace"))) {
                FakeLog::line(family.library + (" transfer " + text(&handle)));
            }
        });
}
