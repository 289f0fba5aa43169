// Which record belongs to a picture: nearest record, record cursor, same-record flag, read through the stored record.
#include "fixture.h"

namespace {

class Search : public LibraryTest {
protected:
    Search() : LibraryTest(MISP_PROFILE_2016_2) {}
};

using Stamp = std::pair<int, UINT64>; // source and PTS

// Queues the stamps with their index as UTC; index -1 stands for no record.
void QueueAll(const std::vector<Stamp> &Stamps) {
    for (size_t nIndex = 0; nIndex < Stamps.size(); ++nIndex)
        Queue(Stamps[nIndex].first, Stamps[nIndex].second, (std::to_string(nIndex) + " 1f").c_str());
}

INT64 Index(const Answer &Got) {
    return Got.bResult ? Got.Utc.MotionImageryTimestamp.KLVTC.llUTCTime - StartUsec() : -1;
}

TEST_F(Search, NearestRecordOldestOfEqualsNextNewerOfTheSource) {
    constexpr UINT64 FAR = UINT64_MAX;
    constexpr UINT64 WRAP = 1ULL << 33;
    std::vector<Stamp> TwelveWorse = {{1, 1000}}, ElevenWorse;
    for (UINT64 nPts = 1310; nPts < 1322; ++nPts)
        TwelveWorse.push_back({1, nPts});
    TwelveWorse.push_back({1, 1300});
    ElevenWorse = TwelveWorse;
    ElevenWorse[5].first = 3;
    // Time stamps, PTS of the picture, index of the match, index of the record to which the cursor leads, same flag.
    const std::tuple<const char *, std::vector<Stamp>, UINT64, INT64, INT64, BOOL> Rows[] = {
        {"nearest", {{1, 1000}, {1, 2000}, {1, 3000}}, 2100, 1, 2, FALSE},
        {"same PTS", {{1, 2000}, {1, 2000}}, 2000, 0, 1, TRUE},
        {"equally far", {{1, 1800}, {1, 2200}}, 2000, 0, 1, TRUE},
        {"equally far, queued backwards", {{1, 2200}, {1, 1800}}, 2000, 0, 1, TRUE},
        {"other sources between", {{1, 1000}, {3, 1000}, {2, 1000}, {1, 1001}, {3, 1001}}, 1000, 0, 3, FALSE},
        {"no record", {{3, 1000}, {2, 1000}, {0, 1000}}, 1000, -1, -1, FALSE},
        {"too far, flag and cursor all the same", {{1, 1000}, {1, 3000}}, 2000, -1, 1, TRUE},
        {"search ends after 12 worse", TwelveWorse, 1000, 13, -1, FALSE},
        {"11 worse do not end it", ElevenWorse, 1000, 0, 1, FALSE},
        {"distance modulo 2^64", {{1, FAR}}, 1, 0, -1, FALSE},
        {"33-bit wrap", {{1, WRAP - 10}}, 10, 0, -1, FALSE},
        {"largest distance", {{1, FAR / 2}, {1, FAR / 2}}, 0, -1, 1, TRUE},
        {"beyond the largest", {{1, FAR / 2 + 1}}, 0, -1, -1, FALSE},
        {"a nearer record among extremes", {{1, FAR / 2 + 1}, {1, 5}, {1, FAR / 2}}, 0, 1, 2, FALSE},
    };
    for (const auto &[szWhat, Stamps, nPts, nMatch, nNext, bSame] : Rows) {
        SCOPED_TRACE(szWhat);
        StartDay(MISP_PROFILE_2016_2);
        QueueAll(Stamps);
        const Answer Got = Ask({1, nPts});
        EXPECT_EQ(Index(Got), nMatch);
        EXPECT_EQ(Got.bSame, bSame);
        EXPECT_EQ(Got.pCursor != nullptr, nNext >= 0);
        if (nNext < 0)
            continue;
        EXPECT_EQ(Index(Ask({1, Stamps[static_cast<size_t>(nNext)].second}, Got.pCursor)), nNext);
    }
}

TEST_F(Search, ACursorIsTakenAtAnyDistanceAndMovesOn) {
    QueueAll({{1, 1000}, {3, 1500}, {1, 2000}, {1, 3000}});
    void *pCursor = Ask({1, 1000}).pCursor;
    const Answer Far = Ask({1, 90000}, pCursor);
    EXPECT_EQ(Text(Far), "0 - -");
    EXPECT_NE(Far.pCursor, pCursor);
    const Answer Last = Ask({1, 3000}, Far.pCursor);
    EXPECT_EQ(Index(Last), 3);
    EXPECT_EQ(Last.pCursor, nullptr);
    const Answer Same = Ask({1, 2500}, pCursor);
    EXPECT_EQ(Same.bResult, FALSE);
    EXPECT_EQ(Same.bSame, TRUE) << "2000 and 3000 lie equally far from 2500";
}

TEST_F(Search, AStaleCursorFailsUntilItsRecordHoldsTheSourceAgain) {
    QueueAll({{1, 1000}, {1, 2000}});
    void *pCursor = Ask({1, 1000}).pCursor;
    const auto Expect = [pCursor](const char *szHeld) {
        TakeTraces();
        const Answer Got = Ask({1, 2000}, pCursor);
        EXPECT_EQ(Text(Got), "0 - -");
        EXPECT_EQ(Got.pCursor, pCursor);
        EXPECT_EQ(Got.bSame, FALSE);
        EXPECT_EQ(CountTraces(std::string("3 BestRecord: Timecodesource:") + szHeld +
                              ", located at address:ADDRESS is not of the expected type:1(High Precision TimeStamp)."),
                  1);
    };
    SetClockMs(5250);
    Timecode_Flush(0);
    Expect("0(None)");
    Expect("0(None)");
    const auto &Emptied = *static_cast<const MISP_UTC *>(pCursor);
    EXPECT_EQ(Emptied.nTimestamp64, 0U);
    EXPECT_EQ(Emptied.tpInsertionTime.tv_sec, StartUsec() / 1'000'000 + 5);
    EXPECT_EQ(Emptied.tpInsertionTime.tv_nsec, 250'000'000);
    for (int nRecord = 0; nRecord < 180; ++nRecord)
        Queue(3, 2000, "0 1f");
    Expect("3(LDS Timestamp)");
    for (int nRecord = 0; nRecord < 180; ++nRecord)
        Queue(1, 2000, "7 1f");
    EXPECT_EQ(Index(Ask({1, 2000}, pCursor)), 7);
}

TEST_F(Search, AForeignCursorIsNeverFollowed) {
    QueueAll({{1, 1000}, {1, 2000}});
    Queue(1, 1000, "0 1f", 1);
    Queue(1, 2000, "0 1f", 1);
    auto *const pSecond = static_cast<char *>(Ask({1, 1000}).pCursor); // the pool's second record
    MISP_UTC OnStack = {};
    std::vector<void *> Foreign = {&OnStack, Ask({.nPts = 1000, .nInput = 1}).pCursor, reinterpret_cast<void *>(1),
                                   reinterpret_cast<void *>(UINTPTR_MAX)};
    for (const INT64 nBytes : {8, -1, -2 * int{sizeof(MISP_UTC)}, 179 * int{sizeof(MISP_UTC)}})
        Foreign.push_back(pSecond + nBytes);
    for (void *const pCursor : Foreign) {
        TakeTraces();
        const Answer Got = Ask({1, 2000}, pCursor);
        EXPECT_EQ(Text(Got), "0 - -") << pCursor;
        EXPECT_EQ(Got.pCursor, nullptr) << pCursor;
        EXPECT_EQ(CountTraces("3 "), 0);
    }
}

} // namespace
