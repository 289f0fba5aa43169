#include "model/session.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <initializer_list>
#include <limits>

#include "interpose/clock.h"

namespace model {

using interpose::g_Clock;

namespace {

constexpr INT64 START_SEC = 1'700'000'000;
constexpr UINT64 WRAP = UINT64{1} << 33;
constexpr INT64 LEAST = std::numeric_limits<INT64>::min();
constexpr INT64 GREATEST = std::numeric_limits<INT64>::max();
constexpr UINT64 LAST = std::numeric_limits<UINT64>::max();

Wide Now() {
    return Wide{g_Clock.nSec} * NSEC_PER_SEC + g_Clock.nNsec;
}

void SetClock(Wide nNow) {
    g_Clock.nSec = In64(FloorDiv(nNow, NSEC_PER_SEC));
    g_Clock.nNsec = In64(FloorMod(nNow, NSEC_PER_SEC));
}

class Session {
public:
    Session(Comparison &Both, std::span<const BYTE> Choices) : m_Both(Both), m_Choices(Choices) {
        g_Clock.bFails = false;
        g_Clock.bLocalTimeFails = false;
        SetClock(START_SEC * NSEC_PER_SEC);
        interpose::SetZone(OneOf({"UTC0", "EAST-13", "WEST13"}));
        m_Both.Start(OneOf({MISP_PROFILE_62, MISP_PROFILE_2016_2}));
        const auto nFirst = OneOf<UINT64>({900'000, WRAP - 300'000, 0, UINT64{1} << 40, LAST - 300'000});
        for (Stream &Each : m_Streams)
            Each.nPTS = nFirst;
    }

    [[nodiscard]] bool IsOver() const { return m_Choices.empty(); }
    [[nodiscard]] int Used() const { return m_nUsed; } // the input used last

    void Step() {
        struct Kind {
            UINT64 nOften; // of 256 steps
            void (Session::*pTake)();
        };
        constexpr std::array KINDS = {
            Kind{80, &Session::Queue},          Kind{80, &Session::Ask},        Kind{40, &Session::MoveClock},
            Kind{8, &Session::Flush},           Kind{8, &Session::SetMaxLevel}, Kind{10, &Session::Number},
            Kind{5, &Session::CountFrames},     Kind{5, &Session::Convert},     Kind{5, &Session::AskSystem},
            Kind{5, &Session::CheckSwitch},     Kind{4, &Session::Restart},     Kind{3, &Session::ReadStatistics},
            Kind{3, &Session::ResetStatistics},
        };
        UINT64 nLeft = Below(256);
        for (const auto &[nOften, pTake] : KINDS) {
            if (nLeft < nOften)
                return (this->*pTake)();
            nLeft -= nOften;
        }
    }

private:
    struct Stream {
        UINT64 nPTS = 0; // of the newest picture
        void *pCursor = nullptr;
    };

    void Flush() { m_Both.Flush(m_nUsed = Input()); }
    void SetMaxLevel() { Comparison::SetMaxLevel(Mostly<int>({DBG_LEVEL_DEBUG}, 64, {0, 1, 2, 3, 4, 5, 6, 8})); }
    void AskSystem() { m_Both.AskSystem(Picture()); }
    void ResetStatistics() { m_Both.ResetStatistics(m_nUsed = Input()); }

    // Each choice in a statement of its own: the order of arguments is the compiler's.
    void ReadStatistics() {
        const int nInput = Input();
        m_Both.ReadStatistics(nInput, OneIn(4));
    }

    void CheckSwitch() {
        const int nInput = m_nUsed = Input();
        const BOOL bAllowed = Mostly({TRUE}, 32, {FALSE, -1});
        const int enSource = Source();
        m_Both.CheckSwitch(nInput, bAllowed, enSource, OneIn(32));
    }

    void Convert() {
        const INT64 llUTC = Utc();
        const int nRate = Rate();
        const auto nCode = Mostly({static_cast<ULONG>(INT64{Code()})}, 16);
        const bool bNullUtc = OneIn(32);
        m_Both.Convert(llUTC, {nRate, nCode}, bNullUtc, OneIn(32));
    }

    void CountFrames() {
        const auto nRate = static_cast<UINT>(Rate());
        const auto nCode = static_cast<UINT>(Code());
        const vitc_t Old = Timecode();
        const vitc_t New = Timecode();
        m_Both.CountFrames(nRate, nCode, Old, New, OneIn(32));
    }

    void Restart() {
        if (!OneIn(8))
            return;
        if (!OneIn(4))
            m_Both.Stop();
        m_Both.Revision();
        if (OneIn(4))
            return;
        m_Both.Start(Mostly<int>({MISP_PROFILE_62, MISP_PROFILE_2016_2}, 32));
        m_Both.Revision();
    }

    void Queue() {
        const int nInput = m_nUsed = Input();
        const int enSource = Source();
        const UINT64 nPTS = PTS(StreamOf(nInput));
        model::Payload Given;
        Given.SetTimecode(Timecode());
        if (enSource != TCSOURCE_SMPTE12M_TIMESTAMP) {
            Given.SetStatus(Mostly<BYTE>({0x1F, 0x9F, 0x5F, 0xDF}, 16));
            Given.SetUtc(Utc());
        }
        m_Both.Queue(nInput, enSource, nPTS, Given, OneIn(128));
    }

    void Ask() {
        const Request Asked = Picture();
        Stream &Of = StreamOf(Asked.nInput);
        if (OneIn(2))
            Of.pCursor = nullptr;
        if (!OneIn(16)) {
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
        Context.PTSTicksPerFrame = Mostly<UINT>({b30 ? 3003U : 1501U}, 16, {0, 1});
        Context.nEncodedPictureRate = OneIn(16) ? static_cast<UINT>(Rate()) : b30 ? 30 : 60;
        Context.nVUIFramerate = OneIn(16) ? static_cast<UINT>(Code()) : b30 ? 29000 : 59000;
        Context.nBframes = Mostly<UINT>({0, 1, 2, 3}, 8);
        Context.OldTimestamp64 = PTS(m_Streams[0]);
        Context.OldSystemTC = Timecode();
        if (OneIn(4)) {
            Context.BackFillStateCount = Mostly({0, 1, 2, 3}, 32);
            Context.bExtraSkipAllowed = Mostly({FALSE, TRUE}, 32);
            Context.tDropFrameOccurred = In64(Wide{g_Clock.nSec} - OneOf({30, 31, 29, -1, 1000}));
        }
        const UINT64 nFrame = Context.PTSTicksPerFrame;
        const bool bNullContext = OneIn(64);
        const bool bNullNew = OneIn(64);
        for (UINT64 nLeft = Below(8); nLeft > 0 && !IsOver(); --nLeft) {
            const UINT64 nDistance = OneIn(24) ? Bits(8) : (Below(8) - 3) * nFrame + Below(4) - 2;
            const UINT64 nPTS = Context.OldTimestamp64 + nDistance * (OneIn(4) ? 9 : 1);
            Context.OldSystemTC = m_Both.Number(Context, nPTS, bNullContext, bNullNew);
            Context.OldTimestamp64 = nPTS;
        }
    }

    // Mostly on by a picture's time or by a time just at a limit; it also steps back, stands still and fails. From far
    // away it comes back to the start.
    void MoveClock() {
        const UINT64 nByte = Below(256);
        g_Clock.bFails = nByte >= 248;
        g_Clock.bLocalTimeFails = nByte >= 244 && nByte < 248;
        const INT64 nLimit = OneOf<INT64>({5000, 5001, 750, 751, 1000, 40});
        const INT64 nMsec = nByte < 120 ? static_cast<INT64>(nByte) : nByte < 220 ? nLimit : nByte < 235 ? -nLimit : 0;
        const bool bFar = g_Clock.nSec < START_SEC - 1'000'000 || g_Clock.nSec > START_SEC + 1'000'000;
        if (nByte < 2) {
            const Wide nSec = Mostly<INT64>({0, -1, 9'223'372'036'854, 67'768'036'191'676'799, GREATEST, LEAST}, 64);
            SetClock(nSec * NSEC_PER_SEC + Mostly<UINT>({999'999'999}, 64) % NSEC_PER_SEC);
        } else if (nByte == 2 || (bFar && OneIn(4))) {
            SetClock(START_SEC * NSEC_PER_SEC);
        } else if (!bFar) {
            SetClock(Now() + nMsec * 1'000'000);
        }
    }

    // What callers hand in: mostly what makes sense, seldom what does not.

    // That many bytes' worth; less where the choices end.
    UINT64 Bits(size_t nBytes) {
        UINT64 nBits = 0;
        const auto Taken = m_Choices.first(std::min(nBytes, m_Choices.size()));
        for (const BYTE nByte : Taken)
            nBits = nBits << 8 | nByte;
        m_Choices = m_Choices.subspan(Taken.size());
        return nBits;
    }
    UINT64 Below(UINT64 nLimit) { return Bits(1) % nLimit; }
    bool OneIn(UINT64 nOften) { return Below(nOften) == nOften - 1; }
    template <class T>
    T OneOf(std::initializer_list<T> Values) {
        return Values.begin()[Below(Values.size())];
    }
    // Mostly one of the usual values; so often of 256 times an odd one or any number.
    template <class T>
    T Mostly(std::initializer_list<T> Usual, UINT64 nSeldom, std::initializer_list<T> Odd = {}) {
        if (Below(256) >= nSeldom)
            return OneOf(Usual);
        return Odd.size() == 0 || OneIn(4) ? static_cast<T>(Bits(sizeof(T))) : OneOf(Odd);
    }

    int Input() { return Mostly({0, 0, 0, 0, 0, 1, 1, 1, 2, 3}, 6, {-1, NUM_VIDEO_INPUTS, INT_MIN, INT_MAX}); }
    int Source() { return Mostly<int>({1, 2, 3}, 26, {TCSOURCE_NONE, TCSOURCE_SYSTEM_TIMESTAMP}); }
    int Rate() { return Mostly({25, 30, 60, 24, 50, 30}, 16, {0, -1}); }
    int Code() { return Mostly({29000, 59000, 23000, 25000, 30000}, 11); }
    Stream &StreamOf(int nInput) { return IsInput(nInput) ? m_Streams.at(static_cast<size_t>(nInput)) : m_NoStream; }

    // On, at, or near the newest picture, so that matches happen; seldom far away.
    UINT64 PTS(Stream &Of) {
        const auto Moved = [&Of](UINT64 nTicks) {
            return Of.nPTS < WRAP ? (Of.nPTS + nTicks) % WRAP : Of.nPTS + nTicks;
        };
        const UINT64 nByte = Below(256);
        if (nByte < 60)
            return Of.nPTS = Moved(3003);
        if (nByte < 140)
            return Of.nPTS;
        if (nByte < 180)
            return Moved(0 - Below(64) * 3003);
        if (nByte < 220)
            return Moved(OneOf<UINT64>({359, 360, 1, LAST - 358, LAST - 359, LAST}));
        if (nByte < 245)
            return Moved(Bits(2) - 32'768);
        return Mostly<UINT64>(
            {0, WRAP - 1, WRAP, WRAP / 2, WRAP / 2 + 900'000, 5'400'000, UINT64{1} << 63, LAST / 2, LAST}, 96);
    }

    INT64 Utc() {
        const INT64 llNear = In64(FloorDiv(Now(), 1000) + (static_cast<INT64>(Below(256)) - 200) * 10'000);
        return Mostly<INT64>(
            {llNear}, 11, {946'684'800'000'000, 946'684'799'999'999, 1'262'304'000'000'000, 1'262'303'999'999'999, -1});
    }

    vitc_t Timecode() {
        vitc_t Vitc{};
        if (OneIn(24)) {
            std::generate_n(reinterpret_cast<BYTE *>(&Vitc), TIMECODE_BYTES,
                            [this] { return static_cast<BYTE>(Bits(1)); });
            return Vitc;
        }
        const auto UpTo60 = [this] { return OneIn(4) ? 59 : static_cast<INT64>(Below(61)); };
        SetDigits(Vitc, {static_cast<INT64>(Below(25)), UpTo60(), UpTo60(), static_cast<INT64>(Below(61))});
        Vitc.Flag1 = static_cast<unsigned char>(Below(2));
        return Vitc;
    }

    Request Picture() {
        const int nInput = m_nUsed = Input();
        Request Asked{.nInput = nInput,
                      .enSource = Source(),
                      .bSwitch = Mostly({FALSE, TRUE}, 16),
                      .nRate = Rate(),
                      .nCode = Code(),
                      .nPTS = PTS(StreamOf(nInput)),
                      .nBasePTS = PTS(StreamOf(nInput)),
                      .llBaseUTC = Utc()};
        if (OneIn(32))
            Asked.enNull = OneOf({Null::Source, Null::Utc, Null::Timecode, Null::Same, Null::Cursor});
        return Asked;
    }

    Comparison &m_Both;
    std::span<const BYTE> m_Choices;
    std::array<Stream, NUM_VIDEO_INPUTS> m_Streams{};
    Stream m_NoStream; // of inputs that do not exist
    int m_nUsed = 0;
};

} // namespace

void RunSession(Comparison &Both, std::span<const BYTE> Choices, Care enCare) {
    Session Random(Both, Choices);
    while (!Random.IsOver()) {
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
