#pragma once

#include "RadioDevice/AirSpy/FamilyFixture.h"

/// What holds for the start and the stop of both Airspy families; the test of each adds its own.
class FamilyReceiverTests : public FamilyFixture
{
    Q_OBJECT

protected:
    struct Family
    {
        QString library;       ///< Its functions and its fake's keys begin so.
        QString stop;          ///< The function that ends the reception.
        QVector<int> failures; ///< Results that are none of success.
        const char* setting;   ///< A property, whose call begins with the library's name and "_set_".
    };

    explicit FamilyReceiverTests(const Family& family)
        : FamilyFixture(family.library)
        , m_family(family)
    {
    }

    const Family m_family;

private slots:
    void startOpensTheSerialAsUnsignedDecimal();
    void startTunesToTheCorrectedFrequency();
    void stepThatFailsEndsTheStart();
    void fortyRatesAreReadFor32();
    void stopOfAStoppedReceiverMakesNoCall();
    void stopThatHangsIsWaitedForNoLongerThanItsDeadline_data();
    void stopThatHangsIsWaitedForNoLongerThanItsDeadline();
    void stopThatFailsLateDeliversIntoNothing();
    void destructionOfARunningReceiverClosesIt();
    void destructionIsLogged();
};
