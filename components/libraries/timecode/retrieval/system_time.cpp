// Times from the system clock: the caller's base pair plus the PTS distance. One procedure for both revisions: Profile
// 62 traces its base and remembers its record, and the messages differ.
#include "retrieval/system_time.h"

#include <ctime>

#include "clock_api.h"
#include "core/lock.h"
#include "core/rate_codes.h"
#include "core/record.h"
#include "core/shared.h"
#include "core/source_names.h"
#include "core/state.h"
#include "core/trace.h"
#include "core/units.h"
#include "pts_api.h"
#include "retrieval/status_byte.h"

namespace timecode {

namespace {

// A time from the system clock is never locked; without a discontinuity the previous time does not count. The UTC of
// the remembered record is read without the lock.
BYTE StatusByteFor(bool bProfile62, INT64 llUTC) {
    const INT64 llLastUTC = bProfile62 ? LoadShared(SharedUtcIn(_SystemTcInfo.LastRetrivedSystemUTC)) : llUTC;
    return _GetMISPStatusByte(TRUE, FALSE, FALSE, llLastUTC, llUTC);
}

void WriteRecord(MISP_UTC &Record, INT64 llUTC, BYTE nStatusByte, UINT64 UnchangedEncoderPTS64) {
    Record.DNode = {};
    ClearPayload(Record);
    SetUtc(Record, llUTC);
    SetStatusByte(Record, nStatusByte);
    Record.nTimestamp64 = UnchangedEncoderPTS64;
    Record.enTimecodeSource = TCSOURCE_SYSTEM_TIMESTAMP;
    Record.tpInsertionTime = {};
}

void RememberRecord(INT64 llUTC, BYTE nStatusByte, UINT64 UnchangedEncoderPTS64) {
    TC_LOCK(SystemLock, _SystemTcInfo.Lock);
    MISP_UTC &Last = _SystemTcInfo.LastRetrivedSystemUTC;
    StoreShared(SharedUtcIn(Last), llUTC);
    SetStatusByte(Last, nStatusByte);
    Last.nTimestamp64 = UnchangedEncoderPTS64;
    Last.enTimecodeSource = TCSOURCE_SYSTEM_TIMESTAMP;
}

void TraceSuccess(bool bProfile62, INT64 llUTC, UINT64 UnchangedEncoderPTS64) {
    date_time_t HumanTime{};
    ClockCvtUtc2Time(llUTC, &HumanTime);
    TC_TRACE(DBG_LEVEL_INFO,
             bProfile62
                 ? "Success getting system UTC:H:M:S:mS:(%02d:%02d:%02d.%03d). UTC64:%lld, CodedPicPTS64:0x%llx, "
                   "UTC enTimecodeSource:%d(%s)\n"
                 : "Success getting system UTC:H:M:S:mS:(%d:%d:%d.%d). UTC64:%lld, CodedPicPTS64:0x%llx, UTC "
                   "enTimecodeSource:%d(%s)\n",
             HumanTime.hour, HumanTime.min, HumanTime.sec, HumanTime.microsec / 1'000, static_cast<long long>(llUTC),
             static_cast<unsigned long long>(UnchangedEncoderPTS64), TCSOURCE_SYSTEM_TIMESTAMP,
             SourceName(TCSOURCE_SYSTEM_TIMESTAMP).Text());
}

BOOL MakeSystemTime(bool bProfile62, time_t &tLastLogTime, int nEncodedFrameRate, int nVUIFrameRate,
                    UINT64 UnchangedEncoderPTS64, UINT64 TCBasePTS64, INT64 llTCBaseUTC64, MISP_UTC *pUTC,
                    vitc_t *pVitcRecord) {
    const time_t tCurrent = time(nullptr);
    const bool bUTC = TC_ASSERT(pUTC != NULL);
    TC_ASSERT(pVitcRecord != NULL);
    if (!bUTC)
        return FALSE;
    const INT64 llDiff64 = CalcPTSDiff(TCBasePTS64, UnchangedEncoderPTS64);
    if (bProfile62)
        TC_TRACE(DBG_LEVEL_INFO, "TCBasePTS64:%ld, UnchangedEncoderPTS64:%ld, Diff64:%ld.\n",
                 static_cast<long>(TCBasePTS64), static_cast<long>(UnchangedEncoderPTS64), static_cast<long>(llDiff64));
    INT64 llUTC = WrappingSum(llTCBaseUTC64, TicksToUsec(llDiff64));
    const BYTE nStatusByte = StatusByteFor(bProfile62, llUTC);
    WriteRecord(*pUTC, llUTC, nStatusByte, UnchangedEncoderPTS64);
    if (ThrottlePasses(tLastLogTime, tCurrent, bProfile62 ? SLOW_THROTTLE_SECONDS : USUAL_THROTTLE_SECONDS))
        TraceSuccess(bProfile62, llUTC, UnchangedEncoderPTS64);
    // The caller's pointer goes straight on: the conversion refuses null, and then the formatting has failed.
    const BOOL bFormatted = TimeCode_UTCToSMPTE12M(&llUTC, nEncodedFrameRate, RateCode(nVUIFrameRate), pVitcRecord);
    if (bFormatted != TRUE)
        TC_TRACE(bProfile62 ? DBG_LEVEL_ERROR : DBG_LEVEL_INFO, "Failed to format SMPTE12M VITC from UTC.\n");
    if (bProfile62)
        RememberRecord(llUTC, nStatusByte, UnchangedEncoderPTS64);
    return bFormatted;
}

} // namespace

BOOL _GetSystemUTC_Profile62(int nEncodedFrameRate, int nVUIFrameRate, UINT64 UnchangedEncoderPTS64, UINT64 TCBasePTS64,
                             INT64 llTCBaseUTC64, MISP_UTC *pUTC, vitc_t *pVitcRecord) {
    static time_t _tLastOKRetrievalLogTime;
    return MakeSystemTime(true, _tLastOKRetrievalLogTime, nEncodedFrameRate, nVUIFrameRate, UnchangedEncoderPTS64,
                          TCBasePTS64, llTCBaseUTC64, pUTC, pVitcRecord);
}

BOOL _GetSystemUTC_Profile20162(int nEncodedFrameRate, int nVUIFrameRate, UINT64 UnchangedEncoderPTS64,
                                UINT64 TCBasePTS64, INT64 llTCBaseUTC64, MISP_UTC *pUTC, vitc_t *pVitcRecord) {
    static time_t _tLastOKRetrievalLogTime;
    return MakeSystemTime(false, _tLastOKRetrievalLogTime, nEncodedFrameRate, nVUIFrameRate, UnchangedEncoderPTS64,
                          TCBasePTS64, llTCBaseUTC64, pUTC, pVitcRecord);
}

} // namespace timecode

using namespace timecode;

BOOL Timecode_GetSystemUTC(int nEncodedFrameRate, int nVUIFrameRate, UINT64 UnchangedEncoderPTS64, UINT64 TCBasePTS64,
                           INT64 llTCBaseUTC64, MISP_UTC *pUTC, vitc_t *pVitcRecord) {
    if (!IsInitialised(TC_HERE))
        return FALSE;
    switch (_g_enMISPRevision) {
    case MISP_PROFILE_62:
        return _GetSystemUTC_Profile62(nEncodedFrameRate, nVUIFrameRate, UnchangedEncoderPTS64, TCBasePTS64,
                                       llTCBaseUTC64, pUTC, pVitcRecord);
    case MISP_PROFILE_2016_2:
        return _GetSystemUTC_Profile20162(nEncodedFrameRate, nVUIFrameRate, UnchangedEncoderPTS64, TCBasePTS64,
                                          llTCBaseUTC64, pUTC, pVitcRecord);
    default:
        ReportUnsupported(_g_enMISPRevision, TC_HERE);
        return FALSE;
    }
}
