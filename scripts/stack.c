/* How much stack each call takes, with all that it calls: it runs on a painted stack, and what it wrote over counts. */
#include <stdio.h>
#include <string.h>
#include <timecode.h>
#include <ucontext.h>

enum { STACK_SIZE = 256 * 1024, PAINT = 0xA5, TICKS_PER_PICTURE = 3003, PICTURES = 200 };

static _Alignas(64) unsigned char g_acStack[STACK_SIZE];
static ucontext_t g_Caller;
static ucontext_t g_Callee;
static UINT64 g_nPTS = 900000;
static int g_enSource;

static void Queue(void) {
    TCPayload Stamp;
    memset(&Stamp, 0, sizeof Stamp);
    if (g_enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
        Stamp.vitc.HourUnits = 9;
    else
        Stamp.KLVTC.llUTCTime = 1767225600000000 + (INT64)g_nPTS * 100 / 9;
    Timecode_SetUTC(0, g_enSource, g_nPTS, &Stamp);
}

static void Ask(void) {
    MISP_UTC Utc;
    vitc_t Vitc;
    BOOL bSame = FALSE;
    void *pCursor = NULL;
    Timecode_GetUTC(0, &g_enSource, TRUE, 30, 29000, g_nPTS, 900000, 0, &Utc, &Vitc, &bSame, &pCursor);
}

static void AskSilentSource(void) {
    g_nPTS += 500UL * TICKS_PER_PICTURE;
    Ask();
}

static void AskSystemClock(void) {
    MISP_UTC Utc;
    vitc_t Vitc;
    Timecode_GetSystemUTC(30, 29000, g_nPTS, 900000, 0, &Utc, &Vitc);
}

static void Flush(void) {
    Timecode_Flush(0);
}

static void Number(void) {
    SMPTE12M1_CONTEXT Context;
    vitc_t Vitc;
    memset(&Context, 0, sizeof Context);
    Context.PTSTicksPerFrame = TICKS_PER_PICTURE;
    Context.nEncodedPictureRate = 30;
    Context.nVUIFramerate = 29000;
    Timecode_MakeSMPTE12M1VITC(&Context, 1, g_nPTS, &Vitc);
}

static void Start62(void) {
    TimecodeLib_Init(MISP_PROFILE_62);
}

static void Start20162(void) {
    TimecodeLib_Init(MISP_PROFILE_2016_2);
}

static void ReadSettings(void) {
    int nRevision = 0;
    Timecode_GetMISPRevisionFromSystemSettings(&nRevision);
}

static void FlushWrongInput(void) {
    Timecode_Flush(NUM_VIDEO_INPUTS);
}

static void DoNothing(void) {}

static int DepthOf(void (*fnCall)(void)) {
    memset(g_acStack, PAINT, sizeof g_acStack);
    getcontext(&g_Callee);
    g_Callee.uc_stack.ss_sp = g_acStack;
    g_Callee.uc_stack.ss_size = sizeof g_acStack;
    g_Callee.uc_link = &g_Caller;
    makecontext(&g_Callee, fnCall, 0);
    swapcontext(&g_Caller, &g_Callee);
    int nUntouched = 0;
    while (nUntouched < STACK_SIZE && g_acStack[nUntouched] == PAINT)
        nUntouched++;
    return STACK_SIZE - nUntouched;
}

static void Measure(const char *szName, void (*fnCall)(void)) {
    printf("%s\t%d\n", szName, DepthOf(fnCall) - DepthOf(DoNothing));
}

static void Fill(int enKind) {
    g_enSource = enKind;
    for (int nPicture = 0; nPicture < PICTURES; nPicture++, g_nPTS += TICKS_PER_PICTURE)
        Queue();
    g_nPTS -= TICKS_PER_PICTURE;
}

/* With an argument every message is written. */
int main(int nArguments, char **aszArguments) {
    (void)aszArguments;
    Measure("Timecode_GetMISPRevisionFromSystemSettings", ReadSettings);
    Measure("TimecodeLib_Init", Start20162);
    if (nArguments > 1)
        DbgSetMaxLevel(g_hTCLibDbg, DBG_LEVEL_DEBUG);
    Fill(TCSOURCE_HIGH_PRECISION_TIMESTAMP);
    Measure("Timecode_SetUTC", Queue);
    Measure("Timecode_GetUTC, 2016.2", Ask);
    TimecodeLib_Shutdown();
    Start62();
    if (nArguments > 1)
        DbgSetMaxLevel(g_hTCLibDbg, DBG_LEVEL_DEBUG);
    Fill(TCSOURCE_HIGH_PRECISION_TIMESTAMP);
    Measure("Timecode_GetUTC, 62, UTC", Ask);
    Fill(TCSOURCE_SMPTE12M_TIMESTAMP);
    Measure("Timecode_GetUTC, 62, timecode", Ask);
    Measure("Timecode_GetUTC, 62, carried", AskSilentSource);
    Measure("Timecode_GetSystemUTC", AskSystemClock);
    Measure("Timecode_Flush", Flush);
    Measure("Timecode_MakeSMPTE12M1VITC", Number);
    Measure("any call that reports a caller's error", FlushWrongInput);
    TimecodeLib_Shutdown();
    return 0;
}
