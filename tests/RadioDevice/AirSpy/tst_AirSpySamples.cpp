#include "RadioDevice/AirSpy/AirSpyRadioDevice.h"

#include "RadioDevice/AirSpy/FamilySamplesTests.h"
#include "support/LogCapture.h"

/// The samples' way from the library's callback to the ring.
class tst_AirSpySamples : public FamilySamplesTests
{
    Q_OBJECT

public:
    tst_AirSpySamples()
        : FamilySamplesTests(QStringLiteral("airspy"))
    {
    }

private slots:
    void samplesReachTheRingBitForBit_data();
    void samplesReachTheRingBitForBit();
    void samplesThatComeBehindAStopAreDropped();
    void samplesThatComeBehindTheReceiverReachNobody();

private:
    FakeVendor& vendor() override { return m_rig.vendor; }
    std::unique_ptr<AbstractRadioDevice> make(const QString& identificator,
                                              const LibraryDeadlines& deadlines) const override
    {
        return m_rig.make(identificator, deadlines);
    }
    void deliver(AbstractRadioDevice& receiver, const float* samples, int count) const override
    {
        dynamic_cast<Receiver&>(receiver).deliver(samples, count);
    }

    using Receiver = AirSpyRadioDevice;

    ReceiverRig<Receiver> m_rig;
    FakeVendor& m_vendor = m_rig.vendor;
};

void tst_AirSpySamples::samplesReachTheRingBitForBit_data()
{
    QTest::addColumn<bool>("swapIQ");
    QTest::newRow("as they come: re = Q, im = I") << false;
    QTest::newRow("swapped: re = I, im = Q") << true;
}

void tst_AirSpySamples::samplesReachTheRingBitForBit()
{
    QFETCH(bool, swapIQ);
    const auto receiver = m_rig.make();
    receiver->setSwapIQ(swapIQ);
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(m_rig.written(*receiver) >= 256);
    const auto samples = m_rig.last(*receiver, 256);
    const auto i = swapIQ ? &DoubleComplex::re : &DoubleComplex::im;
    const auto q = swapIQ ? &DoubleComplex::im : &DoubleComplex::re;
    QCOMPARE(m_rig.countingSamples(samples, i, q), 256);
}

void tst_AirSpySamples::samplesThatComeBehindAStopAreDropped()
{
    const auto receiver = m_rig.started();
    QTRY_VERIFY(m_rig.written(*receiver) > 0);
    // The library stops nothing and goes on delivering to a gate that is shut.
    m_vendor.set(QStringLiteral("airspy_stop_rx.1"), -1);
    m_vendor.set(QStringLiteral("airspy_close.1"), -1);
    const LogCapture log;
    receiver->stop();
    const int before = m_rig.written(*receiver);
    m_vendor.set(QStringLiteral("airspy.trace"), 1);
    QTRY_VERIFY(m_vendor.calls(QStringLiteral("airspy transfer dev1")).size() >= 3);
    QCOMPARE(m_rig.written(*receiver), before);
    // Started again meanwhile, it is served by the new handle alone.
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(m_rig.written(*receiver) != before);
}

void tst_AirSpySamples::samplesThatComeBehindTheReceiverReachNobody()
{
    auto receiver = m_rig.started();
    QTRY_VERIFY(m_rig.written(*receiver) > 0);
    m_vendor.set(QStringLiteral("airspy_stop_rx.1"), -1);
    m_vendor.set(QStringLiteral("airspy_close.1"), -1);
    const LogCapture log;
    receiver.reset();
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
    m_vendor.set(QStringLiteral("airspy.trace"), 1);
    QTRY_VERIFY(m_vendor.calls(QStringLiteral("airspy transfer dev1")).size() >= 3);
}

QTEST_GUILESS_MAIN(tst_AirSpySamples)
#include "tst_AirSpySamples.moc"
