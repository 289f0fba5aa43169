#include "model/session.h"

#include <array>
#include <cstring>
#include <initializer_list>
#include <limits>

#include "interpose/clock.h"
#include "model/rules.h"

namespace model {

using interpose::g_Clock;

namespace {

constexpr INT64 START_SEC = 1'700'000'000;
constexpr INT64 NSEC_PER_MSEC = 1'000'000;
constexpr INT64 NSEC_PER_SEC = 1'000'000'000;
constexpr UINT64 WRAP = UINT64{1} << 33;
constexpr UINT64 LAST = std::numeric_limits<UINT64>::max();

void SetClock(INT64 nSec, INT64 nNsec) {
    g_Clock.nSec = nSec;
    g_Clock.nNsec = nNsec;
}

class Session {
public:
    Session(Comparison &Both, Choices &From) : m_Both(Both), m_From(From) {}

    void Begin() {
        g_Clock.bFails = false;
        g_Clock.bLocalTimeFails = false;
        SetClock(START_SEC, 0);
        interpose::SetZone(OneOf({"UTC0", "EAST-13", "WEST13"}));
        m_Both.Start(OneOf({MISP_PROFILE_62, MISP_PROFILE_2016_2}));
        const UINT64 nFirst = OneOf({UINT64{900'000}, WRAP - 300'000, UINT64{0}, UINT64{1} << 40, LAST - 300'000});
        for (Stream &Each : m_Streams)
            Each.nPTS = nFirst;
    }

    void Step() {
        const UINT64 nKind = Below(32);
        if (nKind < 10)
            Queue();
        else if (nKind < 20)
            Ask();
        else if (nKind < 25)
            MoveClock();
        else if (nKind == 25)
            m_Both.Flush(m_nUsed = Input());
        else if (nKind == 26)
            Comparison::SetMaxLevel(OneIn(4) ? static_cast<int>(Below(9)) : DBG_LEVEL_DEBUG);
        else
            RareStep();
    }

    [[nodiscard]] int Used() const { return m_nUsed; } // the input used last

private:
    struct Stream {
        UINT64 nPTS = 0; // of the newest picture
        void *pCursor = nullptr;
    };

    void RareStep() {
        const UINT64 nKind = Below(9);
        if (nKind == 0)
            Restart();
        else if (nKind == 1)
            m_Both.AskSystem(Picture());
        else if (nKind == 2)
            m_Both.ReadStatistics(Input(), OneIn(4));
        else if (nKind == 3)
            m_Both.ResetStatistics(m_nUsed = Input());
        else if (nKind == 4)
            CheckSwitch();
        else if (nKind == 5)
            Convert();
        else if (nKind == 6)
            CountFrames();
        else
            Number();
    }

    // Each choice in a statement of its own: the order of arguments is the compiler's.
    void CheckSwitch() {
        const int nInput = m_nUsed = Input();
        const BOOL bAllowed = OneIn(8) ? AnyInt() : TRUE;
        const int enSource = Source();
        m_Both.CheckSwitch(nInput, bAllowed, enSource, OneIn(32));
    }

    void Convert() {
        const INT64 llUTC = Utc();
        const int nRate = Rate();
        const ULONG nCode = OneIn(16) ? m_From.Bits(8) : static_cast<ULONG>(INT64{Code()});
        const bool bNullUtc = OneIn(32);
        m_Both.Convert(llUTC, {nRate, nCode}, bNullUtc, OneIn(32));
    }

    void CountFrames() {
        const int nRate = Rate();
        const int nCode = Code();
        const vitc_t Old = Timecode();
        const vitc_t New = Timecode();
        m_Both.CountFrames(static_cast<UINT>(nRate), static_cast<UINT>(nCode), Old, New, OneIn(32));
    }

    void Restart() {
        if (!OneIn(8))
            return;
        if (!OneIn(4))
            m_Both.Stop();
        m_Both.Revision();
        if (OneIn(4))
            return;
        m_Both.Start(OneIn(8) ? AnyInt() : OneOf({MISP_PROFILE_62, MISP_PROFILE_2016_2}));
        m_Both.Revision();
    }

    void Queue() {
        const int nInput = m_nUsed = Input();
        const int enSource = Source();
        const UINT64 nPTS = PTS(StreamOf(nInput));
        const TCPayload Given = Payload(enSource);
        m_Both.Queue(nInput, enSource, nPTS, OneIn(128) ? nullptr : &Given);
    }

    void Ask() {
        const Request Asked = Picture();
        Stream &Of = StreamOf(Asked.nInput);
        const UINT64 nByte = Below(256);
        if (nByte < 120)
            Of.pCursor = nullptr;
        if (nByte < 245) {
            m_Both.Ask(Asked, Of.pCursor);
            return;
        }
        // Addresses that are no record of the input, some of them just beside one.
        const auto Beside = [&Of](UINT64 nBytes) {
            return reinterpret_cast<void *>(reinterpret_cast<uintptr_t>(Of.pCursor) + nBytes); // NOLINT(*-int-to-ptr)
        };
        void *pForeign = OneOf<void *>({this, Beside(1), Beside(LAST - 7), m_Streams[2].pCursor, m_Streams[3].pCursor});
        m_Both.Ask(Asked, pForeign);
    }

    // Some coded pictures of one stream, which mostly begin just before a minute.
    void Number() {
        SMPTE12M1_CONTEXT Context;
        std::memset(static_cast<void *>(&Context), 0, sizeof Context);
        const bool b30 = OneIn(2);
        Context.PTSTicksPerFrame = OneIn(16) ? static_cast<UINT>(m_From.Bits(4)) : b30 ? 3003 : 1501;
        Context.nEncodedPictureRate = OneIn(16) ? static_cast<UINT>(Rate()) : b30 ? 30 : 60;
        Context.nVUIFramerate = OneIn(16) ? static_cast<UINT>(Code()) : b30 ? 29000 : 59000;
        Context.nBframes = OneIn(32) ? static_cast<UINT>(m_From.Bits(4)) : static_cast<UINT>(Below(4));
        Context.OldTimestamp64 = PTS(m_Streams[0]);
        Context.OldSystemTC = Timecode();
        if (OneIn(4)) {
            Context.BackFillStateCount = OneIn(8) ? AnyInt() : static_cast<int>(Below(4));
            Context.bExtraSkipAllowed = OneIn(8) ? AnyInt() : static_cast<BOOL>(Below(2));
            Context.tDropFrameOccurred = In64(Wide{g_Clock.nSec} - OneOf({30, 31, 29, -1, 1000}));
        }
        const UINT64 nFrame = Context.PTSTicksPerFrame;
        const bool bNullContext = OneIn(64);
        const bool bNullNew = OneIn(64);
        for (UINT64 nLeft = Below(8); nLeft > 0 && !m_From.IsEmpty(); --nLeft) {
            const UINT64 nDistance = OneIn(24) ? m_From.Bits(8) : (Below(8) - 3) * nFrame + Below(4) - 2;
            const UINT64 nPTS = OneIn(4) ? Context.OldTimestamp64 + nDistance * 9 : Context.OldTimestamp64 + nDistance;
            Context.OldSystemTC = m_Both.Number(Context, nPTS, bNullContext, bNullNew);
            Context.OldTimestamp64 = nPTS;
        }
    }

    // Mostly on by a picture's time or by a time just at a limit; it also steps back, stands still and fails.
    void MoveClock() {
        const UINT64 nByte = Below(256);
        g_Clock.bFails = nByte >= 248;
        g_Clock.bLocalTimeFails = nByte >= 244 && nByte < 248;
        const INT64 nLimit = OneOf({INT64{5000}, INT64{5001}, INT64{750}, INT64{751}, INT64{1000}, INT64{40}});
        const Wide nNow = Wide{g_Clock.nSec} * NSEC_PER_SEC + g_Clock.nNsec;
        if (nByte == 0)
            return SetClock(static_cast<INT64>(m_From.Bits(8)), static_cast<INT64>(m_From.Bits(4) % NSEC_PER_SEC));
        if (nByte == 1)
            return SetClock(OneOf({INT64{0}, INT64{-1}, INT64{9'223'372'036'854}, INT64{67'768'036'191'676'799},
                                   std::numeric_limits<INT64>::max(), std::numeric_limits<INT64>::min()}),
                            999'999'999);
        const bool bSane = g_Clock.nSec >= START_SEC - 1'000'000 && g_Clock.nSec < START_SEC + 1'000'000;
        if (nByte == 2 || (!bSane && OneIn(4)))
            return SetClock(START_SEC, 0);
        if (!bSane)
            return;
        const INT64 nMsec = nByte < 120 ? static_cast<INT64>(nByte) : nByte < 220 ? nLimit : nByte < 235 ? -nLimit : 0;
        const Wide nThen = nNow + nMsec * NSEC_PER_MSEC;
        SetClock(In64(nThen / NSEC_PER_SEC), In64(nThen % NSEC_PER_SEC));
    }

    // What callers hand in: mostly what makes sense, seldom what does not.

    UINT64 Below(UINT64 nLimit) { return m_From.Bits(1) % nLimit; }
    bool OneIn(UINT64 nOften) { return Below(nOften) == nOften - 1; }
    template <class T>
    T OneOf(std::initializer_list<T> Values) {
        return Values.begin()[Below(Values.size())];
    }
    int AnyInt() { return static_cast<int>(m_From.Bits(4)); }

    int Input() {
        constexpr std::array NONE = {-1, NUM_VIDEO_INPUTS, std::numeric_limits<int>::min(),
                                     std::numeric_limits<int>::max()};
        const UINT64 nByte = Below(256);
        return nByte < 250 ? static_cast<int>(nByte < 150 ? nByte / 100 : nByte % NUM_VIDEO_INPUTS)
                           : NONE.at(nByte % 4);
    }

    int Source() {
        const UINT64 nByte = Below(256);
        return nByte < 250 ? static_cast<int>(nByte < 200 ? 1 + nByte % 3 : nByte % 5) : AnyInt();
    }

    int Rate() {
        const UINT64 nByte = Below(256);
        return nByte < 240 ? OneOf({25, 30, 60, 24, 50, 30}) : nByte < 245 ? 0 : nByte < 250 ? -1 : AnyInt();
    }

    int Code() { return Below(256) < 245 ? OneOf({29000, 59000, 23000, 25000, 30000}) : AnyInt(); }

    Stream &StreamOf(int nInput) { return IsInput(nInput) ? m_Streams.at(static_cast<size_t>(nInput)) : m_NoStream; }

    // On, at, or near the newest picture, so that matches happen; seldom far away.
    UINT64 PTS(Stream &Of) {
        const UINT64 nByte = Below(256);
        const auto Earlier = [&Of](UINT64 nTicks) {
            return Of.nPTS < WRAP ? (Of.nPTS - nTicks) % WRAP : Of.nPTS - nTicks;
        };
        if (nByte < 60)
            return Of.nPTS = Of.nPTS < WRAP ? (Of.nPTS + 3003) % WRAP : Of.nPTS + 3003;
        if (nByte < 140)
            return Of.nPTS;
        if (nByte < 180)
            return Earlier(Below(64) * 3003);
        if (nByte < 220)
            return Earlier(OneOf({UINT64{359}, UINT64{360}, UINT64{1}, LAST - 358, LAST - 359, LAST}));
        if (nByte < 245)
            return Earlier(m_From.Bits(2) - 32'768);
        if (nByte < 252)
            return OneOf({UINT64{0}, WRAP - 1, WRAP, WRAP / 2, WRAP / 2 + 900'000, UINT64{5'400'000}, UINT64{1} << 63,
                          LAST / 2, LAST});
        return m_From.Bits(8);
    }

    INT64 Utc() {
        const UINT64 nByte = Below(256);
        const INT64 llNow = In64(Wide{g_Clock.nSec} * 1'000'000 + g_Clock.nNsec / 1000);
        if (nByte < 245)
            return In64(Wide{llNow} + (static_cast<INT64>(nByte) - 200) * 10'000);
        return nByte < 250 ? OneOf({INT64{946'684'800'000'000}, INT64{946'684'799'999'999},
                                    INT64{1'262'304'000'000'000}, INT64{1'262'303'999'999'999}, INT64{-1}})
                           : static_cast<INT64>(m_From.Bits(8));
    }

    vitc_t Timecode() {
        vitc_t Vitc{};
        if (OneIn(24)) {
            std::array<unsigned char, TIMECODE_BYTES> Bytes{};
            for (unsigned char &nByte : Bytes)
                nByte = static_cast<unsigned char>(m_From.Bits(1));
            std::memcpy(&Vitc, Bytes.data(), Bytes.size());
            return Vitc;
        }
        const INT64 nMinute = OneIn(4) ? 59 : static_cast<INT64>(Below(61));
        SetDigits(Vitc, {static_cast<INT64>(Below(25)), nMinute, OneIn(4) ? 59 : static_cast<INT64>(Below(61)),
                         static_cast<INT64>(Below(61))});
        Vitc.Flag1 = static_cast<unsigned char>(Below(2));
        return Vitc;
    }

    TCPayload Payload(int enSource) {
        TCPayload Given{};
        Given.vitc = Timecode();
        if (enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
            return Given;
        const BYTE nStatus = OneIn(16) ? static_cast<BYTE>(m_From.Bits(1)) : OneOf<BYTE>({0x1F, 0x9F, 0x5F, 0xDF});
        const INT64 llUTC = Utc();
        auto *const pBytes = reinterpret_cast<unsigned char *>(&Given);
        std::memcpy(pBytes + offsetof(UTCPayload, MISPStatusByte), &nStatus, sizeof nStatus);
        std::memcpy(pBytes + offsetof(UTCPayload, llUTCTime), &llUTC, sizeof llUTC);
        return Given;
    }

    Request Picture() {
        Request Asked;
        Asked.nInput = m_nUsed = Input();
        Asked.enSource = Source();
        Asked.bSwitch = OneIn(16) ? AnyInt() : static_cast<BOOL>(Below(2));
        Asked.nRate = Rate();
        Asked.nCode = Code();
        Stream &Of = StreamOf(Asked.nInput);
        Asked.nPTS = PTS(Of);
        Asked.nBasePTS = PTS(Of);
        Asked.llBaseUTC = Utc();
        if (OneIn(32))
            Asked.enNull = OneOf({Null::Source, Null::Utc, Null::Timecode, Null::Same, Null::Cursor});
        return Asked;
    }

    Comparison &m_Both;
    Choices &m_From;
    std::array<Stream, NUM_VIDEO_INPUTS> m_Streams{};
    Stream m_NoStream; // of inputs that do not exist
    int m_nUsed = 0;
};

} // namespace

void RunSession(Comparison &Both, Choices &From, Care enCare) {
    Session Random(Both, From);
    Random.Begin();
    while (!From.IsEmpty()) {
        Random.Step();
        for (int nInput = 0; nInput < NUM_VIDEO_INPUTS; ++nInput)
            if (enCare == Care::Thorough || nInput == Random.Used())
                Both.ReadStatistics(nInput);
    }
    if (enCare == Care::Thorough)
        Both.ReadAllRecords();
    Both.Stop();
}

} // namespace model
