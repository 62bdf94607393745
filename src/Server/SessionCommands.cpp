#include "Server/SessionCommands.h"

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Network/Data/Json.h"
#include "Network/Socket/UserSocket.h"
#include "Server/FFTStream.h"

#include <QPointer>
#include <utility>

namespace
{

void setIF(AbstractRadioDevice& device, const QJsonObject& request)
{
    double frequency = 0.0;
    if (Json::toDouble(request, QStringLiteral("IF"), frequency)) {
        device.setIF(frequency);
    }
}

void setupDspH(AbstractRadioDevice& device, const QJsonObject& request)
{
    double preferredBandWidth = 0.0;
    double aliasFreeBandWidth = 0.0;
    if (Json::toDouble(request, QStringLiteral("prefBandWidth"), preferredBandWidth) &&
        Json::toDouble(request, QStringLiteral("aliasFree"), aliasFreeBandWidth)) {
        device.setupDspH(preferredBandWidth, aliasFreeBandWidth);
    }
}

void setDataRange(FFTStream& spectrum, const QJsonObject& request)
{
    int startIndex = 0;
    int stopIndex = 0;
    int dataSize = 0;
    int fftSize = 0;
    if (Json::toInt(request, QStringLiteral("startIndex"), startIndex) &&
        Json::toInt(request, QStringLiteral("stopIndex"), stopIndex) &&
        Json::toInt(request, QStringLiteral("dataSize"), dataSize) &&
        Json::toInt(request, QStringLiteral("fftSize"), fftSize)) {
        spectrum.setDataRange(startIndex, stopIndex, dataSize, fftSize);
    }
}

} // namespace

void SessionCommands::declare(UserSocket& session, AbstractRadioDevice* device, FFTStream& spectrum)
{
    using OfDevice = void (*)(AbstractRadioDevice&, const QJsonObject&);
    const auto declare = [&](const QString& name, OfDevice command) {
        session.declareFunction(name, [command, device = QPointer<AbstractRadioDevice>(device)](
                                          const QJsonObject& request, const NodeInfo&) {
            if (device != nullptr) {
                command(*device, request);
            }
            return QJsonObject();
        });
    };
    declare(QStringLiteral("setIF"), &setIF);
    declare(QStringLiteral("setupDspH"), &setupDspH);
    session.declareFunction(QStringLiteral("fft_data_range"),
                            [&spectrum](const QJsonObject& request, const NodeInfo&) {
                                setDataRange(spectrum, request);
                                return QJsonObject();
                            });
}
