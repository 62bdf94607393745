#include "Receiving/DeviceText.h"

#include <algorithm>
#include <array>

namespace
{

struct TypeName
{
    int type;
    const char* name;
};
constexpr std::array<TypeName, 11> kTypes{{
    {-1, "unknown receiver"},
    {0, "IQ file player"},
    {1, "RTL-SDR (Android)"},
    {2, "RTL-SDR (TCP)"},
    {3, "Orvenlink"},
    {4, "Hermes Lite"},
    {5, "RTL-SDR"},
    {6, "Airspy HF+"},
    {7, "Airspy"},
    {8, "remote server of another kind"},
    {9, "RSP"},
}};

struct Property
{
    const char* name;
    const char* unit;
    const char* meaning;
};
constexpr std::array<Property, 28> kProperties{{
    {"agc", "", "gain control of the receiver, on or off"},
    {"ant", "", "antenna: 5 is A, 6 is B"},
    {"att", "", "attenuator, 0 to 8, in steps of 6 dB"},
    {"biasTee", "", "supply on the antenna socket, on or off"},
    {"frequency", "Hz", "where the receiver is tuned, the middle of the spectrum"},
    {"gain", "", "gain in the modes 0 and 1, 0 to 21"},
    {"gainMode", "", "0 linearity, 1 sensitivity, 2 each stage by hand"},
    {"levelCorrection", "dB", "added to levels by a client that shows them"},
    {"lna", "", "preamplifier, on or off"},
    {"lnaAgc", "", "gain control of the first stage, in mode 2"},
    {"lnaGain", "", "gain of the first stage, 0 to 15, in mode 2"},
    {"mixerAgc", "", "gain control of the mixer, in mode 2"},
    {"mixerGain", "", "gain of the mixer, 0 to 15, in mode 2"},
    {"objectName", "", "a name"},
    {"offsetTuning", "", "keeps the middle of the band free of the receiver's own carrier"},
    {"ppmCorrection", "ppm", "error of the receiver's clock, whole; counts from the next frequency set"},
    {"rtlAgc", "", "gain control of the digital part"},
    {"rtlPpm", "ppm", "error of the dongle's clock"},
    {"running", "", "whether the receiver runs"},
    {"sampleRate", "Hz", "rate of the receiver, the width of the spectrum"},
    {"samplingMode", "", "0 by way of the tuner, 1 and 2 past it, for short wave"},
    {"supportFrequencies", "kHz", "lower and upper end of each band of the receiver"},
    {"supportSampleRates", "Hz", "rates that the receiver has"},
    {"swapIQ", "", "turns the band upside down, where the receiver can"},
    {"tunerAgc", "", "holds tunerGain back while on"},
    {"tunerGain", "0.1 dB", "gain of the tuner"},
    {"type", "", "number of the kind of receiver"},
    {"vgaGain", "", "gain of the last stage, 0 to 15, in mode 2"},
}};

const Property* find(const QString& name)
{
    const auto* found = std::find_if(kProperties.begin(), kProperties.end(), [&name](const Property& row) {
        return name == QLatin1String(row.name);
    });
    return found == kProperties.end() ? nullptr : found;
}

} // namespace

QString DeviceText::typeName(int type)
{
    const auto* found =
        std::find_if(kTypes.begin(), kTypes.end(), [type](const TypeName& row) { return row.type == type; });
    return found == kTypes.end() ? QStringLiteral("receiver of kind %1").arg(type)
                                 : QString::fromLatin1(found->name);
}

QString DeviceText::unit(const QString& property)
{
    const Property* row = find(property);
    return row == nullptr ? QString() : QString::fromLatin1(row->unit);
}

QString DeviceText::meaning(const QString& property)
{
    const Property* row = find(property);
    return row == nullptr ? QString() : QString::fromLatin1(row->meaning);
}
