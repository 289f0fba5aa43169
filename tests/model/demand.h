// What holds of every run. A broken promise ends the run with its words: as a test's failure, a fuzzer's finding, or
// the soak's last line.
#ifndef TESTS_MODEL_DEMAND_H
#define TESTS_MODEL_DEMAND_H

#include <optional>
#include <sstream>
#include <stdexcept>

struct BrokenPromise : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline void Demand(bool bHolds, const char *szPromise) {
    if (!bHolds)
        throw BrokenPromise(szPromise);
}

template <class T>
void Tell(std::ostream &Out, const T &Value) {
    Out << Value;
}
template <class T>
void Tell(std::ostream &Out, const std::optional<T> &Value) {
    Value ? Tell(Out, *Value) : Tell(Out, "nothing");
}

// The same of two values, with what was wanted and what came. Of: words that say of what.
template <class T, class... OF>
void DemandEqual(const T &Wanted, const T &Got, const OF &...Of) {
    if (Wanted == Got)
        return;
    std::ostringstream Words;
    (Words << ... << Of);
    Tell(Words << "\n  wanted: ", Wanted);
    Tell(Words << "\n  got:    ", Got);
    throw BrokenPromise(Words.str());
}

#endif
