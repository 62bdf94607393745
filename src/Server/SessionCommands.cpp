#include "Server/SessionCommands.h"

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Core/Worker/DspH/DspH.h"
#include "Network/Data/Json.h"
#include "Network/Protocol/SessionCalls.h"
#include "Network/Socket/UserSocket.h"
#include "Server/FFTStream.h"

#include <QPointer>
#include <utility>

namespace
{

// What a client takes for granted.
static_assert(DspH::kFirstPreferredBandWidth == SessionCalls::kFirstPreferredBandWidth);
static_assert(DspH::kFirstAliasFreeBandWidth == SessionCalls::kFirstAliasFree);

void setIF(AbstractRadioDevice& device, const QJsonObject& request)
{
    double frequency = 0.0;
    if (Json::toDouble(request, SessionCalls::kIF, frequency)) {
        device.setIF(frequency);
    }
}

void setupDspH(AbstractRadioDevice& device, const QJsonObject& request)
{
    double preferredBandWidth = 0.0;
    double aliasFreeBandWidth = 0.0;
    if (Json::toDouble(request, SessionCalls::kPreferredBandWidth, preferredBandWidth) &&
        Json::toDouble(request, SessionCalls::kAliasFree, aliasFreeBandWidth)) {
        device.setupDspH(preferredBandWidth, aliasFreeBandWidth);
    }
}

void setDataRange(FFTStream& spectrum, const QJsonObject& request)
{
    int startIndex = 0;
    int stopIndex = 0;
    int dataSize = 0;
    int fftSize = 0;
    if (Json::toInt(request, SessionCalls::kStartIndex, startIndex) &&
        Json::toInt(request, SessionCalls::kStopIndex, stopIndex) &&
        Json::toInt(request, SessionCalls::kDataSize, dataSize) &&
        Json::toInt(request, SessionCalls::kFftSize, fftSize)) {
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
    declare(SessionCalls::kSetIF, &setIF);
    declare(SessionCalls::kSetupDspH, &setupDspH);
    session.declareFunction(SessionCalls::kFftDataRange,
                            [&spectrum](const QJsonObject& request, const NodeInfo&) {
                                setDataRange(spectrum, request);
                                return QJsonObject();
                            });
}
