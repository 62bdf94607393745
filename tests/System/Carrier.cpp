#include "System/Carrier.h"

#include "System/Measure.h"
#include "support/WireClient.h"

#include <cmath>

namespace
{

constexpr int kFftSize = 4096;
constexpr int kTenDecibels = 40;   // in points of the spectrum
constexpr double kBeside = 3000;   // hertz
constexpr double kFaint = 20;      // counts on the wire: below it is no carrier
constexpr double kMeasured = 0.01; // seconds of samples: a tuner's steps put the carrier some ten hertz off

double outSampleRate(const WireClient& client)
{
    const auto calls = client.calls(QStringLiteral("outSampleRateChanged"));
    return calls.isEmpty() ? 0 : calls.last().body.value(QStringLiteral("outSampleRate")).toDouble();
}

} // namespace

bool Carrier::isSeen(WireClient& client, double offset, double sampleRate)
{
    const auto bins = static_cast<int>(std::lround(offset / sampleRate * kFftSize));
    const QJsonObject all{{QStringLiteral("startIndex"), 0},
                          {QStringLiteral("stopIndex"), kFftSize},
                          {QStringLiteral("dataSize"), kFftSize},
                          {QStringLiteral("fftSize"), kFftSize}};
    return client.askSession(QStringLiteral("fft_data_range"), all).has_value() && waitUntil([&client, bins] {
               const auto frame = client.nextFrame(kFftSize);
               const int middle = kFftSize / 2;
               // What is stronger has the smaller value.
               return frame && std::abs(Measure::strongest(frame->points) - (middle + bins)) <= 1 &&
                      frame->points[middle - bins] > frame->points[middle + bins] + kTenDecibels;
           });
}

bool Carrier::isHeard(WireClient& client, double offset)
{
    return client.askSession(QStringLiteral("setIF"), {{QStringLiteral("IF"), offset - kBeside}})
               .has_value() &&
           waitUntil([&client] { return outSampleRate(client) > 0; }) && waitUntil([&client] {
               const double rate = outSampleRate(client);
               client.forgetSamples();
               if (!client.waitForSamples(static_cast<size_t>(kMeasured * rate))) {
                   return false;
               }
               const double above = Measure::amplitude(client.samples(), kBeside, rate);
               const double below = Measure::amplitude(client.samples(), -kBeside, rate);
               return above > kFaint && above > 10 * below;
           });
}

bool Carrier::write(WireClient& client, const char* name, const QJsonValue& value)
{
    return client
        .ask(client.serverId(), QStringLiteral("wp_rrd"),
             {{QStringLiteral("n"), QLatin1String(name)}, {QStringLiteral("v"), value}})
        .has_value();
}
