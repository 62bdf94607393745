#include "RadioDevice/AirSpy/AirSpyRadioDevice.h"

#include "RadioDevice/AirSpy/AirSpyR2Family.h"
#include "RadioDevice/AirSpyFamily/FamilySamplesTests.h"

class tst_AirSpySamples : public OfFamily<FamilySamplesTests, AirSpyRadioDevice>
{
    Q_OBJECT

public:
    tst_AirSpySamples()
        : OfFamily(airSpyR2Family())
    {
    }
};

QTEST_GUILESS_MAIN(tst_AirSpySamples)
#include "tst_AirSpySamples.moc"
