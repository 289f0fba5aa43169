// System-time retrieval under each revision.
#ifndef TIMECODE_RETRIEVAL_SYSTEM_TIME_H
#define TIMECODE_RETRIEVAL_SYSTEM_TIME_H

#include "timecode.h"

namespace timecode {

// Arguments and results are those of Timecode_GetSystemUTC.
BOOL _GetSystemUTC_Profile62(int nEncodedFrameRate, int nVUIFrameRate, UINT64 UnchangedEncoderPTS64, UINT64 TCBasePTS64,
                             INT64 llTCBaseUTC64, MISP_UTC *pUTC, vitc_t *pVitcRecord);
BOOL _GetSystemUTC_Profile20162(int nEncodedFrameRate, int nVUIFrameRate, UINT64 UnchangedEncoderPTS64,
                                UINT64 TCBasePTS64, INT64 llTCBaseUTC64, MISP_UTC *pUTC, vitc_t *pVitcRecord);

} // namespace timecode

#endif
