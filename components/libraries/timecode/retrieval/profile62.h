// Retrieval under MISP_PROFILE_62: choice of source, carried time, failover, recovery, conversions.
#ifndef TIMECODE_RETRIEVAL_PROFILE62_H
#define TIMECODE_RETRIEVAL_PROFILE62_H

#include "timecode.h"

namespace timecode {

// Arguments and results are those of Timecode_GetUTC.
BOOL _GetUTC_Profile62(int enInputInterface, int *penConfigMISBTimesource, BOOL bTimeSourceSwitchAllowed,
                       int nEncodedFrameRate, int nVUIFrameRate, UINT64 UnchangedEncoderPTS64, UINT64 TCBasePTS64,
                       INT64 llTCBaseUTC64, MISP_UTC *pUTC, vitc_t *pVitcRecord, BOOL *pbSameTSRecord,
                       void **ppRecordAddress);

} // namespace timecode

#endif
