#include "RadioDevice/AirSpy/AirSpyGains.h"

#include <QtTest>

class tst_AirSpyGains : public QObject
{
    Q_OBJECT

private slots:
    void changeMakesItsCallsInOrder_data();
    void changeMakesItsCallsInOrder();
    void valueIsCutToEightBits_data();
    void valueIsCutToEightBits();
};

namespace
{

QString name(AirSpyGains::Call call)
{
    switch (call) {
    case AirSpyGains::Call::SetLnaAgc:
        return QStringLiteral("lna agc");
    case AirSpyGains::Call::SetLnaGain:
        return QStringLiteral("lna gain");
    case AirSpyGains::Call::SetMixerAgc:
        return QStringLiteral("mixer agc");
    case AirSpyGains::Call::SetMixerGain:
        return QStringLiteral("mixer gain");
    case AirSpyGains::Call::SetVgaGain:
        return QStringLiteral("vga gain");
    case AirSpyGains::Call::SetLinearityGain:
        return QStringLiteral("linearity gain");
    case AirSpyGains::Call::SetSensitivityGain:
        return QStringLiteral("sensitivity gain");
    }
    return {};
}

QString calls(const AirSpyGains& gains, AirSpyGains::Setting changed)
{
    QStringList made;
    gains.apply(changed, [&made](AirSpyGains::Call call, quint8 value) {
        made.append(name(call) + QLatin1Char(' ') + QString::number(value));
    });
    return made.join(QStringLiteral(", "));
}

} // namespace

Q_DECLARE_METATYPE(AirSpyGains::Setting)

void tst_AirSpyGains::changeMakesItsCallsInOrder_data()
{
    using Gains = AirSpyGains;
    QTest::addColumn<Gains::Setting>("changed");
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("agc");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* what, Gains::Setting changed, int mode, bool agc, const char* expected) {
        QTest::addRow("%s, mode %d, agc %s", what, mode, agc ? "on" : "off")
            << changed << mode << agc << QString::fromLatin1(expected);
    };
    for (const bool agc : {true, false}) {
        row("mode", Gains::GainMode, 0, agc, "lna agc 0, mixer agc 0, linearity gain 21");
        row("mode", Gains::GainMode, 1, agc, "lna agc 0, mixer agc 0, sensitivity gain 21");
        row("gain", Gains::Gain, 0, agc, "lna agc 0, mixer agc 0, linearity gain 21");
        row("gain", Gains::Gain, 1, agc, "lna agc 0, mixer agc 0, sensitivity gain 21");
        row("gain", Gains::Gain, 2, agc, "");
        row("vga gain", Gains::VgaGain, 2, agc, "vga gain 9");
        for (const int mode : {0, 1}) {
            row("lna agc", Gains::LnaAgc, mode, agc, "");
            row("lna gain", Gains::LnaGain, mode, agc, "");
            row("mixer agc", Gains::MixerAgc, mode, agc, "");
            row("mixer gain", Gains::MixerGain, mode, agc, "");
            row("vga gain", Gains::VgaGain, mode, agc, "");
        }
        for (const int mode : {-1, 3, 256}) {
            row("mode", Gains::GainMode, mode, agc, "");
            row("gain", Gains::Gain, mode, agc, "");
            row("lna agc", Gains::LnaAgc, mode, agc, "");
            row("lna gain", Gains::LnaGain, mode, agc, "");
            row("mixer agc", Gains::MixerAgc, mode, agc, "");
            row("mixer gain", Gains::MixerGain, mode, agc, "");
            row("vga gain", Gains::VgaGain, mode, agc, "");
        }
    }
    row("mode", Gains::GainMode, 2, true, "lna agc 1, mixer agc 1, vga gain 9");
    row("mode", Gains::GainMode, 2, false, "lna agc 0, lna gain 7, mixer agc 0, mixer gain 8, vga gain 9");
    row("lna agc", Gains::LnaAgc, 2, true, "lna agc 1");
    row("lna agc", Gains::LnaAgc, 2, false, "lna agc 0, lna gain 7");
    row("lna gain", Gains::LnaGain, 2, true, "");
    row("lna gain", Gains::LnaGain, 2, false, "lna gain 7");
    row("mixer agc", Gains::MixerAgc, 2, true, "mixer agc 1");
    row("mixer agc", Gains::MixerAgc, 2, false, "mixer agc 0, mixer gain 8");
    row("mixer gain", Gains::MixerGain, 2, true, "");
    row("mixer gain", Gains::MixerGain, 2, false, "mixer gain 8");
}

void tst_AirSpyGains::changeMakesItsCallsInOrder()
{
    QFETCH(AirSpyGains::Setting, changed);
    QFETCH(int, mode);
    QFETCH(bool, agc);
    QFETCH(QString, expected);
    const AirSpyGains gains{mode, 21, agc, 7, agc, 8, 9};
    QCOMPARE(calls(gains, changed), expected);
}

void tst_AirSpyGains::valueIsCutToEightBits_data()
{
    QTest::addColumn<int>("vgaGain");
    QTest::addColumn<QString>("expected");
    QTest::newRow("20") << 20 << QStringLiteral("vga gain 20");
    QTest::newRow("255") << 255 << QStringLiteral("vga gain 255");
    QTest::newRow("256") << 256 << QStringLiteral("vga gain 0");
    QTest::newRow("-1") << -1 << QStringLiteral("vga gain 255");
}

void tst_AirSpyGains::valueIsCutToEightBits()
{
    QFETCH(int, vgaGain);
    QFETCH(QString, expected);
    AirSpyGains gains;
    gains.mode = AirSpyGains::Manual;
    gains.vgaGain = vgaGain;
    QCOMPARE(calls(gains, AirSpyGains::VgaGain), expected);
}

QTEST_GUILESS_MAIN(tst_AirSpyGains)
#include "tst_AirSpyGains.moc"
