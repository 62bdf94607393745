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
    void frequencyOutsideTheBandsIsPassedOn();
    void frequencyThatFailsIsLoggedAndStored();
    void frequencyTheLibraryCannotTakeFails_data();
    void frequencyTheLibraryCannotTakeFails();
    void valueThatIsNoNumberIsRefused();
    void rateIsPassedOnTruncated();
    void rateThatFailsIsLoggedAndStored();
    void rateTheLibraryCannotTakeFails();
};
