#include "Receiving/PropertyInfo.h"

#include <algorithm>

namespace
{

using Type = PropertyInfo::Type;
constexpr std::array<PropertyInfo, 28> kProperties{{
    {"agc", Type::Boolean, true, "", "gain control of the receiver, on or off", {}, {}},
    {"ant", Type::Integer, true, "", "antenna: 5 is A, 6 is B", {5, 6}, {5, {{"antenna A", "antenna B"}}}},
    {"att", Type::Integer, true, "", "attenuator, 0 to 8, in steps of 6 dB", {0, 8}, {}},
    {"biasTee", Type::Boolean, true, "", "supply on the antenna socket, on or off", {}, {}},
    {"frequency",
     Type::Number,
     true,
     "Hz",
     "where the receiver is tuned, the middle of the spectrum",
     {},
     {}},
    {"gain", Type::Integer, true, "", "gain in the modes 0 and 1, 0 to 21", {0, 21}, {}},
    {"gainMode",
     Type::Integer,
     true,
     "",
     "0 linearity, 1 sensitivity, 2 each stage by hand",
     {0, 2},
     {0, {{"linearity", "sensitivity", "manual"}}}},
    {"levelCorrection", Type::Number, true, "dB", "added to levels by a client that shows them", {}, {}},
    {"lna", Type::Boolean, true, "", "preamplifier, on or off", {}, {}},
    {"lnaAgc", Type::Boolean, true, "", "gain control of the first stage, in mode 2", {}, {}},
    {"lnaGain", Type::Integer, true, "", "gain of the first stage, 0 to 15, in mode 2", {0, 15}, {}},
    {"mixerAgc", Type::Boolean, true, "", "gain control of the mixer, in mode 2", {}, {}},
    {"mixerGain", Type::Integer, true, "", "gain of the mixer, 0 to 15, in mode 2", {0, 15}, {}},
    {"objectName", Type::Text, true, "", "a name", {}, {}},
    {"offsetTuning",
     Type::Boolean,
     true,
     "",
     "keeps the middle of the band free of the receiver's own carrier",
     {},
     {}},
    {"ppmCorrection",
     Type::Integer,
     true,
     "ppm",
     "error of the receiver's clock, whole; counts from the next frequency set",
     {},
     {}},
    {"rtlAgc", Type::Boolean, true, "", "gain control of the digital part", {}, {}},
    {"rtlPpm", Type::Integer, true, "ppm", "error of the dongle's clock", {}, {}},
    {"running", Type::Boolean, false, "", "whether the receiver runs", {}, {}},
    {"sampleRate", Type::Number, true, "Hz", "rate of the receiver, the width of the spectrum", {}, {}},
    {"samplingMode",
     Type::Integer,
     true,
     "",
     "0 by way of the tuner, 1 and 2 past it, for short wave",
     {0, 2},
     {0, {{"tuner", "direct from I", "direct from Q"}}}},
    {"supportFrequencies",
     Type::List,
     false,
     "kHz",
     "lower and upper end of each band of the receiver",
     {},
     {}},
    {"supportSampleRates", Type::List, false, "Hz", "rates that the receiver has", {}, {}},
    {"swapIQ", Type::Boolean, true, "", "turns the band upside down, where the receiver can", {}, {}},
    {"tunerAgc", Type::Boolean, true, "", "holds tunerGain back while on", {}, {}},
    {"tunerGain", Type::Integer, true, "0.1 dB", "gain of the tuner", {}, {}},
    {"type", Type::Integer, false, "", "number of the kind of receiver", {}, {}},
    {"vgaGain", Type::Integer, true, "", "gain of the last stage, 0 to 15, in mode 2", {0, 15}, {}},
}};

} // namespace

const PropertyInfo* PropertyInfo::find(const QString& name)
{
    const auto* found =
        std::find_if(kProperties.begin(), kProperties.end(),
                     [&name](const PropertyInfo& row) { return name == QLatin1String(row.name); });
    return found == kProperties.end() ? nullptr : found;
}
