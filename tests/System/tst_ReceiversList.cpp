#include "System/Carrier.h"
#include "System/Receiver.h"
#include "support/Wait.h"
#include "support/WireClient.h"

#include <QTest>
#include <numeric>

/// The list of receivers, and what a receiver is known by.
class tst_ReceiversList : public QObject
{
    Q_OBJECT

private slots:
    void receiverIsListed_data();
    void receiverIsListed();
    void noReceiverIsNothingToServe_data() { receiverIsListed_data(); }
    void noReceiverIsNothingToServe();
    void offsetBinaryIsRecommendedForEachRtlStickUntilItIsChosen();
    void onlyReceiverIsServedWithoutChoice_data() { receiverIsListed_data(); }
    void onlyReceiverIsServedWithoutChoice();
    void identityStaysWithReceiver_data() { receiverIsListed_data(); }
    void identityStaysWithReceiver();
    void receiversOfThreeLibrariesAreListedInOrder();
    void eachOfTwoReceiversHasItsOwnIdentity();
    void forbiddenReceiverIsPassedOver_data();
    void forbiddenReceiverIsPassedOver();
    void busyReceiverIsListed();
    void stringsThatAreNoTextAreListed();
};

namespace
{

/// Serves under an identity that lasts: one in 256 counts as none, and is replaced at the next start.
bool serveLastingly(ServerProcess& server, const QStringList& arguments = {})
{
    const auto lasts = [&server] {
        const QByteArray id = server.id();
        return std::accumulate(id.begin(), id.end(), 0) % 256 != 0;
    };
    bool serving = server.serve(arguments);
    while (serving && !lasts()) {
        serving = server.quit() && server.serve(arguments);
    }
    return serving;
}

} // namespace

void tst_ReceiversList::receiverIsListed_data()
{
    QTest::addColumn<Receiver>("which");
    for (const Receiver& one : allReceivers()) {
        QTest::newRow(one.name) << one;
    }
}

void tst_ReceiversList::receiverIsListed()
{
    QFETCH(Receiver, which);
    ServedReceiver served(which);
    served.server.start({QStringLiteral("-l")});
    QCOMPARE(served.server.waitForExitCode(), 0);
    const QStringList found = served.server.lines().filter(QStringLiteral("found .."));
    QCOMPARE(found.size(), 1);
    QCOMPARE(found.first().simplified(), QStringLiteral("0 found .. ") + which.listed);
    QCOMPARE(served.server.count(QStringLiteral("recommended: --rtl-offset-binary")),
             which.type == 5 ? 1 : 0);
}

void tst_ReceiversList::offsetBinaryIsRecommendedForEachRtlStickUntilItIsChosen()
{
    ServedReceiver served(receiver("RTL over USB"));
    served.fake.set(QStringLiteral("usb.rtl"), 2);
    served.fake.set(QStringLiteral("usb.airspy"), 1);
    const QString text = QStringLiteral("recommended: --rtl-offset-binary");
    served.server.start({QStringLiteral("-l")});
    QCOMPARE(served.server.waitForExitCode(), 0);
    const QStringList lines = served.server.lines().filter(text);
    QCOMPARE(lines.size(), 2);
    QVERIFY(lines[0].startsWith(QStringLiteral("0 ")) && lines[1].startsWith(QStringLiteral("1 ")));

    QVERIFY(served.server.serve(
        {QStringLiteral("-i"), QStringLiteral("0"), QStringLiteral("--rtl-offset-binary")}));
    QCOMPARE(served.server.count(text), 0); // a start says nothing of it
    QVERIFY(served.server.quit());
    served.server.start({QStringLiteral("-l")});
    QCOMPARE(served.server.waitForExitCode(), 0);
    QCOMPARE(served.server.count(text), 0);
}

void tst_ReceiversList::noReceiverIsNothingToServe()
{
    QFETCH(Receiver, which);
    ServedReceiver served(which);
    served.fake.set(QStringLiteral("unplug"), 1);
    served.server.start();
    QCOMPARE(served.server.waitForExitCode(), 255);
    QVERIFY(served.server.hasLine(QStringLiteral("No supported devices found!")));
}

void tst_ReceiversList::onlyReceiverIsServedWithoutChoice()
{
    QFETCH(Receiver, which);
    ServedReceiver served(which);
    QVERIFY(served.server.serve());
    QCOMPARE(served.server.identificator(), which.identificator);
    // It isn't opened before a client comes.
    QCOMPARE(served.fake.calls().filter(QStringLiteral("samplerate(")).size(), 0);
    QVERIFY(served.server.quit());
}

void tst_ReceiversList::identityStaysWithReceiver()
{
    QFETCH(Receiver, which);
    ServedReceiver served(which);
    QVERIFY(serveLastingly(served.server));
    const QString address = served.server.address();
    QVERIFY(served.server.quit());
    QVERIFY(served.server.serve());
    QCOMPARE(served.server.address(), address);
    QVERIFY(served.server.quit());
    QVERIFY(!served.home.setting(QStringLiteral("pn/server_id_") + which.identificator).toString().isEmpty());
}

void tst_ReceiversList::receiversOfThreeLibrariesAreListedInOrder()
{
    ServedReceiver served(receiver("RTL over USB"));
    served.fake.set(QStringLiteral("usb.rtl"), 2);
    served.fake.set(QStringLiteral("usb.airspy"), 1);
    served.fake.set(QStringLiteral("usb.airspyhf"), 2);
    served.server.start({QStringLiteral("-l")});
    QCOMPARE(served.server.waitForExitCode(), 0);
    const QStringList found = served.server.lines().filter(QStringLiteral("found .."));
    QCOMPARE(found.size(), 5);
    const QStringList types{QStringLiteral("RtlUsb"), QStringLiteral("RtlUsb"), QStringLiteral("AirSpyHF"),
                            QStringLiteral("AirSpyHF"), QStringLiteral("AirSpy")};
    for (int i = 0; i < types.size(); ++i) {
        QVERIFY2(found[i].simplified().startsWith(QStringLiteral("%1 found .. %2 ").arg(i).arg(types[i])),
                 qPrintable(found[i]));
    }
    served.server.start();
    QCOMPARE(served.server.waitForExitCode(), 255);
    QCOMPARE(served.server.count(QStringLiteral("More than one device detected!")), 1);
}

void tst_ReceiversList::eachOfTwoReceiversHasItsOwnIdentity()
{
    ServedReceiver served(receiver("Airspy over USB"));
    served.fake.set(QStringLiteral("usb.airspy"), 2);
    QStringList addresses;
    for (const QString& index : {QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("0")}) {
        QVERIFY(serveLastingly(served.server, {QStringLiteral("-i"), index}));
        addresses.append(served.server.address());
        // The one that was chosen is the one that is opened.
        WireClient client(served.server);
        QVERIFY(client.open(served.server.identificator()));
        served.fake.clearCalls();
        QVERIFY(client.waitForSamples(1000));
        QVERIFY(Carrier::write(client, "vgaGain", 3.0));
        QVERIFY(client.close());
        QVERIFY(waitUntil([&served, &index] {
            return !served.fake.calls(QStringLiteral("libusb_close(airspy") + index).isEmpty();
        }));
        QVERIFY(served.server.quit());
    }
    QVERIFY(addresses[0] != addresses[1]);
    QCOMPARE(addresses[2], addresses[0]);
}

void tst_ReceiversList::forbiddenReceiverIsPassedOver_data()
{
    QTest::addColumn<Receiver>("which");
    QTest::addColumn<QString>("warning");
    QTest::newRow("RTL") << receiver("RTL over USB") << QStringLiteral("Unable to access rtlusb device #");
    QTest::newRow("Airspy HF+") << receiver("Airspy HF+ over USB") << QString();
    QTest::newRow("Airspy") << receiver("Airspy over USB") << QString();
}

void tst_ReceiversList::forbiddenReceiverIsPassedOver()
{
    QFETCH(Receiver, which);
    QFETCH(QString, warning);
    ServedReceiver served(which);
    served.fake.set(QStringLiteral("libusb_open"), -3);
    served.server.start({QStringLiteral("-l")});
    QCOMPARE(served.server.waitForExitCode(), 0);
    QVERIFY(served.server.hasLine(QStringLiteral("No supported devices found!")));
    if (!warning.isEmpty()) {
        QCOMPARE(served.server.count(warning), 1);
    }
}

void tst_ReceiversList::busyReceiverIsListed()
{
    // A dongle's name can be had without claiming it.
    ServedReceiver served(receiver("RTL over USB"));
    served.fake.set(QStringLiteral("libusb_claim_interface"), -6);
    served.server.start({QStringLiteral("-l")});
    QCOMPARE(served.server.waitForExitCode(), 0);
    QCOMPARE(served.server.count(QStringLiteral("found ..")), 1);
}

void tst_ReceiversList::stringsThatAreNoTextAreListed()
{
    ServedReceiver served(receiver("RTL over USB"));
    served.fake.setBytes(QStringLiteral("usb.string.1"), QByteArray(255, '\xFF'));
    served.fake.setBytes(QStringLiteral("usb.string.2"), QByteArray("\xC3\x28\x01%s%n"));
    served.fake.setBytes(QStringLiteral("usb.string.3"), QByteArray("\xF0\x9F"));
    served.server.start({QStringLiteral("-l")});
    QCOMPARE(served.server.waitForExitCode(), 0);
    QCOMPARE(served.server.count(QStringLiteral("found ..")), 1);
}

QTEST_GUILESS_MAIN(tst_ReceiversList)
#include "tst_ReceiversList.moc"
