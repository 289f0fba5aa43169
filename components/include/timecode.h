/** @file
 * Time base of a video encoder: UTC, SMPTE 12M timecode and MISP status byte of every coded picture.
 *
 * Producers hand in the time stamps that they read from a video, each with the capture PTS of the picture that
 * carried it (Timecode_SetUTC). The library keeps the last 180 of each input and answers, for each coded picture,
 * which time belongs to it (Timecode_GetUTC). Beside that it converts UTC to timecode, numbers coded pictures with
 * SMPTE 12M-1 drop-frame timecode, and counts the frames between two timecodes.
 *
 * The library has no thread of its own, allocates nothing and runs in its callers' threads. Call order:
 * TimecodeLib_Init once; then any calls from any threads; then TimecodeLib_Shutdown when no other thread is inside.
 * Nothing is thrown. A caller's error is reported through _DoAssert (dbgtrace.h) with the text of the violated
 * condition; the call then refuses, or leaves out the one write that cannot be made, and nothing else changes.
 * Pointers must be aligned as C wants it of their types; that is not looked at.
 *
 * Units: a PTS is an unsigned count of 90 kHz ticks. A UTC time is a signed count of microseconds since 1970-01-01
 * 00:00:00 UTC. Standards: SMPTE ST 12-1 (timecode), MISB ST 0601 (local set, tag 2), MISB ST 0603 and ST 0604 (time
 * stamp and status byte).
 */
#ifndef TIMECODE_H
#define TIMECODE_H

#include "xtypes.h"

#include <time.h>

#include "dbgtrace.h"
#include "flist_api.h"
#include "vanc.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Release of the library, as text and as three numbers; the soname has the ABI's own number. */
#define TIMECODE_VERSION_STRING "0.2.0"
#define TIMECODE_VERSION_MAJOR 0 /**< first number of the release */
#define TIMECODE_VERSION_MINOR 2 /**< second number of the release */
#define TIMECODE_VERSION_PATCH 0 /**< third number of the release */

/** Video inputs are numbered from 0 to NUM_VIDEO_INPUTS - 1. */
#define NUM_VIDEO_INPUTS 4

/** Where a time stamp comes from; of 1 to 4, the lower the value, the better the source. */
enum {
    TCSOURCE_NONE = 0,                     /**< no time stamp */
    TCSOURCE_HIGH_PRECISION_TIMESTAMP = 1, /**< UTC as KLV in the vertical ancillary data; KLVTC */
    TCSOURCE_SMPTE12M_TIMESTAMP = 2,       /**< SMPTE 12M timecode read from VITC; vitc */
    TCSOURCE_LDS_TIMESTAMP = 3,            /**< UTC of a KLV local data set (MISB ST 0601, tag 2); KLVTC */
    TCSOURCE_SYSTEM_TIMESTAMP = 4          /**< the board's system clock; made by the library; KLVTC */
};

/** Stands in TIMECODE_STATS.enTimecodeSource until an input has chosen its first source. */
#define TCSOURCE_NOT_CHOSEN 0xDEAD

/** MISP revisions (Motion Imagery Standards Profile) that the library can run under. */
enum {
    MISP_PROFILE_62 = 20116,    /**< failover, recovery, carried time, conversions */
    MISP_PROFILE_2016_2 = 20162 /**< the matched record of the configured source, as it was stored */
};

/** A UTC time stamp with its status byte. Bit 7 of the byte: not locked to the reference (flywheel); bit 6:
 * discontinuity; bit 5: the time went backwards; bits 4 to 0 are 1 (MISB ST 0603). */
typedef struct tagUTCPayload {
    BYTE MISPStatusByte; /**< see above; the library's own first value is 0xDF */
    INT64 llUTCTime;     /**< microseconds since 1970-01-01 00:00:00 UTC */
} UTCPayload;

/** A time stamp; the record's source says which view is valid. */
typedef union tagTCPayload {
    vitc_t vitc;      /**< TCSOURCE_SMPTE12M_TIMESTAMP */
    UTCPayload KLVTC; /**< TCSOURCE_HIGH_PRECISION_TIMESTAMP, TCSOURCE_LDS_TIMESTAMP, TCSOURCE_SYSTEM_TIMESTAMP */
} TCPayload;

/** One time-stamp record. A record handed out is a copy; its DNode means nothing to the caller. */
typedef struct tagMISP_UTC {
    FNODE_D DNode; /**< link in the input's list; the first member, so a record's address is its node's */
    TCPayload MotionImageryTimestamp; /**< the time stamp itself */
    UINT64 nTimestamp64;              /**< PTS of the picture that the time stamp belongs to, 90 kHz ticks */
    int enTimecodeSource;             /**< TCSOURCE_..., and so which view of the payload is valid */
    struct timespec tpInsertionTime;  /**< CLOCK_REALTIME instant at which the record was last written */
} MISP_UTC;

/** Per-input statistics. */
typedef struct tagTIMECODE_STATS {
    UINT64 nTimeSourceSwitches; /**< source changes since start-up or the last Timecode_ResetStats */
    int enTimecodeSource;       /**< the source in use, or TCSOURCE_NOT_CHOSEN */
} TIMECODE_STATS;

/** State of one stream's SMPTE 12M-1 generator; belongs to the caller. Start with every field 0, then fill the
 * configuration and seed the three Old fields with the timecode, order count and time stamp of a starting picture. */
typedef struct tagSMPTE12M1_CONTEXT {
    UINT PTSTicksPerFrame;     /**< frame duration in 90 kHz ticks (3003 at 29.97 Hz), not 0; caller */
    UINT nEncodedPictureRate;  /**< whole-number rate, at which frame numbers wrap (30 at 29.97 Hz), not 0; caller */
    UINT nVUIFramerate;        /**< 29000 or 59000 selects drop-frame numbering, any other value none; caller */
    UINT nBframes;             /**< consecutive B pictures in the coding structure; caller */
    vitc_t OldSystemTC;        /**< timecode of the previously coded picture; caller, after each call */
    UINT OldPoc;               /**< its picture order count, for the trace only; caller, after each call */
    UINT64 OldTimestamp64;     /**< its PTS, 90 kHz ticks; caller, after each call */
    time_t tDropFrameOccurred; /**< wall-clock second of the last drop-frame skip; generator */
    int BackFillStateCount;    /**< pictures still to pass through the back-fill state; generator */
    BOOL bExtraSkipAllowed;    /**< TRUE: one extra skip is owed to the last of them; generator */
} SMPTE12M1_CONTEXT;

/** The library's trace handle: null until TimecodeLib_Init and again after TimecodeLib_Shutdown. In between the
 * application may set its level at any time: DbgSetMaxLevel(g_hTCLibDbg, DBG_LEVEL_INFO). */
XTYPES_EXPORT extern HDBG g_hTCLibDbg;

/** @name Life and settings
 * @{ */

/**
 * Starts the library: opens the trace handle, lays out all inputs with empty pools, forgets all retrieval state.
 *
 * Call it once, and again only after TimecodeLib_Shutdown. No other thread may be inside the library. It has worked
 * when Timecode_GetMISPRevision returns the revision given.
 *
 * @param enMISPRevision MISP_PROFILE_62 or MISP_PROFILE_2016_2. Any other value is reported through _DoTextAssert; the
 *     library then comes up with the revision of an earlier start-up, or with none, and with none Timecode_GetUTC and
 *     Timecode_GetSystemUTC refuse.
 */
XTYPES_EXPORT void TimecodeLib_Init(int enMISPRevision);

/**
 * Stops the library and closes the trace handle; queuing and retrieval refuse from then on.
 *
 * No other thread may be inside the library. Stopping a library that is not started is harmless.
 */
XTYPES_EXPORT void TimecodeLib_Shutdown(void);

/**
 * Tells the revision that the library runs under. Any thread.
 *
 * @return MISP_PROFILE_62 or MISP_PROFILE_2016_2; 0 when only unsupported revisions have been given; -1 when the
 *     library is not started.
 */
XTYPES_EXPORT int Timecode_GetMISPRevision(void);

/**
 * Reads the integer key "MISPRevision" of section "SYSTEM" of the settings file "/etc/plixo.ini".
 *
 * Needs no started library. Reads a file: not for real-time threads.
 *
 * @param penMISPRevision receives the value as it stands, which TimecodeLib_Init checks; 20116 when file, section or
 *     key is missing or unreadable. Null is reported and nothing is written.
 */
XTYPES_EXPORT void Timecode_GetMISPRevisionFromSystemSettings(int *penMISPRevision);

/** @}
 * @name Statistics and names
 * @{ */

/**
 * Reads an input's statistics. Takes no lock and needs no started library; any thread, any time.
 *
 * @param enInputInterface input, 0 to NUM_VIDEO_INPUTS - 1
 * @param pStats receives the statistics
 * @return TRUE when *pStats was written; FALSE, with *pStats untouched, for an input out of range or a null pStats.
 */
XTYPES_EXPORT BOOL Timecode_GetStats(int enInputInterface, TIMECODE_STATS *pStats);

/**
 * Sets an input's switch count to 0 and forgets the last UTC time handed out, so that the next one is compared with 0.
 * The source in use stays. Takes no lock and needs no started library; any thread, any time.
 *
 * @param enInputInterface input, 0 to NUM_VIDEO_INPUTS - 1
 * @return TRUE; FALSE for an input out of range.
 */
XTYPES_EXPORT BOOL Timecode_ResetStats(int enInputInterface);

/**
 * Writes the name of a source: "None", "High Precision TimeStamp", "VITC Commercial TimeStamp", "LDS Timestamp",
 * "System TimeStamp", or "(Unknown)" for any other value. Any thread, any time.
 *
 * @param enTimecodeSouce the source, any value
 * @param szBuffer receives the name, cut to the size with its NUL; the longest name has 25 characters
 * @param nSize size of the buffer in bytes
 * @return szBuffer. With a null buffer or a size of 0 or below nothing is written, and the fixed text "Invalid input
 *     buffer" is returned, which must not be written to.
 */
XTYPES_EXPORT char *Timecode_GetTimecodeSourceString(int enTimecodeSouce, char *szBuffer, int nSize);

/** @}
 * @name Queue
 * @{ */

/**
 * Queues one time stamp of an input in place of the input's oldest one.
 *
 * Any number of threads; blocks only for work on the same input's list.
 *
 * @param enInputInterface input, 0 to NUM_VIDEO_INPUTS - 1
 * @param enTimeCodeSource TCSOURCE_..., stored as it is
 * @param nTimestamp64 capture PTS of the picture that carried the time stamp, 90 kHz ticks
 * @param pMotionImageryTimestamp the time stamp; only read, and the caller's again afterwards. Of a
 *     TCSOURCE_HIGH_PRECISION_TIMESTAMP the status byte and the UTC are copied, of every other source the whole vitc
 *     view, which covers KLVTC too.
 * @return TRUE when the time stamp was queued; FALSE when the library is not started, the input is out of range or the
 *     payload is null (both reported).
 */
XTYPES_EXPORT BOOL Timecode_SetUTC(int enInputInterface, int enTimeCodeSource, UINT64 nTimestamp64,
                                   TCPayload *pMotionImageryTimestamp);

/**
 * Empties an input's queue: no time stamp queued before matches a picture afterwards.
 *
 * At most once in each second of time(): further calls in the second, or while the clock stands behind the last flush,
 * do nothing, and neither does a call while the library is not started. Retrieval state and statistics stay. Record
 * cursors kept by the caller should be cleared. Any thread; blocks for work on the same input's list.
 *
 * @param enInputInterface input, 0 to NUM_VIDEO_INPUTS - 1; any other value is reported and ignored
 */
XTYPES_EXPORT void Timecode_Flush(int enInputInterface);

/** @}
 * @name Retrieval
 * @{ */

/**
 * Gives a coded picture its time. Called once per coded picture and input, from the input's encoding thread.
 *
 * A queued record serves a picture when it lies within 359 ticks (4 ms) of the picture's PTS.
 *
 * Under MISP_PROFILE_2016_2 only the configured source is searched and its record is handed back as it was stored:
 * pVitcRecord is written for TCSOURCE_SMPTE12M_TIMESTAMP only; switching, rates and base take no part. Under
 * MISP_PROFILE_62 a silent source is carried forward, KLV-borne times get their timecode and timecode gets its UTC (on
 * the local calendar date), and with switching allowed the source fails over and recovers.
 *
 * Blocks only for work on the same input's list, with the system clock as the source for the copy of one record, and
 * with timecode under MISP_PROFILE_62 for the C library's lock of the local calendar.
 *
 * @param enInputInterface input, 0 to NUM_VIDEO_INPUTS - 1; any other value is reported and refused
 * @param penConfigMISBTimesource the configured source (TCSOURCE_...), only read. Null is reported and refused.
 * @param bTimeSourceSwitchAllowed TRUE: the library may fail over to the next source after 5 s of silence and climb
 *     back
 * @param nEncodedFrameRate whole-number picture rate (30 for 29.97 Hz)
 * @param nVUIFrameRate rate code: 23000, 29000 and 59000 mark the 1000/1001 rates, any other value none
 * @param UnchangedEncoderPTS64 the picture's PTS, 90 kHz ticks
 * @param TCBasePTS64 base for times from the system clock: the PTS of a picture ...
 * @param llTCBaseUTC64 ... and the UTC that belongs to it, microseconds; renew the pair, see Timecode_GetSystemUTC
 * @param pUTC receives the picture's record. Null is reported and refused.
 * @param pVitcRecord receives the picture's SMPTE 12M timecode. Null is reported and only that write left out, except
 *     that with the system clock as the source the result becomes FALSE (*pUTC has been written).
 * @param pbSameTSRecord receives TRUE when the next newer record of the source lies exactly as far from the picture as
 *     the one used, else FALSE; FALSE also where the call refuses. Not written when the revision is unsupported, or
 *     when penConfigMISBTimesource is null under MISP_PROFILE_2016_2. Null is reported and only that write left out.
 * @param ppRecordAddress the record cursor, one per input, kept by the caller. Null in it asks for the record nearest
 *     to the picture, sought from the newest on until 12 in a row lie farther than the nearest so far; an address that
 *     an earlier call left there takes that record and moves on to the next newer one of the source. A cursor
 *     whose record has been rewritten for another source, or that was left by another source than the one now in use,
 *     matches nothing and stays as it is until its record holds the source again or the caller sets it to null: clear
 *     it when a call does not match. An address that is no record of the input matches nothing and becomes null. A null
 *     ppRecordAddress is reported and stands for a null cursor.
 * @return TRUE when the picture has its time; FALSE otherwise, with *pUTC and *pVitcRecord untouched, except that *pUTC
 *     has been written where only the timecode could not be formed.
 */
XTYPES_EXPORT BOOL Timecode_GetUTC(int enInputInterface, int *penConfigMISBTimesource, BOOL bTimeSourceSwitchAllowed,
                                   int nEncodedFrameRate, int nVUIFrameRate, UINT64 UnchangedEncoderPTS64,
                                   UINT64 TCBasePTS64, INT64 llTCBaseUTC64, MISP_UTC *pUTC, vitc_t *pVitcRecord,
                                   BOOL *pbSameTSRecord, void **ppRecordAddress);

/**
 * Gives a picture its time from a base pair: llTCBaseUTC64 plus the PTS distance from TCBasePTS64 (11.111111 us a tick,
 * truncated). Any thread.
 *
 * The pair is the PTS of a picture and the system clock's UTC when that picture was captured; 0 and 0 count PTS 0 as
 * 1970-01-01. The distance is CalcPTSDiff's (pts_api.h): with 33-bit values a base is good for less than 2^32 ticks,
 * 13 hours and 15 minutes, and a picture may lie up to a minute before its base across the wrap. Renew the pair from
 * a picture at times, long before it is that old: a base also runs 0.01 us a second short, and keeps what the clock
 * said when it was taken.
 *
 * @param nEncodedFrameRate whole-number picture rate
 * @param nVUIFrameRate rate code, as for Timecode_GetUTC
 * @param UnchangedEncoderPTS64 the picture's PTS, 90 kHz ticks
 * @param TCBasePTS64 PTS of the base, 90 kHz ticks
 * @param llTCBaseUTC64 UTC of the base, microseconds
 * @param pUTC receives a record of TCSOURCE_SYSTEM_TIMESTAMP with status byte 0x9F
 * @param pVitcRecord receives its timecode
 * @return TRUE when the time and its timecode were formed. FALSE with nothing written when the library is not started,
 *     its revision is unsupported or pUTC is null (reported). FALSE with *pUTC written when the timecode could not be
 *     formed: for the rates that TimeCode_UTCToSMPTE12M refuses and for a null pVitcRecord (reported and traced).
 */
XTYPES_EXPORT BOOL Timecode_GetSystemUTC(int nEncodedFrameRate, int nVUIFrameRate, UINT64 UnchangedEncoderPTS64,
                                         UINT64 TCBasePTS64, INT64 llTCBaseUTC64, MISP_UTC *pUTC, vitc_t *pVitcRecord);

/**
 * Moves the source in use to the next one when the input has been without a good time stamp for more than 5000 ms, and
 * counts the switch.
 *
 * On an input that has never had a good time stamp nor been asked for a picture under MISP_PROFILE_62 it switches at
 * once: its last good time is 1970. Takes no lock: keep it apart from Timecode_GetUTC of the same input.
 *
 * @param enInputInterface input, 0 to NUM_VIDEO_INPUTS - 1; any other value is reported and refused
 * @param bTimeSourceSwitchAllowed TRUE: switch; any other value leaves everything as it is
 * @param penNewTimecodeSouce the source in use, replaced by the next one when it switches: of 1, 2 and 3 the value
 *     above it, of any other value TCSOURCE_NONE. Null is reported and refused.
 */
XTYPES_EXPORT void _VerifyTimeSourceSwitch(int enInputInterface, BOOL bTimeSourceSwitchAllowed,
                                           int *penNewTimecodeSouce);

/** @}
 * @name Timecode arithmetic
 * @{ */

/**
 * Turns a UTC time into the timecode of its time of day (UTC): hours, minutes, seconds, and the frame number from the
 * fraction of the second at the picture rate. No drop-frame numbering. Any thread.
 *
 * @param pllUTC the UTC time, microseconds; only read
 * @param nEncodedPictureRate whole-number picture rate. Frame numbers of 100 and above do not fit two digits; rates up
 *     to 100 always do. At the three rate codes, a rate whose period is below a tick (above 90090) gives frame 0.
 * @param nVUIFramerate rate code: 59000, 29000 or 23000 stretches the frame period by 1001/1000, in whole 90 kHz ticks
 * @param pVitcRecord receives the timecode; all fields but the eight digits become 0
 * @return TRUE when the record was filled; FALSE, with the record untouched, for a null pointer (traced), a rate of 0
 *     (traced) or a negative rate (reported).
 */
XTYPES_EXPORT BOOL TimeCode_UTCToSMPTE12M(INT64 *pllUTC, int nEncodedPictureRate, ULONG nVUIFramerate,
                                          vitc_t *pVitcRecord);

/**
 * Gives a coded picture its SMPTE 12M-1 timecode from the previously coded picture's and the PTS distance between them;
 * at 29000 and 59000 with drop-frame numbering, also for pictures coded out of display order.
 *
 * Call it once per coded picture in coding order, then store the timecode, NewPoc and Timestamp64 in the context's Old
 * fields. A jump of any size goes through to the hours; below a second each unit overflows once, so digits of
 * OldSystemTC out of their range are mended step by step. The drop-frame codes expect the rates 30 and 60. Takes no
 * lock: one thread at a time per context. Drop-frame skips lie at least 31 wall-clock seconds apart, so it must run at
 * about the pace of the video.
 *
 * @param pContext the stream's state. Null, PTSTicksPerFrame 0 or nEncodedPictureRate outside 1 to 2^31-1 is reported
 *     and writes nothing.
 * @param NewPoc the picture's order count, for the trace only
 * @param Timestamp64 the picture's PTS, 90 kHz ticks
 * @param pNewSystemTC receives the timecode, its eight digit fields only; may be the context's own OldSystemTC. Null is
 *     reported and nothing is written.
 */
XTYPES_EXPORT void Timecode_MakeSMPTE12M1VITC(SMPTE12M1_CONTEXT *pContext, UINT NewPoc, UINT64 Timestamp64,
                                              vitc_t *pNewSystemTC);

/**
 * Counts the frames from one timecode to another. Between hours 23 and 0 the short way over midnight is taken. Only
 * digits are read. Any thread.
 *
 * @param nEncodedPictureRate whole-number picture rate, used for the codes without drop-frame numbering
 * @param nVUIFramerate rate code: 29000 and 59000 count with drop-frame numbering at 30 and 60, any other value without
 * @param OldSystemTC the timecode to count from
 * @param NewSystemTC the timecode to count to
 * @param pnFrameCountDiff receives the count, negative when the new timecode is earlier. Null is reported and nothing
 *     is written.
 */
XTYPES_EXPORT void Timecode_CalcFrameCountDiff(UINT nEncodedPictureRate, UINT nVUIFramerate, vitc_t OldSystemTC,
                                               vitc_t NewSystemTC, int *pnFrameCountDiff);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
