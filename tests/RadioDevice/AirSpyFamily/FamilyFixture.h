#pragma once

#include "RadioDevice/AirSpyFamily/Family.h"
#include "RadioDevice/AirSpyFamily/ReceiverRig.h"

/// A test of either Airspy family; how it comes by its receiver is told by OfFamily.
class FamilyFixture : public QObject, protected SampleRing
{
protected:
    explicit FamilyFixture(const Family& family)
        : m_family(family)
    {
    }

    /// Closed, as the factory leaves it.
    [[nodiscard]] virtual std::unique_ptr<AbstractRadioDevice>
    make(const QString& identificator = QStringLiteral("7"),
         const LibraryDeadlines& deadlines = {}) const = 0;

    /// As a transfer of the library.
    virtual void deliver(AbstractRadioDevice& receiver, const float* samples, int count) const = 0;

    /// Running, with the calls of its start forgotten.
    [[nodiscard]] std::unique_ptr<AbstractRadioDevice> started(const LibraryDeadlines& deadlines = {})
    {
        auto receiver = make(QStringLiteral("7"), deadlines);
        receiver->start(false);
        if (!receiver->running()) {
            qFatal("No receiver to test");
        }
        m_vendor.clearCalls();
        return receiver;
    }

    /// Of a function or a key of the family: its library's name, then `rest`.
    [[nodiscard]] QString name(const char* rest) const { return m_family.library + QLatin1String(rest); }

    const Family m_family;
    FakeVendor m_vendor;
};

/// `Tests` of the receivers of one family; `m_rig` makes them for what only that family has.
template <class Tests, class Device>
class OfFamily : public Tests
{
protected:
    using Tests::Tests;

    [[nodiscard]] std::unique_ptr<AbstractRadioDevice> make(const QString& identificator,
                                                            const LibraryDeadlines& deadlines) const override
    {
        return m_rig.make(identificator, deadlines);
    }

    void deliver(AbstractRadioDevice& receiver, const float* samples, int count) const override
    {
        dynamic_cast<Device&>(receiver).deliver(samples, count);
    }

    ReceiverRig<Device> m_rig{this->m_vendor};
};
