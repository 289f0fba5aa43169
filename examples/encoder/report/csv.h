// The table of coded pictures: one row a picture, from the encoding threads of all inputs.
#ifndef ENCODER_REPORT_CSV_H
#define ENCODER_REPORT_CSV_H

#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "timecode.h"

namespace encoder {

struct CsvRow {
    int nInput = 0; // from 1
    UINT64 nCodingIndex = 0;
    UINT64 nPTS = 0; // as the stream carries it
    bool bTimed = false;
    int enSourceInUse = TCSOURCE_NOT_CHOSEN;
    std::optional<BYTE> StatusByte;
    std::optional<INT64> UTC;
    std::string szTimecode;  // of the UTC, or the record's own; empty without a time
    std::string szGenerated; // of the SMPTE 12M-1 generator
    bool bSameRecord = false;
};

class CsvWriter {
public:
    // "-" is the standard output, "" nothing at all. Throws a Failure (ExitCode::Output), as do Write and Finish.
    explicit CsvWriter(std::string szPath);

    void Write(const CsvRow &Row);
    void Finish();

private:
    struct Close {
        void operator()(std::FILE *pFile) const {
            if (pFile != stdout)
                std::fclose(pFile);
        }
    };

    void WriteText(const std::string &szText);

    std::string m_szPath;
    std::mutex m_Mutex;
    std::unique_ptr<std::FILE, Close> m_File;
};

} // namespace encoder

#endif
