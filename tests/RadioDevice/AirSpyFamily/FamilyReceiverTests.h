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

    void startOpensSerialAsUnsignedDecimal();
    void startTunesToCorrectedFrequency();
    void startThatCannotTuneGoesOn();
    void startThatCannotTellFrequencyGoesOn();
    void stepThatFailsEndsStart_data();
    void stepThatFailsEndsStart();
    void startThatFailedGivesItsHandleUp();
    void receiverThatFailedStartsOnceItCan();

    void rateOfListSurvivesStart();
    void rateOfMillionBecomesFirst();
    void noRatesLeavePresentOne();
    void rateOfZeroIsListedLikeOthers();
    void fortyRatesAreReadFor32();

    void stopMakesItsCallsInOrder();
    void stopOfStoppedReceiverMakesNoCall();
    void stopThatHangsIsWaitedForNoLongerThanItsDeadline_data();
    void stopThatHangsIsWaitedForNoLongerThanItsDeadline();
    void stopThatFailsLateDeliversIntoNothing();
    void closeThatFailsIsLogged();
    void destructionOfRunningReceiverClosesIt();
    void destructionIsLogged();
};
