// Times from the system clock: the caller's base pair plus the PTS distance. One procedure for both revisions, and a
// row of differences.
#include "retrieval/system_time.h"

#include <ctime>

#include "clock_api.h"
#include "conversion/frame_period.h"
#include "core/lock.h"
#include "core/record.h"
#include "core/shared.h"
#include "core/state.h"
#include "core/trace.h"
#include "core/units.h"
#include "pts_api.h"
#include "retrieval/status_byte.h"

namespace timecode {

struct SystemTimeRow {
    bool bTracesBase;        // every call says base, picture and distance
    bool bRemembersRecord;   // the record is kept for the next call
    time_t nThrottleSeconds; // of the success message
    int nFormatFailureLevel;
    const char *szOk;
};

static constexpr SystemTimeRow PROFILE_62_TIME = {
    .bTracesBase = true,
    .bRemembersRecord = true,
    .nThrottleSeconds = 9,
    .nFormatFailureLevel = DBG_LEVEL_ERROR,
    .szOk = "Success getting system UTC:H:M:S:mS:(%02d:%02d:%02d.%03d). UTC64:%lld, CodedPicPTS64:0x%llx, UTC "
            "enTimecodeSource:%d(%s)\n",
};

static constexpr SystemTimeRow PROFILE_20162_TIME = {
    .bTracesBase = false,
    .bRemembersRecord = false,
    .nThrottleSeconds = 4,
    .nFormatFailureLevel = DBG_LEVEL_INFO,
    .szOk = "Success getting system UTC:H:M:S:mS:(%d:%d:%d.%d). UTC64:%lld, CodedPicPTS64:0x%llx, UTC "
            "enTimecodeSource:%d(%s)\n",
};

static_assert(HasConversions(PROFILE_62_TIME.szOk, "%02d%02d%02d%03d%lld%llx%d%s"));
static_assert(HasConversions(PROFILE_20162_TIME.szOk, "%d%d%d%d%lld%llx%d%s"));

// The UTC of the remembered record is read without the lock.
static INT64 &SharedUtc(MISP_UTC &Record) {
    return *reinterpret_cast<INT64 *>(reinterpret_cast<unsigned char *>(&Record.MotionImageryTimestamp) +
                                      offsetof(UTCPayload, llUTCTime));
}

static MISP_UTC MakeRecord(const SystemTimeRow &Row, INT64 llUTC, UINT64 UnchangedEncoderPTS64) {
    const INT64 llLastUTC = Row.bRemembersRecord ? LoadShared(SharedUtc(_SystemTcInfo.LastRetrivedSystemUTC)) : llUTC;
    MISP_UTC Record{};
    SetUtc(Record, llUTC);
    // A time from the system clock is never locked; without a discontinuity the previous time does not count.
    SetStatusByte(Record, _GetMISPStatusByte(TRUE, FALSE, FALSE, llLastUTC, llUTC));
    Record.enTimecodeSource = TCSOURCE_SYSTEM_TIMESTAMP;
    Record.nTimestamp64 = UnchangedEncoderPTS64;
    return Record;
}

static void RememberRecord(const MISP_UTC &Record) {
    TC_LOCK(SystemLock, _SystemTcInfo.Lock);
    MISP_UTC &Last = _SystemTcInfo.LastRetrivedSystemUTC;
    StoreShared(SharedUtc(Last), UtcOf(Record));
    SetStatusByte(Last, StatusByteOf(Record));
    Last.nTimestamp64 = Record.nTimestamp64;
    Last.enTimecodeSource = Record.enTimecodeSource;
}

static void TraceSuccess(const SystemTimeRow &Row, const MISP_UTC &Record, time_t tCurrent, time_t &tLastLogTime) {
    if (!ThrottlePasses(tLastLogTime, tCurrent, Row.nThrottleSeconds))
        return;
    date_time_t HumanTime{};
    ClockCvtUtc2Time(UtcOf(Record), &HumanTime);
    TC_TRACE(DBG_LEVEL_INFO, Row.szOk, HumanTime.hour, HumanTime.min, HumanTime.sec, HumanTime.microsec / 1'000,
             static_cast<long long>(UtcOf(Record)), static_cast<unsigned long long>(Record.nTimestamp64),
             TCSOURCE_SYSTEM_TIMESTAMP, SourceName(TCSOURCE_SYSTEM_TIMESTAMP).Text());
}

static bool FormatTimecode(const SystemTimeRow &Row, const MISP_UTC &Record, int nEncodedFrameRate, int nVUIFrameRate,
                           vitc_t *pVitcRecord) {
    // The caller's pointer goes straight on: the conversion refuses null, and then the formatting has failed.
    INT64 llUTC = UtcOf(Record);
    if (TimeCode_UTCToSMPTE12M(&llUTC, nEncodedFrameRate, RateCode(nVUIFrameRate), pVitcRecord) == TRUE)
        return true;
    TC_TRACE(Row.nFormatFailureLevel, "Failed to format SMPTE12M VITC from UTC.\n");
    return false;
}

static BOOL MakeSystemTime(const SystemTimeRow &Row, time_t &tLastLogTime, int nEncodedFrameRate, int nVUIFrameRate,
                           UINT64 UnchangedEncoderPTS64, UINT64 TCBasePTS64, INT64 llTCBaseUTC64, MISP_UTC *pUTC,
                           vitc_t *pVitcRecord) {
    const time_t tCurrent = time(nullptr);
    const bool bUTC = TC_ASSERT(pUTC != NULL);
    TC_ASSERT(pVitcRecord != NULL);
    if (!bUTC)
        return FALSE;
    const INT64 llDiff64 = CalcPTSDiff(TCBasePTS64, UnchangedEncoderPTS64);
    if (Row.bTracesBase)
        TC_TRACE(DBG_LEVEL_INFO, "TCBasePTS64:%ld, UnchangedEncoderPTS64:%ld, Diff64:%ld.\n",
                 static_cast<long>(TCBasePTS64), static_cast<long>(UnchangedEncoderPTS64), static_cast<long>(llDiff64));
    const MISP_UTC CurrentUTC =
        MakeRecord(Row, WrappingSum(llTCBaseUTC64, TicksToUsec(llDiff64)), UnchangedEncoderPTS64);
    Store(pUTC, CurrentUTC);
    TraceSuccess(Row, CurrentUTC, tCurrent, tLastLogTime);
    const bool bFormatted = FormatTimecode(Row, CurrentUTC, nEncodedFrameRate, nVUIFrameRate, pVitcRecord);
    if (Row.bRemembersRecord)
        RememberRecord(CurrentUTC);
    return bFormatted ? TRUE : FALSE;
}

BOOL _GetSystemUTC_Profile62(int nEncodedFrameRate, int nVUIFrameRate, UINT64 UnchangedEncoderPTS64, UINT64 TCBasePTS64,
                             INT64 llTCBaseUTC64, MISP_UTC *pUTC, vitc_t *pVitcRecord) {
    static time_t _tLastOKRetrievalLogTime;
    return MakeSystemTime(PROFILE_62_TIME, _tLastOKRetrievalLogTime, nEncodedFrameRate, nVUIFrameRate,
                          UnchangedEncoderPTS64, TCBasePTS64, llTCBaseUTC64, pUTC, pVitcRecord);
}

BOOL _GetSystemUTC_Profile20162(int nEncodedFrameRate, int nVUIFrameRate, UINT64 UnchangedEncoderPTS64,
                                UINT64 TCBasePTS64, INT64 llTCBaseUTC64, MISP_UTC *pUTC, vitc_t *pVitcRecord) {
    static time_t _tLastOKRetrievalLogTime;
    return MakeSystemTime(PROFILE_20162_TIME, _tLastOKRetrievalLogTime, nEncodedFrameRate, nVUIFrameRate,
                          UnchangedEncoderPTS64, TCBasePTS64, llTCBaseUTC64, pUTC, pVitcRecord);
}

} // namespace timecode
