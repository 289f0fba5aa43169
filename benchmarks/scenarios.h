// The calls that are measured, each on a library that has been brought into the state that the call meets.
// Every scenario ends up as a callable object, so that a warm and a cold measurement run the very same code.
#ifndef BENCHMARKS_SCENARIOS_H
#define BENCHMARKS_SCENARIOS_H

#include <benchmark/benchmark.h>
#include <cstring>
#include <ctime>
#include <pthread.h>
#include <string>

#include "timecode.h"

namespace bench {

constexpr UINT64 TICKS_PER_PICTURE = 3003;
constexpr UINT64 RECORDS_PER_INPUT = 180;
constexpr INT64 SOME_UTC = 1'767'225'600'000'000;

// What no implementation can avoid: two clock reads, a recursive lock and unlock, a copied record.
class Floor {
public:
    void operator()() {
        timespec tpNow{};
        benchmark::DoNotOptimize(time(nullptr));
        clock_gettime(CLOCK_REALTIME, &tpNow);
        benchmark::DoNotOptimize(tpNow);
        pthread_mutex_lock(&Mutex());
        std::memcpy(static_cast<void *>(&m_To), static_cast<const void *>(&m_From), sizeof m_To);
        benchmark::DoNotOptimize(m_To);
        pthread_mutex_unlock(&Mutex());
    }

private:
    static pthread_mutex_t &Mutex() {
        static pthread_mutex_t Mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
        return Mutex;
    }
    MISP_UTC m_From{};
    MISP_UTC m_To{};
};

inline TCPayload PayloadOf(int enSource) {
    TCPayload Payload{};
    if (enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
        Payload.vitc.HourTens = 1;
    else
        Payload.KLVTC = {0x1F, SOME_UTC};
    return Payload;
}

inline void Restart(int enRevision) {
    TimecodeLib_Shutdown();
    TimecodeLib_Init(enRevision);
}

// A full pool of one source: picture 0 belongs to the oldest record.
inline void FillPool(int enSource, int nInput = 0) {
    TCPayload Payload = PayloadOf(enSource);
    for (UINT64 nPicture = 0; nPicture < RECORDS_PER_INPUT; ++nPicture)
        Timecode_SetUTC(nInput, enSource, nPicture * TICKS_PER_PICTURE, &Payload);
}

// A full pool in which the three queue-borne sources take turns. Only the records of one lie at a picture's PTS; those
// of the others lie too far off.
inline void FillMixedPool(int enNearSource) {
    for (UINT64 nPicture = 0; nPicture < RECORDS_PER_INPUT / 3; ++nPicture)
        for (int enSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP; enSource <= TCSOURCE_LDS_TIMESTAMP; ++enSource) {
            TCPayload Payload = PayloadOf(enSource);
            const UINT64 nOffset = enSource == enNearSource ? 0 : TICKS_PER_PICTURE / 2;
            Timecode_SetUTC(0, enSource, nPicture * TICKS_PER_PICTURE + nOffset, &Payload);
        }
}

class Queue {
public:
    explicit Queue(int enSource) : m_enSource(enSource), m_Payload(PayloadOf(enSource)) {}
    void operator()() { Timecode_SetUTC(0, m_enSource, m_nPTS += TICKS_PER_PICTURE, &m_Payload); }

private:
    int m_enSource;
    TCPayload m_Payload;
    UINT64 m_nPTS = 0;
};

struct Asked {
    int enSource;
    UINT64 nPTS;
    BOOL bSwitching = FALSE;
    void *pCursor = nullptr;
};

class Retrieve {
public:
    explicit Retrieve(const Asked &What) : m_What(What) {}
    void operator()() {
        void *pCursor = m_What.pCursor;
        benchmark::DoNotOptimize(Ask(pCursor));
    }
    BOOL Ask(void *&pCursor) {
        return Timecode_GetUTC(0, &m_What.enSource, m_What.bSwitching, 30, 29000, m_What.nPTS, 0, SOME_UTC, &m_Utc,
                               &m_Vitc, &m_bSame, &pCursor);
    }

private:
    Asked m_What;
    MISP_UTC m_Utc{};
    vitc_t m_Vitc{};
    BOOL m_bSame = FALSE;
};

// The cursor that leads to the record of a picture.
inline void *CursorTo(int enSource, UINT64 nPTS) {
    void *pCursor = nullptr;
    Retrieve({.enSource = enSource, .nPTS = nPTS - TICKS_PER_PICTURE}).Ask(pCursor);
    return pCursor;
}

constexpr UINT64 PTSAtDepth(UINT64 nDepth) {
    return (RECORDS_PER_INPUT - nDepth) * TICKS_PER_PICTURE;
}

inline Retrieve WithCursor(int enRevision, int enSource) {
    Restart(enRevision);
    FillPool(enSource);
    const UINT64 nPTS = PTSAtDepth(90);
    return Retrieve({.enSource = enSource, .nPTS = nPTS, .pCursor = CursorTo(enSource, nPTS)});
}

inline Retrieve WithoutCursor(UINT64 nDepth) {
    Restart(MISP_PROFILE_2016_2);
    FillPool(TCSOURCE_HIGH_PRECISION_TIMESTAMP);
    return Retrieve({.enSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP, .nPTS = PTSAtDepth(nDepth)});
}

// A picture after the newest record: the time is carried forward.
inline Retrieve Silent(int enSource) {
    Restart(MISP_PROFILE_62);
    FillPool(enSource);
    return Retrieve({.enSource = enSource, .nPTS = PTSAtDepth(0)});
}

inline Retrieve SystemClock() {
    Restart(MISP_PROFILE_62);
    return Retrieve({.enSource = TCSOURCE_SYSTEM_TIMESTAMP, .nPTS = PTSAtDepth(90)});
}

// The records that lie nearest to the picture are the oldest, so that every candidate takes a whole walk.
inline Retrieve Switching(int enSource) {
    Restart(MISP_PROFILE_62);
    FillMixedPool(enSource);
    return Retrieve({.enSource = enSource, .nPTS = 0, .bSwitching = TRUE});
}

class ToTimecode {
public:
    ToTimecode(int nRate, ULONG nCode) : m_nRate(nRate), m_nCode(nCode) {}
    void operator()() {
        m_llUTC += 33'367;
        TimeCode_UTCToSMPTE12M(&m_llUTC, m_nRate, m_nCode, &m_Vitc);
    }

private:
    int m_nRate;
    ULONG m_nCode;
    INT64 m_llUTC = SOME_UTC;
    vitc_t m_Vitc{};
};

// The generator on consecutive pictures at 29.97 Hz.
class NextLabel {
public:
    NextLabel() {
        m_Context.PTSTicksPerFrame = TICKS_PER_PICTURE;
        m_Context.nEncodedPictureRate = 30;
        m_Context.nVUIFramerate = 29000;
    }
    void operator()() {
        const UINT64 nPTS = m_Context.OldTimestamp64 + TICKS_PER_PICTURE;
        Timecode_MakeSMPTE12M1VITC(&m_Context, 0, nPTS, &m_Context.OldSystemTC);
        m_Context.OldTimestamp64 = nPTS;
    }

private:
    SMPTE12M1_CONTEXT m_Context{};
};

// Of two timecodes that were written long before.
class Difference {
public:
    Difference() {
        m_New[0].HourUnits = 1;
        m_New[1].SecondUnits = 1;
    }
    void operator()() {
        m_nTurn ^= 1;
        Timecode_CalcFrameCountDiff(30, 29000, m_Old, m_New[m_nTurn], &m_nDifference);
    }

private:
    vitc_t m_Old{};
    vitc_t m_New[2]{};
    size_t m_nTurn = 0;
    int m_nDifference = 0;
};

// Names every scenario with what brings the library into its state and returns the call.
template <class Take>
void ForEachScenario(Take &&Add) {
    Add("floor", [] { return Floor(); });
    for (const int enSource : {1, 2, 3})
        Add(
            "SetUTC, source " + std::to_string(enSource),
            [enSource] {
                Restart(MISP_PROFILE_2016_2);
                FillPool(enSource);
                return Queue(enSource);
            });
    Add("GetUTC 20162, kept cursor", [] { return WithCursor(MISP_PROFILE_2016_2, 1); });
    for (const int nDepth : {5, 90, 175})
        Add("GetUTC 20162, null cursor, depth " + std::to_string(nDepth),
            [nDepth] { return WithoutCursor(static_cast<UINT64>(nDepth)); });
    for (const int enSource : {1, 2, 3})
        Add("GetUTC 20116, matched, kept cursor, source " + std::to_string(enSource),
            [enSource] { return WithCursor(MISP_PROFILE_62, enSource); });
    for (const int enSource : {1, 2, 3})
        Add(
            "GetUTC 20116, silent source " + std::to_string(enSource), [enSource] { return Silent(enSource); });
    Add("GetUTC 20116, system clock", [] { return SystemClock(); });
    for (const int enSource : {3, 4})
        Add(
            "GetUTC 20116, switching, on source " + std::to_string(enSource),
            [enSource] { return Switching(enSource); });
    Add(
        "UTCToSMPTE12M, 25 Hz", [] { return ToTimecode(25, 25000); });
    Add(
        "UTCToSMPTE12M, 29.97 Hz", [] { return ToTimecode(30, 29000); });
    Add(
        "MakeSMPTE12M1VITC, drop frame", [] { return NextLabel(); });
    Add("CalcFrameCountDiff", [] { return Difference(); });
}

void RegisterContention();

} // namespace bench

#endif
