#include "System/Receiver.h"

#include <QElapsedTimer>
#include <algorithm>

namespace
{

QString one()
{
    return QStringLiteral("1");
}

} // namespace

const QVector<Receiver>& allReceivers()
{
    const QString usb = QStringLiteral(FAKE_LIBUSB_FOLDER);
    static const QVector<Receiver> all{
        {"RTL",
         QStringLiteral(FAKE_RTLSDR_FOLDER),
         false,
         {},
         5,
         QStringLiteral("RtlUsb RTL-SDR Realtek RTL2838UHIDIR S/N: 00000001 0"),
         QStringLiteral("0"),
         2'048'000,
         100'000'000},
        {"Airspy HF+",
         QStringLiteral(FAKE_AIRSPYHF_FOLDER),
         false,
         {{QStringLiteral("airspyhf.serial.1"), QStringLiteral("3987654321")},
          {QStringLiteral("airspyhf.version"), QStringLiteral("R3.0.7-CD")},
          {QStringLiteral("airspyhf.rates"), QStringLiteral("912000 768000 384000")}},
         6,
         QStringLiteral("AirSpyHF Airspy HF+ R3.0.7-CD S/N: EDAEC6B1 3987654321"),
         QStringLiteral("3987654321"),
         768'000,
         15'750'000},
        {"Airspy",
         QStringLiteral(FAKE_AIRSPY_FOLDER),
         false,
         {{QStringLiteral("airspy.serial.1"), QStringLiteral("4660")},
          {QStringLiteral("airspy.version"), QStringLiteral("AirSpy MINI")},
          {QStringLiteral("airspy.rates"), QStringLiteral("3000000 6000000")}},
         7,
         QStringLiteral("AirSpy Airspy R2/mini AirSpy MINI S/N: 1234 4660"),
         QStringLiteral("4660"),
         3'000'000,
         100'000'000},
        {"RSP",
         QStringLiteral(FAKE_RSP_FOLDER),
         false,
         {},
         9,
         QStringLiteral("Rsp 0 0 0"),
         QStringLiteral("0"),
         2'048'000,
         1'000'500'000},
        {"RTL over USB",
         usb,
         true,
         {{QStringLiteral("usb.rtl"), one()}},
         5,
         QStringLiteral("RtlUsb RTL-SDR Realtek RTL2838UHIDIR S/N: 00000001 0"),
         QStringLiteral("0"),
         2'048'000,
         100'000'000},
        {"Airspy HF+ over USB",
         usb,
         true,
         {{QStringLiteral("usb.airspyhf"), one()}},
         6,
         QStringLiteral("AirSpyHF Airspy HF+ R3.0.7-CD S/N: 3B52AB5DADA12931 4274667415161350449"),
         QStringLiteral("4274667415161350449"),
         768'000,
         15'750'000},
        {"Airspy over USB",
         usb,
         true,
         {{QStringLiteral("usb.airspy"), one()}},
         7,
         QStringLiteral(
             "AirSpy Airspy R2/mini AirSpy NOS v1.0.0-r S/N: 644064DC2B16C1A1 7223884699080769953"),
         QStringLiteral("7223884699080769953"),
         2'500'000,
         100'000'000},
    };
    return all;
}

const Receiver& receiver(const char* name)
{
    const auto& all = allReceivers();
    return *std::find_if(all.begin(), all.end(),
                         [name](const Receiver& one) { return !qstrcmp(one.name, name); });
}

ServedReceiver::ServedReceiver(const Receiver& receiver)
    : which(receiver)
    , server(home)
{
    for (auto line = which.script.cbegin(); line != which.script.cend(); ++line) {
        fake.set(line.key(), line.value());
    }
    const QProcessEnvironment environment = fake.environment();
    for (const QString& name : {QStringLiteral("FAKE_SCRIPT"), QStringLiteral("FAKE_LOG")}) {
        server.setVariable(name, environment.value(name));
    }
    server.setVariable(QStringLiteral("LD_LIBRARY_PATH"), which.folder);
}

bool ServedReceiver::isOut() const
{
    return server.count(QStringLiteral("doesn't come back")) > 0;
}

bool ServedReceiver::turnsAway(WireClient& client) const
{
    constexpr int kAtOnceMs = 8000; // on a busy machine; one that waited for the receiver would take 10 s
    QElapsedTimer clock;
    clock.start();
    return client.open(which.identificator) && client.waitForCall(QStringLiteral("disconnect_from_host")) &&
           clock.elapsed() < kAtOnceMs &&
           client.calls(QStringLiteral("error_happen"))
               .last()
               .body.value(QStringLiteral("err"))
               .toString()
               .startsWith(which.type == 9 ? QStringLiteral("Error start RSP device ...")
                                           : QStringLiteral("Error open device"));
}

void ServedReceiver::setCarrier(double offset)
{
    fake.set(QStringLiteral("source"), QStringLiteral("tone"));
    if (which.overUsb) {
        fake.set(QStringLiteral("station"), which.frequency + offset);
    } else {
        fake.set(QStringLiteral("tone.hz"), offset);
    }
}
