// A session of random calls: from choices it makes pictures with their time stamps, a moving clock, and now and then
// what a caller might get wrong.
#ifndef TESTS_MODEL_SESSION_H
#define TESTS_MODEL_SESSION_H

#include <span>

#include "model/comparison.h"

namespace model {

enum class Care {
    Fast,    // after each call what it answered, and the statistics of its input
    Thorough // and the statistics of all inputs; at the end every record of every queue
};

// Goes on until the choices are used up: any bytes, which its decisions are read from.
void RunSession(Comparison &Both, std::span<const BYTE> Choices, Care enCare);

} // namespace model

#endif
