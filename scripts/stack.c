/* How much stack each call takes, with all that it calls: it runs on a painted stack, and what it wrote over counts. */
#include <stdio.h>
#include <string.h>
#include <timecode.h>
#include <ucontext.h>

enum { STACK_SIZE = 256 * 1024, PAINT = 0xA5, TICKS_PER_PICTURE = 3003, PICTURES = 200 };

static _Alignas(64) unsigned char stack[STACK_SIZE];
static ucontext_t caller;
static ucontext_t callee;
static UINT64 pts = 900000;
static int source;

static void queue(void) {
    TCPayload stamp;
    memset(&stamp, 0, sizeof stamp);
    if (source == TCSOURCE_SMPTE12M_TIMESTAMP)
        stamp.vitc.HourUnits = 9;
    else
        stamp.KLVTC.llUTCTime = 1767225600000000 + (INT64)pts * 100 / 9;
    Timecode_SetUTC(0, source, pts, &stamp);
}

static void request(void) {
    MISP_UTC utc;
    vitc_t timecode;
    BOOL same = FALSE;
    void *cursor = NULL;
    Timecode_GetUTC(0, &source, TRUE, 30, 29000, pts, 900000, 0, &utc, &timecode, &same, &cursor);
}

static void silent_request(void) {
    pts += 500UL * TICKS_PER_PICTURE;
    request();
}

static void system_request(void) {
    MISP_UTC utc;
    vitc_t timecode;
    Timecode_GetSystemUTC(30, 29000, pts, 900000, 0, &utc, &timecode);
}

static void flush(void) {
    Timecode_Flush(0);
}

static void generate(void) {
    SMPTE12M1_CONTEXT context;
    vitc_t timecode;
    memset(&context, 0, sizeof context);
    context.PTSTicksPerFrame = TICKS_PER_PICTURE;
    context.nEncodedPictureRate = 30;
    context.nVUIFramerate = 29000;
    Timecode_MakeSMPTE12M1VITC(&context, 1, pts, &timecode);
}

static void start_62(void) {
    TimecodeLib_Init(MISP_PROFILE_62);
}

static void start_20162(void) {
    TimecodeLib_Init(MISP_PROFILE_2016_2);
}

static void settings(void) {
    int revision = 0;
    Timecode_GetMISPRevisionFromSystemSettings(&revision);
}

static void wrong_input(void) {
    Timecode_Flush(NUM_VIDEO_INPUTS);
}

static void nothing(void) {}

static int depth_of(void (*call)(void)) {
    memset(stack, PAINT, sizeof stack);
    getcontext(&callee);
    callee.uc_stack.ss_sp = stack;
    callee.uc_stack.ss_size = sizeof stack;
    callee.uc_link = &caller;
    makecontext(&callee, call, 0);
    swapcontext(&caller, &callee);
    int untouched = 0;
    while (untouched < STACK_SIZE && stack[untouched] == PAINT)
        untouched++;
    return STACK_SIZE - untouched;
}

static void measure(const char *name, void (*call)(void)) {
    printf("%s\t%d\n", name, depth_of(call) - depth_of(nothing));
}

static void fill(int kind) {
    source = kind;
    for (int picture = 0; picture < PICTURES; picture++, pts += TICKS_PER_PICTURE)
        queue();
    pts -= TICKS_PER_PICTURE;
}

/* With an argument every message is written. */
int main(int arguments, char **values) {
    (void)values;
    measure("Timecode_GetMISPRevisionFromSystemSettings", settings);
    measure("TimecodeLib_Init", start_20162);
    if (arguments > 1)
        DbgSetMaxLevel(g_hTCLibDbg, DBG_LEVEL_DEBUG);
    fill(TCSOURCE_HIGH_PRECISION_TIMESTAMP);
    measure("Timecode_SetUTC", queue);
    measure("Timecode_GetUTC, 2016.2", request);
    TimecodeLib_Shutdown();
    start_62();
    if (arguments > 1)
        DbgSetMaxLevel(g_hTCLibDbg, DBG_LEVEL_DEBUG);
    fill(TCSOURCE_HIGH_PRECISION_TIMESTAMP);
    measure("Timecode_GetUTC, 62, UTC", request);
    fill(TCSOURCE_SMPTE12M_TIMESTAMP);
    measure("Timecode_GetUTC, 62, timecode", request);
    measure("Timecode_GetUTC, 62, carried", silent_request);
    measure("Timecode_GetSystemUTC", system_request);
    measure("Timecode_Flush", flush);
    measure("Timecode_MakeSMPTE12M1VITC", generate);
    measure("any call that reports a caller's error", wrong_input);
    TimecodeLib_Shutdown();
    return 0;
}
