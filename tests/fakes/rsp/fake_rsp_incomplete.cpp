// A library of that name which lacks all operations but one.

#include "RadioDevice/Rsp/RspApi.h"

extern "C" RspApi::ApiVersion mir_sdr_ApiVersion;

int mir_sdr_ApiVersion(float* version)
{
    *version = 2.1F;
    return 0;
}
