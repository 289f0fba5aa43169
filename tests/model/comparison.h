// Makes every call of the library and of its model, and demands that they answer, write and say the same.
#ifndef TESTS_MODEL_COMPARISON_H
#define TESTS_MODEL_COMPARISON_H

#include <array>
#include <optional>

#include "interpose/services.h"
#include "model/demand.h"
#include "model/library.h"

namespace model {

class Comparison {
public:
    // The services that count what the library says; null where it goes elsewhere and cannot be counted.
    explicit Comparison(interpose::Services *pCounting) : m_pCounting(pCounting) {}

    void Start(int enRevision);
    void Stop();
    void Revision();
    static void SetMaxLevel(int nLevel);
    void Queue(int nInput, int enSource, UINT64 nPTS, const Payload &Given, bool bNull = false);
    void Flush(int nInput);
    std::optional<Statistics> ReadStatistics(int nInput, bool bNull = false);
    void ResetStatistics(int nInput);
    // Asked.nCursor is set from pCursor, which the library moves on.
    Answer Ask(Request Asked, void *&pCursor);
    void AskSystem(const Request &Asked);
    void CheckSwitch(int nInput, BOOL bAllowed, int enSource, bool bNull = false);
    void Convert(INT64 llUTC, const PictureRate &Rate, bool bNullUtc = false, bool bNullTimecode = false);
    void CountFrames(UINT nRate, UINT nCode, const vitc_t &Old, const vitc_t &New, bool bNull = false);
    vitc_t Number(SMPTE12M1_CONTEXT &Context, UINT64 nPTS, bool bNullContext = false, bool bNullNew = false);

    // Asks for every record of every queue, source by source and oldest first, going on by the cursor.
    void ReadAllRecords();

    [[nodiscard]] UINT64 Calls() const { return m_nCalls; }

private:
    // The answer, the messages and the reports of a call. Of: words that go with it.
    template <class T, class... OF>
    void Same(const T &Wanted, const T &Got, const char *szCall, const OF &...Of);

    interpose::Services *m_pCounting;
    UINT64 m_nCalls = 0;
};

} // namespace model

#endif
