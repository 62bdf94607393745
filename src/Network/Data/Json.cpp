#include "Network/Data/Json.h"

#include "Core/Log/ForeignText.h"
#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Network/Data/JsonText.h"

#include <algorithm>

namespace
{

QString conversionError(QLatin1String type, const QString& key, const QVariant& value)
{
    return QStringLiteral("Error convert QJsonObject %1 value! Key: %2, value: %3")
        .arg(type, key, foreignText(value.toString()));
}

} // namespace

bool Json::toBool(const QJsonObject& object, const QString& key, bool& result)
{
    result = object.value(key).toBool();
    return true;
}

bool Json::toString(const QJsonObject& object, const QString& key, QString& result)
{
    result = object.value(key).toString();
    return true;
}

bool Json::toVariant(const QJsonObject& object, const QString& key, QVariant& result)
{
    result = object.value(key).toVariant();
    return true;
}

bool Json::toHostAddress(const QJsonObject& object, const QString& key, QHostAddress& result)
{
    result = QHostAddress(object.value(key).toString());
    return true;
}

bool Json::toNodeId(const QJsonObject& object, const QString& key, int160& result)
{
    result = int160(object.value(key).toString());
    return true;
}

bool Json::toInt(const QJsonObject& object, const QString& key, int& result)
{
    const QVariant value = object.value(key).toVariant();
    bool ok = false;
    result = value.toInt(&ok);
    if (!ok) {
        LOG_LIMITED(LOG_WARNING()) << conversionError(QLatin1String("int"), key, value);
    }
    return ok;
}

bool Json::toInt8(const QJsonObject& object, const QString& key, qint8& result)
{
    const QVariant value = object.value(key).toVariant();
    bool ok = false;
    result = static_cast<qint8>(value.toInt(&ok));
    if (!ok) {
        // The type named is that of toUInt16: the two share their message.
        LOG_LIMITED(LOG_WARNING()) << conversionError(QLatin1String("quint16"), key, value);
    }
    return ok;
}

bool Json::toUInt16(const QJsonObject& object, const QString& key, quint16& result)
{
    const QVariant value = object.value(key).toVariant();
    bool ok = false;
    result = static_cast<quint16>(value.toUInt(&ok));
    if (!ok) {
        LOG_LIMITED(LOG_WARNING()) << conversionError(QLatin1String("quint16"), key, value);
    }
    return ok;
}

bool Json::toLongLong(const QJsonObject& object, const QString& key, qint64& result)
{
    const QVariant value = object.value(key).toVariant();
    bool ok = false;
    result = value.toLongLong(&ok);
    if (!ok) {
        LOG_LIMITED(LOG_WARNING()) << conversionError(QLatin1String("qint64"), key, value);
    }
    return ok;
}

bool Json::toDouble(const QJsonObject& object, const QString& key, double& result)
{
    const QVariant value = object.value(key).toVariant();
    bool ok = false;
    result = value.toDouble(&ok);
    if (!ok) {
        LOG_LIMITED(LOG_WARNING()) << conversionError(QLatin1String("double"), key, value);
    }
    return ok;
}

bool Json::contains(const QJsonObject& object, const QString& key)
{
    return object.contains(key);
}

bool Json::containsAll(const QJsonObject& object, const QStringList& keys)
{
    return std::all_of(keys.begin(), keys.end(),
                       [&object](const QString& key) { return object.contains(key); });
}

bool Json::fromByteArray(const QByteArray& data, QJsonObject& object, const QStringList& keys)
{
    QJsonParseError error;
    const QJsonDocument document = JsonText::parse(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        LOG_LIMITED(LOG_WARNING()) << QStringLiteral("Error convert QByteArray to QJsonDocument!")
                                   << error.errorString();
        return false;
    }
    object = document.object();
    for (const QString& key : keys) {
        if (!contains(object, key)) {
            LOG_LIMITED(LOG_WARNING()) << QStringLiteral("Error parse QJsonObject - no %1 key!").arg(key);
            return false;
        }
    }
    return true;
}
