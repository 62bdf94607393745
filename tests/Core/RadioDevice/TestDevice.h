#pragma once

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Core/Worker/DspH/DspH.h"

#include <QtTest>

inline QSharedPointer<InfoRadioDevice> record()
{
    auto info = QSharedPointer<InfoRadioDevice>::create(DefRadioDevice::RtlTcp);
    info->identificator = QStringLiteral("7");
    return info;
}

/// The least that a driver is.
class TestDevice : public AbstractRadioDevice
{
public:
    explicit TestDevice(std::chrono::milliseconds watchdogInterval = kWatchdogInterval)
        : AbstractRadioDevice(record(), nullptr, watchdogInterval)
    {
        initDsp();
        m_supportSampleRates = QStringList{QStringLiteral("48000"), QStringLiteral("96000")};
        m_supportFrequencies = QStringList{QStringLiteral("500"), QStringLiteral("31000"),
                                           QStringLiteral("60000"), QStringLiteral("260000")};
        m_frequencyRanges.append({500'000.0, 31'000'000.0});
        m_frequencyRanges.append({60'000'000.0, 260'000'000.0});
        setBlockSize(1200);
    }

    void offerRates(const QStringList& rates) { m_supportSampleRates = rates; }
    void noRanges() { m_frequencyRanges.clear(); }
    /// Delivers one block of ones.
    void deliver()
    {
        m_block.fill({1.0, 0.0});
        write(0, false);
    }

    [[nodiscard]] DspH* dsp() const { return m_dsp; }
    [[nodiscard]] double loFrequency() const { return m_loFrequency; }
    [[nodiscard]] double levelFactor() const { return m_levelFactor; }
};

/// A device whose driver has not set up its signal path.
class BareDevice : public AbstractRadioDevice
{
public:
    BareDevice()
        : AbstractRadioDevice(record(), nullptr)
    {
    }
    [[nodiscard]] double loFrequency() const { return m_loFrequency; }
    [[nodiscard]] double levelFactor() const { return m_levelFactor; }
    [[nodiscard]] bool hasDsp() const { return m_dsp != nullptr || m_dspThread != nullptr; }
};

/// A write the way a client's reaches the device.
inline bool write(AbstractRadioDevice& device, const char* name, const QVariant& value)
{
    return device.QObject::setProperty(name, value);
}

inline void addRefusedValues()
{
    QTest::addColumn<double>("value");
    QTest::newRow("not a number") << qQNaN();
    QTest::newRow("infinite") << qInf();
    QTest::newRow("infinite below") << -qInf();
    QTest::newRow("2 to the 63rd") << 9223372036854775808.0;
    QTest::newRow("-2 to the 63rd") << -9223372036854775808.0;
    QTest::newRow("1e300") << 1e300;
}
