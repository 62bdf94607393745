#pragma once

#include "RadioDevice/AirSpyFamily/FamilyFixture.h"

/// What holds for the start and the stop of both Airspy families; the test of each adds its own.
class FamilyReceiverTests : public FamilyFixture
{
    Q_OBJECT

protected:
    using FamilyFixture::FamilyFixture;

    /// Sets each property of the family to what it has.
    static void writeAll(AbstractRadioDevice& receiver);

private slots:
    void init();

    void propertiesComeInOrder();
    void closedReceiverMakesNoCall();

    void startOpensTheSerialAsUnsignedDecimal();
    void startTunesToTheCorrectedFrequency();
    void startThatCannotTuneGoesOn();
    void startThatCannotTellTheFrequencyGoesOn();
    void stepThatFailsEndsTheStart_data();
    void stepThatFailsEndsTheStart();
    void startThatFailedGivesItsHandleUp();
    void receiverThatFailedStartsOnceItCan();

    void rateOfTheListSurvivesTheStart();
    void rateOfAMillionBecomesTheFirst();
    void noRatesLeaveThePresentOne();
    void rateOfZeroIsListedLikeTheOthers();
    void fortyRatesAreReadFor32();

    void stopMakesItsCallsInOrder();
    void stopOfAStoppedReceiverMakesNoCall();
    void stopThatHangsIsWaitedForNoLongerThanItsDeadline_data();
    void stopThatHangsIsWaitedForNoLongerThanItsDeadline();
    void stopThatFailsLateDeliversIntoNothing();
    void closeThatFailsIsLogged();
    void destructionOfARunningReceiverClosesIt();
    void destructionIsLogged();
};
