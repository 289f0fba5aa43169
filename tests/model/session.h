// A session of random calls: from choices it makes pictures with their time stamps, a moving clock, and now and then
// what a caller might get wrong.
#ifndef TESTS_MODEL_SESSION_H
#define TESTS_MODEL_SESSION_H

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

// Goes on until the choices are used up.
void RunSession(Comparison &Both, Choices &From, Care enCare);

} // namespace model

#endif
