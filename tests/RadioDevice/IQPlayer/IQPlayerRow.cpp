#include "RadioDevice/Driver.h"

#include "RadioDevice/IQPlayer/IQPlayerRadioDevice.h"
#include "System/Recording.h"

#include <QFile>
#include <QTemporaryDir>

namespace
{

const DriverRow kRow([] {
    static const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("a.wav")));
    file.open(QIODevice::WriteOnly);
    file.write(recording({{1000.0, 2000.0}}));

    Driver driver;
    driver.name = QStringLiteral("IQ file player");
    driver.make = [](const QString& identificator, std::chrono::milliseconds watchdogInterval,
                     const LibraryDeadlines& /*deadlines*/) -> std::unique_ptr<AbstractRadioDevice> {
        auto device = std::make_unique<IQPlayerRadioDevice>(
            Driver::record<IQPlayerRadioDevice>(identificator), nullptr, watchdogInterval);
        device->reset();
        return device;
    };
    driver.identificator = file.fileName();
    driver.properties = Driver::withCommon({"sampleRate", 48e3, 96e3}, {"frequency", 14.25e6, 14.1e6});
    return driver;
});

} // namespace
