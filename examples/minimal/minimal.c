/* An encoder in miniature, on the timecode library alone: a thread that captures pictures with their time stamps, and a
 * coder with B pictures that asks for each picture's time. It lives through what recordings bring: no time stamp at
 * first, a drop-out, and a step back of the PTS. The pictures themselves are left out. */
#include <pthread.h>
#include <semaphore.h>
#include <stdio.h>
#include <timecode.h>
#include <unistd.h>

enum { INPUT = 0, RATE = 25, RATE_CODE = 25000, FIRST_PTS = 900000, PTS_STEP = 90000 / RATE };
enum { PICTURES = 13, FIRST_STAMP = 4, DROP_OUT_BEGIN = 7, DROP_OUT_END = 10, GROUP = 3 };

static const INT64 START_UTC[] = {1767225600000000, 1767229200000000}; /* 2026-01-01 00:00:00 and an hour later */

struct Picture {
    UINT64 nPTS;
    BOOL bTimeHasBegun; /* a time stamp has been queued for this picture or one before it */
    BOOL bEnd;          /* no picture: the recording is over, another follows or none */
};

static int g_Captured[2]; /* a pipe: pictures on their way from the capture to the coder, in display order */
static sem_t g_Drained;   /* the coder has coded all pictures of a recording */

/* Each time stamp is queued before its picture goes on, so it is there when the coder asks. The second recording has
 * the PTS of the first, an hour later, and is silent for a while. */
static void *Capture(void *pUnused) {
    for (int nRecording = 0; nRecording < 2; nRecording++) {
        struct Picture Picture = {0};
        for (int n = 0; n < PICTURES; n++) {
            Picture.nPTS = FIRST_PTS + (UINT64)(n * PTS_STEP);
            const BOOL bDropOut = nRecording == 1 && n >= DROP_OUT_BEGIN && n < DROP_OUT_END;
            if (n >= FIRST_STAMP && !bDropOut) {
                TCPayload Stamp = {0};
                Stamp.KLVTC.MISPStatusByte = 0x1F;
                Stamp.KLVTC.llUTCTime = START_UTC[nRecording] + (INT64)n * (1000000 / RATE);
                if (Timecode_SetUTC(INPUT, TCSOURCE_HIGH_PRECISION_TIMESTAMP, Picture.nPTS, &Stamp))
                    Picture.bTimeHasBegun = TRUE;
            }
            if (write(g_Captured[1], &Picture, sizeof(Picture)) != sizeof(Picture))
                return pUnused;
        }
        Picture.bEnd = TRUE;
        if (write(g_Captured[1], &Picture, sizeof(Picture)) != sizeof(Picture))
            return pUnused;
        /* Time stamps of the next recording, queued now, would be lost with the flush that is to come. */
        sem_wait(&g_Drained);
    }
    close(g_Captured[1]);
    return pUnused;
}

/* Asks for the time of a picture that has just been coded. */
static BOOL AskTime(const struct Picture *pPicture, MISP_UTC *pRecord) {
    int enSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP;
    vitc_t Unused;
    BOOL bSame = FALSE;
    void *pCursor = NULL; /* null each time: B pictures are coded in another order than time stamps arrive */
    /* Before its first record the library would make up a time under MISP_PROFILE_62: do not ask. */
    return pPicture->bTimeHasBegun && Timecode_GetUTC(INPUT, &enSource, FALSE, RATE, RATE_CODE, pPicture->nPTS, 0, 0,
                                                      pRecord, &Unused, &bSame, &pCursor);
}

static void CodePicture(const struct Picture *pPicture, char cType) {
    static vitc_t Last; /* timecode of the last picture coded with a time */
    static BOOL bHasLast = FALSE;
    MISP_UTC Record;
    if (!AskTime(pPicture, &Record)) {
        printf("%c %llu  no time\n", cType, (unsigned long long)pPicture->nPTS);
        return;
    }
    UTCPayload Time = Record.MotionImageryTimestamp.KLVTC;
    vitc_t Now = {0};
    int nFrames = 0;
    TimeCode_UTCToSMPTE12M(&Time.llUTCTime, RATE, RATE_CODE, &Now);
    Timecode_CalcFrameCountDiff(RATE, RATE_CODE, bHasLast ? Last : Now, Now, &nFrames);
    printf("%c %llu  %lld us, status 0x%02X, %d%d:%d%d:%d%d:%d%d, %+d frames\n", cType,
           (unsigned long long)pPicture->nPTS, (long long)Time.llUTCTime, (unsigned)Time.MISPStatusByte, Now.HourTens,
           Now.HourUnits, Now.MinuteTens, Now.MinuteUnits, Now.SecondTens, Now.SecondUnits, Now.FrameTens,
           Now.FrameUnits, nFrames);
    Last = Now;
    bHasLast = TRUE;
}

/* Takes pictures in display order; of each group after the first picture the last is coded first, as a P picture. */
static void CodeAll(void) {
    struct Picture Group[GROUP];
    int nHeld = 0;
    BOOL bFirst = TRUE;
    while (read(g_Captured[0], &Group[nHeld], sizeof(Group[0])) == sizeof(Group[0])) {
        const BOOL bEnd = Group[nHeld].bEnd;
        nHeld += bEnd ? 0 : 1;
        if (nHeld == GROUP || (nHeld > 0 && (bFirst || bEnd))) {
            CodePicture(&Group[nHeld - 1], bFirst ? 'I' : 'P');
            for (int n = 0; n < nHeld - 1; n++)
                CodePicture(&Group[n], 'B');
            nHeld = 0;
            bFirst = FALSE;
        }
        if (bEnd) {
            /* The next recording has the same PTS: time stamps left over from this one would serve its pictures. At
             * most one flush a second has an effect. A cursor kept between pictures would have to be cleared, too. */
            Timecode_Flush(INPUT);
            bFirst = TRUE;
            sem_post(&g_Drained);
        }
    }
}

int main(void) {
    pthread_t Thread;
    TimecodeLib_Init(MISP_PROFILE_2016_2);
    if (pipe(g_Captured) != 0 || sem_init(&g_Drained, 0, 0) != 0 || pthread_create(&Thread, NULL, Capture, NULL) != 0)
        return 1;
    CodeAll();
    pthread_join(Thread, NULL);

    TIMECODE_STATS Statistics;
    char szSource[32];
    Timecode_GetStats(INPUT, &Statistics);
    printf("source: %s, %llu switches\n",
           Timecode_GetTimecodeSourceString(Statistics.enTimecodeSource, szSource, sizeof(szSource)),
           (unsigned long long)Statistics.nTimeSourceSwitches);
    TimecodeLib_Shutdown();
    return 0;
}
