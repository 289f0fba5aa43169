// The table of coded pictures: one row a picture, from the encoding threads of all inputs.
#ifndef ENCODER_CSV_H
#define ENCODER_CSV_H

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "common/patience.h"
#include "timecode.h"

namespace encoder {

struct CsvRow {
    int nInput = 0; // from 1
    UINT64 nCodingIndex = 0;
    UINT64 nPTS = 0; // as the stream carries it
    bool bTimed = false;
    int enSource = TCSOURCE_NONE; // of the time
    std::optional<BYTE> StatusByte;
    std::optional<INT64> UTC;
    std::string szTimecode;       // of the time; empty without one
    std::string szStreamTimecode; // what stands in the stream; empty for nothing
    bool bSameRecord = false;
};

class CsvWriter {
public:
    // "-" is the standard output, "" nothing at all. Throws a Failure (ExitCode::Output), as do Write and Finish. With
    // bStop set, a row that nobody takes is given up when a signal interrupts the writing thread.
    CsvWriter(std::string szPath, const std::atomic<bool> &bStop);
    ~CsvWriter();
    CsvWriter(const CsvWriter &) = delete;
    CsvWriter &operator=(const CsvWriter &) = delete;

    void Write(const CsvRow &Row);
    // Closes the file.
    void Finish();

private:
    void WriteText(std::string_view Text);
    [[noreturn]] void Fail(const std::string &szWhat) const;
    void CutToWholeRows() const;

    std::string m_szPath;
    std::mutex m_Mutex;
    Patience m_Patience;
    int m_nFile = -1;
    std::int64_t m_llWholeBytes = 0; // up to the end of the last row
};

} // namespace encoder

#endif
