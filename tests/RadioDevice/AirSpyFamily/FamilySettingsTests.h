#pragma once

#include "RadioDevice/AirSpyFamily/FamilyFixture.h"

/// What holds for what the client sets on both Airspy families, open and closed; the test of each adds its
/// own, with the rows of its setters.
class FamilySettingsTests : public FamilyFixture
{
    Q_OBJECT

protected:
    using FamilyFixture::FamilyFixture;

private slots:
    void init();

    void setterStoresAndTellsWhatItStored();
    void setterTellsEvenWhatDidNotChange();

    void frequencyIsPassedOnUncorrectedAndTruncated();
    void frequencyOutsideBandsIsPassedOn();
    void frequencyThatFailsIsLoggedAndStored();
    void frequencyThatLibraryCannotTakeFails_data();
    void frequencyThatLibraryCannotTakeFails();
    void valueThatIsNoNumberIsRefused();
    void rateIsPassedOnTruncated();
    void rateThatFailsIsLoggedAndStored();
    void rateThatLibraryCannotTakeFails();
};
