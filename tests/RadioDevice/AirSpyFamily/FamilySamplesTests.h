#pragma once

#include "RadioDevice/AirSpyFamily/FamilyFixture.h"

/// What holds for the samples of both Airspy families, on their way from the library's callback to the ring;
/// the test of each adds its own.
class FamilySamplesTests : public FamilyFixture
{
    Q_OBJECT

protected:
    using FamilyFixture::FamilyFixture;

private slots:
    void init();
    void cleanupTestCase();

    void samplesReachRingBitForBit_data();
    void samplesReachRingBitForBit();
    void samplesThatComeAfterStopAreDropped();
    void samplesThatComeAfterReceiverReachNobody();
    void numberOfFirstTransferMovesBlockSize();
    void blockSizeFollowsEveryTransfer();
    void transferThatIsNoBlockIsDropped_data();
    void transferThatIsNoBlockIsDropped();
    void transferOfOneMillionSamplesLeavesLastOfThem();
    void transferOfMoreThanIsBelievedIsDropped();
    void nothingIsNoBlock();
    void deliveryTakesNothingFromHeap();
    void stalledReceiverCanBeStopped();
};
