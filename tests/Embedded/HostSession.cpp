#include "Embedded/HostSession.h"

#include <orvenlink/Client.h>
#include <orvenlink/Finder.h>

#include <filesystem>

namespace
{

constexpr orvenlink::milliseconds kPatience(60'000);

std::string findServer()
{
    const orvenlink::Finder finder;
    for (int tries = 1; tries < 20; ++tries) {
        if (!finder.servers(tries * orvenlink::milliseconds(1'200)).empty()) {
            return {};
        }
    }
    return "the server is not heard";
}

} // namespace

std::string useLibrary(const std::string& place, const std::string& identificator)
{
    if (std::string trouble = findServer(); !trouble.empty()) {
        return trouble;
    }
    orvenlink::Client client;
    if (const orvenlink::Error error = client.connect(place, identificator, kPatience)) {
        return "connect: " + error.text;
    }
    if (client.receiver().name != "IQ file player") {
        return "another receiver: " + client.receiver().name;
    }
    if (const orvenlink::Error error = client.tune(14'251'000)) {
        return "tune: " + error.text;
    }
    if (const orvenlink::Error error = client.refresh(kPatience)) {
        return "refresh: " + error.text;
    }
    if (client.receiver().frequency != 14'251'000) {
        return "not tuned: " + std::to_string(client.receiver().frequency);
    }
    client.discard();
    std::vector<orvenlink::Sample> samples(4800);
    if (client.read(samples.data(), samples.size(), kPatience).count != samples.size()) {
        return "too few samples";
    }
    if (client.setSpectrum({}) || !client.waitForSpectrum(kPatience)) {
        return "no spectrum";
    }
    return {};
}

int threadCount()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}
