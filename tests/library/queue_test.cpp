// The pool of an input: what queuing stores, which record it reuses, and what a flush forgets.
#include <cstddef>
#include <cstring>

#include "fixture.h"

namespace {

constexpr int RECORDS = 180;
constexpr UINT64 FRAME_TICKS = 1000;

class QueueTest : public LibraryTest {
protected:
    QueueTest() : LibraryTest(MISP_PROFILE_2016_2) {}

    // Walks the cursor from the record of the first frame on; the number of records answered one frame apart.
    static int CountFrom(UINT64 nFirstFrame, int nInput = 0) {
        void *pCursor = nullptr;
        for (int nCount = 0;; ++nCount) {
            const UINT64 nPts = (nFirstFrame + static_cast<UINT64>(nCount)) * FRAME_TICKS;
            const Answer Got = Ask({.nPts = nPts, .nInput = nInput}, pCursor);
            if (!Got.bResult || Got.Utc.nTimestamp64 != nPts)
                return nCount;
            pCursor = Got.pCursor;
            if (!pCursor)
                return nCount + 1;
        }
    }
};

TEST_F(QueueTest, TheOldestOf180RecordsIsOverwritten) {
    for (UINT64 nFrame = 1; nFrame <= RECORDS; ++nFrame)
        EXPECT_EQ(Queue(1, nFrame * FRAME_TICKS, "0 1f"), TRUE);
    EXPECT_EQ(CountFrom(1), RECORDS);
    Queue(1, (RECORDS + 1) * FRAME_TICKS, "0 1f");
    EXPECT_EQ(CountFrom(1), 0);
    EXPECT_EQ(CountFrom(2), RECORDS);
    for (int nInput = 1; nInput < NUM_VIDEO_INPUTS; ++nInput)
        EXPECT_EQ(CountFrom(2, nInput), 0) << "another input's pool was written";
}

TEST_F(QueueTest, EachSourceStoresItsViewOfThePayload) {
    TCPayload Full;
    for (size_t nByte = 0; nByte < sizeof(Full); ++nByte)
        reinterpret_cast<unsigned char *>(&Full)[nByte] = static_cast<unsigned char>(nByte + 1);
    for (int nRecord = 0; nRecord < RECORDS; ++nRecord)
        Timecode_SetUTC(0, 2, 9000, &Full);
    SetClockMs(1234);
    Timecode_SetUTC(0, 3, UINT64_MAX, &Full);
    TCPayload Klv;
    memset(&Klv, 0, sizeof(Klv));
    TCPayload Expected = Full;
    for (TCPayload *pPayload : {&Klv, &Expected}) { // field by field: the bytes between them stay
        pPayload->KLVTC.MISPStatusByte = 0x3F;
        pPayload->KLVTC.llUTCTime = -5;
    }
    Timecode_SetUTC(0, 1, 9000, &Klv);
    const size_t nUsed = offsetof(vitc_t, BinaryGroups) + sizeof(vitc_bg_t);
    for (const auto &[enSource, nPts, pExpected] :
         {std::tuple(2, 9000UL, &Full), {3, UINT64_MAX, &Full}, {1, 9000UL, &Expected}}) {
        const Answer Got = Ask({enSource, nPts});
        EXPECT_EQ(Got.bResult, TRUE) << enSource;
        EXPECT_EQ(memcmp(&Got.Utc.MotionImageryTimestamp, pExpected, nUsed), 0) << enSource;
        EXPECT_EQ(Got.Utc.nTimestamp64, nPts);
        EXPECT_EQ(Got.Utc.enTimecodeSource, enSource);
        EXPECT_EQ(Got.Utc.tpInsertionTime.tv_sec, StartUsec() / 1'000'000 + (enSource == 2 ? 0 : 1));
        EXPECT_EQ(Got.Utc.tpInsertionTime.tv_nsec, enSource == 2 ? 0 : 234'000'000);
        EXPECT_EQ(memcmp(&Got.Vitc, &Full, nUsed) == 0, enSource == 2);
    }
    Timecode_Flush(0);
    Timecode_SetUTC(0, 1, 9000, &Klv);
    const Answer Got = Ask({1, 9000});
    EXPECT_EQ(memcmp(&Got.Utc.MotionImageryTimestamp, &Klv, nUsed), 0) << "the flush left a payload behind";
}

TEST_F(QueueTest, AnySourceValueTakesARecord) {
    Queue(1, 9000, "0 1f");
    for (int nRecord = 1; nRecord < RECORDS; ++nRecord)
        EXPECT_EQ(Queue(nRecord % 2 == 0 ? 4 + nRecord : 1 - nRecord, 9000, "0 1f"), TRUE);
    EXPECT_EQ(Ask({1, 9000}).bResult, TRUE);
    Queue(4, 9000, "0 1f");
    EXPECT_EQ(Ask({1, 9000}).bResult, FALSE);
}

TEST_F(QueueTest, FlushForgetsTheInputOncePerSecondAndNothingElse) {
    for (const int nInput : {0, 1})
        Queue(1, 9000, "0 1f", nInput);
    Ask({1, 9000});
    Timecode_Flush(0);
    EXPECT_EQ(TakeTraces(6).back(), "6 TC Flush finished for inputInterface:0.");
    EXPECT_EQ(Ask({1, 9000}).bResult, FALSE);
    EXPECT_EQ(Stats(0), "1/0");
    EXPECT_EQ(CountFrom(9, 1), 1) << "another input was flushed";
    Queue(1, 9000, "0 1f");
    SetClockMs(999);
    TakeTraces();
    Timecode_Flush(0);
    EXPECT_EQ(CountTraces("6 Last Timecode flush for enInputInterface:0 was less than 1 seconds ago. Skipping."), 1);
    Timecode_Flush(1);
    EXPECT_EQ(CountFrom(9, 1), 0);
    SetClockMs(-5000);
    Timecode_Flush(0);
    EXPECT_EQ(Ask({1, 9000}).bResult, TRUE) << "flushed twice in a second or behind the last flush";
    SetClockMs(1000);
    Timecode_Flush(0);
    EXPECT_EQ(Ask({1, 9000}).bResult, FALSE);
    for (UINT64 nFrame = 1; nFrame <= RECORDS + 1; ++nFrame)
        Queue(1, nFrame * FRAME_TICKS, "0 1f");
    EXPECT_EQ(CountFrom(2), RECORDS) << "records were lost";
}

} // namespace
