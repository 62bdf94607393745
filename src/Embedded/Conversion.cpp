#include "Embedded/Conversion.h"

#include "Core/Log/ForeignText.h"
#include "Network/Data/Base58.h"
#include "Receiving/DeviceText.h"
#include "Receiving/PropertyInfo.h"

#include <QVariant>
#include <cmath>

namespace
{

using orvenlink::Property;
using orvenlink::Value;
using Type = PropertyInfo::Type;

constexpr double kMostWhole = 9007199254740992.0; // a double tells whole numbers apart up to here

std::optional<std::int64_t> toWhole(double number)
{
    const bool isWhole = std::abs(number) <= kMostWhole && std::trunc(number) == number;
    return isWhole ? std::optional<std::int64_t>(static_cast<std::int64_t>(number)) : std::nullopt;
}

Value toNumber(double number, const PropertyInfo* info)
{
    const auto whole = toWhole(number);
    return info != nullptr && info->type == Type::Integer && whole ? Value(*whole) : Value(number);
}

Value toValue(const QVariant& value, const PropertyInfo* info)
{
    switch (static_cast<QMetaType::Type>(value.type())) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        return {};
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Double:
        return toNumber(value.toDouble(), info);
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        std::vector<std::string> texts;
        const QStringList list = value.toStringList();
        for (const QString& text : list) {
            texts.push_back(text.toStdString());
        }
        return texts;
    }
    default:
        return value.toString().toStdString();
    }
}

void describe(Property& property, const PropertyInfo& info)
{
    property.type = static_cast<Property::Type>(info.type);
    property.unit = info.unit;
    property.meaning = info.meaning;
    property.isWritable = info.isWritable;
    if (info.range.lowest < info.range.highest) {
        property.range = {static_cast<double>(info.range.lowest), static_cast<double>(info.range.highest),
                          1.0};
    }
    std::int64_t number = info.options.first;
    for (const char* const name : info.options.names) {
        if (name != nullptr) {
            property.options.push_back({number++, name});
        }
    }
}

// What only the receiver itself knows.
void describe(Property& property, const RemoteDevice& device)
{
    if (property.name == "frequency") {
        const auto ranges = device.supportedFrequencies();
        for (const RemoteDevice::FrequencyRange& range : ranges) {
            const Property::Range before =
                property.range.value_or(Property::Range{range.lowest, range.highest, 0.0});
            property.range = {std::min(before.lowest, range.lowest), std::max(before.highest, range.highest),
                              0.0};
        }
    } else if (property.name == "sampleRate") {
        const auto rates = device.supportedSampleRates();
        for (const double rate : rates) {
            property.options.push_back({std::llround(rate), QString::number(rate, 'f', 0).toStdString()});
        }
    }
}

} // namespace

orvenlink::Server Conversion::toServer(const ServerFinder::Server& server)
{
    const Announcement& announcement = server.announcement;
    return {Base58::encode(announcement.id.bytes()).toStdString(),
            server.address.toString().toStdString(),
            announcement.port,
            announcement.identificator.toStdString(),
            announcement.title.toStdString(),
            announcement.description.toStdString(),
            announcement.deviceType,
            announcement.isCompatible()};
}

orvenlink::Receiver Conversion::toReceiver(const RemoteDevice& device)
{
    orvenlink::Receiver receiver;
    receiver.type = device.type().value_or(-1);
    receiver.name = DeviceText::typeName(receiver.type).toStdString();
    receiver.frequency = device.frequency().value_or(0.0);
    receiver.sampleRate = device.sampleRate().value_or(0.0);
    const QVector<double> rates = device.supportedSampleRates();
    receiver.sampleRates.assign(rates.begin(), rates.end());
    const auto ranges = device.supportedFrequencies();
    for (const RemoteDevice::FrequencyRange& range : ranges) {
        receiver.frequencies.push_back({range.lowest, range.highest});
    }
    return receiver;
}

Property Conversion::toProperty(const QString& name, const RemoteDevice& device)
{
    const PropertyInfo* const info = PropertyInfo::find(name);
    Property property;
    property.name = name.toStdString();
    property.value = toValue(device.value(name), info);
    property.isWritable = true;
    if (info != nullptr) {
        describe(property, *info);
        describe(property, device);
    }
    return property;
}

orvenlink::Spectrum Conversion::toSpectrum(const SpectrumFrame& frame, const RemoteDevice& device)
{
    const double bin = device.sampleRate().value_or(0.0) / frame.range.fftSize; // Hz
    const double zero = device.frequency().value_or(0.0) - bin * frame.range.fftSize / 2;
    orvenlink::Spectrum spectrum;
    spectrum.decibels.assign(frame.decibels.begin(), frame.decibels.end());
    spectrum.lowest = zero + bin * frame.range.startIndex;
    spectrum.highest = zero + bin * frame.range.stopIndex;
    spectrum.time = std::chrono::milliseconds(frame.time);
    return spectrum;
}

QVariant Conversion::toVariant(const QString& name, const Value& value)
{
    const PropertyInfo* const info = PropertyInfo::find(name);
    const auto takes = [info](Type type) { return info == nullptr || info->type == type; };
    if (const auto* const boolean = std::get_if<bool>(&value)) {
        return takes(Type::Boolean) ? QVariant(*boolean) : QVariant();
    }
    if (const auto* const whole = std::get_if<std::int64_t>(&value)) {
        const bool isNumber = takes(Type::Integer) || takes(Type::Number);
        return isNumber ? QVariant(static_cast<qlonglong>(*whole)) : QVariant();
    }
    if (const auto* const number = std::get_if<double>(&value)) {
        const bool isTaken = takes(Type::Number) || (takes(Type::Integer) && toWhole(*number));
        return isTaken && std::isfinite(*number) ? QVariant(*number) : QVariant();
    }
    if (const auto* const text = std::get_if<std::string>(&value)) {
        return takes(Type::Text) ? QVariant(QString::fromStdString(*text)) : QVariant();
    }
    return {};
}
