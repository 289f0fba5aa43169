// Makes every call of the library and of its model, and demands that they answer, write and say the same.
#ifndef TESTS_MODEL_COMPARISON_H
#define TESTS_MODEL_COMPARISON_H

#include <array>
#include <optional>

#include "model/demand.h"
#include "model/library.h"

namespace model {

class Comparison {
public:
    using TakeSaid = Said (*)();

    // Null where what the library says goes elsewhere and cannot be counted.
    explicit Comparison(TakeSaid pTakeSaid) : m_pTakeSaid(pTakeSaid) {}

    void Start(int enRevision);
    void Stop();
    void Revision();
    static void SetMaxLevel(int nLevel);
    void Queue(int nInput, int enSource, UINT64 nPTS, const TCPayload *pPayload);
    void Flush(int nInput);
    std::optional<Statistics> ReadStatistics(int nInput, bool bNull = false);
    void ResetStatistics(int nInput);
    // Asked.Cursor is set from pCursor, which the library moves on.
    Answer Ask(Request Asked, void *&pCursor);
    Answer AskSystem(const Request &Asked);
    void CheckSwitch(int nInput, BOOL bAllowed, int enSource, bool bNull = false);
    void Convert(INT64 llUTC, const PictureRate &Rate, bool bNullUtc = false, bool bNullTimecode = false);
    void CountFrames(UINT nRate, UINT nCode, const vitc_t &Old, const vitc_t &New, bool bNull = false);
    vitc_t Number(SMPTE12M1_CONTEXT &Context, UINT64 nPTS, bool bNullContext = false, bool bNullNew = false);

    // Asks for every record of every queue, source by source and oldest first, going on by the cursor.
    void ReadAllRecords();

    [[nodiscard]] UINT64 Calls() const { return m_nCalls; }

private:
    using Addresses = std::array<void *, RECORDS_PER_INPUT>;

    // The answer, the messages and the reports of a call. Of: words that go with it.
    template <class T, class... OF>
    void Same(const T &Wanted, const T &Got, const char *szCall, const OF &...Of);
    static Cursor CursorOf(int nInput, void *pCursor);
    static Cursor MovedCursor(const Request &Asked, const Cursor &Expected, void *pBefore, void *pAfter);

    // The library's records stay where they are, so their addresses are learned once for all runs.
    static std::array<Addresses, NUM_VIDEO_INPUTS> s_Addresses;
    // The throttles of some messages live as long as the process, and so does the model of them.
    static Library s_Model;

    TakeSaid m_pTakeSaid;
    UINT64 m_nCalls = 0;
};

} // namespace model

#endif
