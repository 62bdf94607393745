#include "RadioDevice/AirSpyHF/AirSpyHFRadioDevice.h"

#include "RadioDevice/AirSpyFamily/FamilySamplesTests.h"
#include "RadioDevice/AirSpyHF/AirSpyHFFamily.h"

class tst_AirSpyHFSamples : public OfFamily<FamilySamplesTests, AirSpyHFRadioDevice>
{
    Q_OBJECT

public:
    tst_AirSpyHFSamples()
        : OfFamily(airSpyHFFamily())
    {
    }
};

QTEST_GUILESS_MAIN(tst_AirSpyHFSamples)
#include "tst_AirSpyHFSamples.moc"
