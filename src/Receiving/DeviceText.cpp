#include "Receiving/DeviceText.h"

#include "Receiving/PropertyInfo.h"

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
    const PropertyInfo* row = PropertyInfo::find(property);
    return row == nullptr ? QString() : QString::fromLatin1(row->unit);
}

QString DeviceText::meaning(const QString& property)
{
    const PropertyInfo* row = PropertyInfo::find(property);
    return row == nullptr ? QString() : QString::fromLatin1(row->meaning);
}
