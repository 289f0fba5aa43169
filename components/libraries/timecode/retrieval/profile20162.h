// Retrieval under MISP_PROFILE_2016_2: the matched record of the configured source, as it was stored.
#ifndef TIMECODE_RETRIEVAL_PROFILE20162_H
#define TIMECODE_RETRIEVAL_PROFILE20162_H

#include "timecode.h"

namespace timecode {

// Arguments and results as those of Timecode_GetUTC; the source comes by value.
BOOL _GetUTC_Profile20162(int enInputInterface, int enConfigMISBTimesource, UINT64 UnchangedEncoderPTS64,
                          MISP_UTC *pUTC, vitc_t *pVitcRecord, BOOL *pbSameTSRecord, void **ppRecordAddress);

} // namespace timecode

#endif
