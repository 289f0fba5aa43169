// The door: start-up, shut-down, the revision, and the dispatch of a picture's request by revision.
#include "timecode.h"

#include "cfgfile_api.h"
#include "core/state.h"
#include "core/trace.h"
#include "retrieval/profile20162.h"
#include "retrieval/profile62.h"

using namespace timecode;

namespace {

bool IsSupported(int enMISPRevision) {
    return enMISPRevision == MISP_PROFILE_62 || enMISPRevision == MISP_PROFILE_2016_2;
}

} // namespace

void TimecodeLib_Init(int enMISPRevision) {
    _DoDbgInit("TIMECODELIB", &g_hTCLibDbg);
    TC_TRACE(DBG_LEVEL_DEBUG, "Called.\n");
    if (IsSupported(enMISPRevision)) {
        _g_enMISPRevision = enMISPRevision;
        TC_TRACE(DBG_LEVEL_NOTICE, "Identified MISP revision as:%d.\n", enMISPRevision);
    } else {
        ReportUnsupported(enMISPRevision, TC_HERE);
    }
    _Timecode_InternalInit();
    _g_bTCLibInitialized = TRUE;
}

void TimecodeLib_Shutdown(void) {
    TC_TRACE(DBG_LEVEL_DEBUG, "Called.\n");
    _g_bTCLibInitialized = FALSE;
    _DoDbgUninitEx(&g_hTCLibDbg, TC_PLACE);
}

int Timecode_GetMISPRevision(void) {
    return IsInitialised(TC_HERE) ? _g_enMISPRevision : -1;
}

void Timecode_GetMISPRevisionFromSystemSettings(int *penMISPRevision) {
    if (!TC_ASSERT(penMISPRevision != NULL))
        return;
    int enMISPRevision = MISP_PROFILE_62;
    CfgFile_GetIntValue("/etc/plixo.ini", "SYSTEM", "MISPRevision", &enMISPRevision, MISP_PROFILE_62);
    *penMISPRevision = enMISPRevision;
}

BOOL Timecode_GetUTC(int enInputInterface, int *penConfigMISBTimesource, BOOL bTimeSourceSwitchAllowed,
                     int nEncodedFrameRate, int nVUIFrameRate, UINT64 UnchangedEncoderPTS64, UINT64 TCBasePTS64,
                     INT64 llTCBaseUTC64, MISP_UTC *pUTC, vitc_t *pVitcRecord, BOOL *pbSameTSRecord,
                     void **ppRecordAddress) {
    switch (_g_enMISPRevision) {
    case MISP_PROFILE_62:
        return _GetUTC_Profile62(enInputInterface, penConfigMISBTimesource, bTimeSourceSwitchAllowed, nEncodedFrameRate,
                                 nVUIFrameRate, UnchangedEncoderPTS64, TCBasePTS64, llTCBaseUTC64, pUTC, pVitcRecord,
                                 pbSameTSRecord, ppRecordAddress);
    case MISP_PROFILE_2016_2:
        if (!TC_ASSERT(penConfigMISBTimesource != NULL))
            return FALSE;
        return _GetUTC_Profile20162(enInputInterface, *penConfigMISBTimesource, UnchangedEncoderPTS64, pUTC,
                                    pVitcRecord, pbSameTSRecord, ppRecordAddress);
    default:
        ReportUnsupported(_g_enMISPRevision, TC_HERE);
        return FALSE;
    }
}
