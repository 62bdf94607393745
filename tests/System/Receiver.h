#pragma once

#include "System/ServerHome.h"
#include "System/ServerProcess.h"
#include "support/FakeVendor.h"
#include "support/WireClient.h"

#include <QMap>
#include <QVector>

/// One family of receivers as a server with the fakes sees it: through the fake of its library, or through
/// the real library over the fake libusb.
struct Receiver
{
    const char* name;
    QString folder;                ///< Of the library that takes the real one's place.
    bool overUsb;                  ///< The real library, over the fake libusb.
    QMap<QString, QString> script; ///< That puts one receiver in.
    int type;
    QString listed; ///< Its line of the list, after the index.
    QString identificator;
    double sampleRate; ///< Hertz, that a first session begins with.
    double frequency;  ///< Hertz, that a first session begins with.
};

Q_DECLARE_METATYPE(Receiver)

/// All four through their fakes, then three through their libraries.
const QVector<Receiver>& allReceivers();
const Receiver& receiver(const char* name);

/// A server to which one such receiver is plugged in, with a home of its own.
struct ServedReceiver
{
    explicit ServedReceiver(const Receiver& which);

    /// A carrier on the air, hertz from where the receiver is tuned to at first. With its library's fake it
    /// stays as far from where it is tuned to later.
    void setCarrier(double offset);

    /// Whether a call of the library isn't back in time. That of the Airspy HF+ may hang for good when it
    /// closes a stream that has ended by itself.
    [[nodiscard]] bool isOut() const;
    /// Whether a client that opens a session is told at once that the receiver can't be opened, and left.
    [[nodiscard]] bool turnsAway(WireClient& client) const;

    const Receiver& which;
    FakeVendor fake;
    ServerHome home;
    ServerProcess server;
};
