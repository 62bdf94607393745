#pragma once

#include <QObject>

/// The kinds of radio device. The numbers travel to clients and are stored by them: none is ever reused,
/// and kinds that this program cannot make keep theirs.
/// Thread: any.
class DefRadioDevice : public QObject
{
    Q_OBJECT

public:
    enum Type : int
    {
        Unknown = -1,
        IQFilePlayer = 0,
        RtlUsbAndroid = 1,
        RtlTcp = 2,
        Orvenlink = 3,
        HermesLite = 4,
        RtlUsb = 5,
        AirSpyHF = 6,
        AirSpy = 7,
        SpyServer = 8,
        Rsp = 9,
    };
    Q_ENUM(Type)

    /// The key of `type`, as it is printed everywhere; empty for a number that is none of the above.
    Q_INVOKABLE static QString toString(DefRadioDevice::Type type);
};
