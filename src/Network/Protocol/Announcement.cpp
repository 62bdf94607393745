#include "Network/Protocol/Announcement.h"

#include "Core/Log/ForeignText.h"
#include "Network/Data/JsonText.h"
#include "Network/Protocol/ProtocolVersion.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>
#include <limits>

namespace
{

constexpr int kMaximumText = 4096; // characters; a file's path is no longer

const QString kId = QStringLiteral("id");
const QString kMajorVersion = QStringLiteral("vma");
const QString kMinorVersion = QStringLiteral("vmi");
const QString kServerPort = QStringLiteral("port");
const QString kDeviceType = QStringLiteral("device_type");
const QString kTitle = QStringLiteral("title");
const QString kDescription = QStringLiteral("description");
const QString kIdentificator = QStringLiteral("identificator");

// The whole number of a key; nothing if it is none, or beyond the limits.
std::optional<int> readInteger(const QJsonObject& object, const QString& key, int lowest, int highest)
{
    const QJsonValue value = object.value(key);
    const double number = value.toDouble();
    if (!value.isDouble() || number < lowest || number > highest || std::trunc(number) != number) {
        return std::nullopt;
    }
    return static_cast<int>(number);
}

std::optional<QString> readText(const QJsonObject& object, const QString& key)
{
    const QJsonValue value = object.value(key);
    if (!value.isString() || value.toString().size() > kMaximumText) {
        return std::nullopt;
    }
    return value.toString();
}

} // namespace

bool Announcement::isCompatible() const
{
    return majorVersion == ProtocolVersion::kMajor;
}

QByteArray Announcement::encode() const
{
    const QJsonObject object{
        {kId, id.toString()},        {kMajorVersion, majorVersion},   {kMinorVersion, minorVersion},
        {kServerPort, port},         {kDeviceType, deviceType},       {kTitle, title},
        {kDescription, description}, {kIdentificator, identificator},
    };
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<Announcement> Announcement::decode(const QByteArray& datagram)
{
    if (datagram.size() > kMaximumSize) {
        return std::nullopt;
    }
    constexpr int kLowest = std::numeric_limits<int>::min();
    constexpr int kHighest = std::numeric_limits<int>::max();
    const QJsonObject object = JsonText::parse(datagram).object();
    const auto id = readText(object, kId);
    const auto major = readInteger(object, kMajorVersion, 0, kHighest);
    const auto minor = readInteger(object, kMinorVersion, 0, kHighest);
    const auto port = readInteger(object, kServerPort, 1, std::numeric_limits<quint16>::max());
    const auto type = readInteger(object, kDeviceType, kLowest, kHighest);
    const auto title = readText(object, kTitle);
    const auto description = readText(object, kDescription);
    const auto identificator = readText(object, kIdentificator);
    if (!id || !major || !minor || !port || !type || !title || !description || !identificator) {
        return std::nullopt;
    }
    Announcement announcement;
    announcement.id = int160(*id);
    if (announcement.id.isNull()) {
        return std::nullopt;
    }
    announcement.majorVersion = *major;
    announcement.minorVersion = *minor;
    announcement.port = static_cast<quint16>(*port);
    announcement.deviceType = *type;
    announcement.title = foreignText(*title, kMaximumText);
    announcement.description = foreignText(*description, kMaximumText);
    announcement.identificator = *identificator;
    return announcement;
}

bool operator==(const Announcement& left, const Announcement& right)
{
    return left.id == right.id && left.majorVersion == right.majorVersion &&
           left.minorVersion == right.minorVersion && left.port == right.port &&
           left.deviceType == right.deviceType && left.title == right.title &&
           left.description == right.description && left.identificator == right.identificator;
}

bool operator!=(const Announcement& left, const Announcement& right)
{
    return !(left == right);
}
