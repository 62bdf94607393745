#pragma once

#include "RadioDevice/AirSpy/ReceiverRig.h"

/// A test of either Airspy family: how it comes by its receiver, and how that one's library calls things.
class FamilyFixture : public QObject, protected SampleRing
{
    Q_OBJECT

protected:
    /// `library`: what its functions and its fake's keys begin with.
    explicit FamilyFixture(QString library)
        : m_library(std::move(library))
    {
    }

    virtual FakeVendor& vendor() = 0;
    /// Closed, as the factory leaves it.
    [[nodiscard]] virtual std::unique_ptr<AbstractRadioDevice>
    make(const QString& identificator = QStringLiteral("7"),
         const LibraryDeadlines& deadlines = {}) const = 0;

    /// Running, with the calls of its start forgotten.
    [[nodiscard]] std::unique_ptr<AbstractRadioDevice> started(const LibraryDeadlines& deadlines = {})
    {
        auto receiver = make(QStringLiteral("7"), deadlines);
        receiver->start(false);
        if (!receiver->running()) {
            qFatal("No receiver to test");
        }
        vendor().clearCalls();
        return receiver;
    }

    /// Of a function or a key of the family: its library's name, then `rest`.
    [[nodiscard]] QString name(const char* rest) const { return m_library + QLatin1String(rest); }

private:
    const QString m_library;
};
