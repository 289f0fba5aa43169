// A session of random calls: from choices it makes pictures with their time stamps, a moving clock, and now and then
// what a caller might get wrong.
#pragma once

#include <array>
#include <initializer_list>

#include "model/comparison.h"

namespace model {

// Where a session's decisions come from: random numbers, or a fuzzer's bytes.
class Choices {
public:
    virtual ~Choices() = default;
    [[nodiscard]] virtual bool IsEmpty() const = 0;
    virtual UINT64 Bits(unsigned nBytes) = 0; // that many bytes' worth; zeros where none is left
};

enum class Care {
    Fast,    // after each call what it answered, and the statistics of its input
    Thorough // and the statistics of all inputs; at the end every record of every queue
};

class Session {
public:
    Session(Comparison &Both, Choices &From, Care enCare) : m_Both(Both), m_From(From), m_enCare(enCare) {}
    void Run();

private:
    struct Stream {
        UINT64 nPts = 0; // of the newest picture
        void *pCursor = nullptr;
    };

    void Begin();
    void Step();
    void Queue();
    void Ask();
    void AskSystem();
    void MoveClock();
    void Restart();
    void ReadStatistics();
    void ResetStatistics();
    void CheckSwitch();
    void Convert();
    void CountFrames();
    void Number();

    UINT64 Below(UINT64 nLimit);
    bool OneIn(UINT64 nOften) { return Below(nOften) == nOften - 1; }
    template <class T>
    T OneOf(std::initializer_list<T> Values) {
        return Values.begin()[Below(Values.size())];
    }
    int AnyInt() { return static_cast<int>(m_From.Bits(4)); }
    int Input();
    int Source();
    int Rate();
    int Code();
    UINT64 Pts(Stream &Of);
    INT64 Utc();
    vitc_t Timecode();
    TCPayload Payload(int enSource);
    Request Picture();
    Stream &StreamOf(int nInput);

    Comparison &m_Both;
    Choices &m_From;
    Care m_enCare;
    std::array<Stream, NUM_VIDEO_INPUTS> m_Streams{};
    Stream m_NoStream; // of inputs that do not exist
    int m_nUsed = 0;   // the input used last
};

} // namespace model
