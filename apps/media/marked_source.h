// The bytes of an input on their way to FFmpeg, in which is looked for what FFmpeg does not tell of a transport stream:
// marked discontinuities, stream types, the headers of synchronous KLV.
#ifndef ENCODER_MEDIA_MARKED_SOURCE_H
#define ENCODER_MEDIA_MARKED_SOURCE_H

#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "media/av.h"
#include "media/cell_headers.h"

namespace encoder {

class MarkedSource {
public:
    MarkedSource() = default;
    ~MarkedSource();
    MarkedSource(const MarkedSource &) = delete;
    MarkedSource &operator=(const MarkedSource &) = delete;

    // Gives what FFmpeg is to read from, which stays this object's, or null and FFmpeg's error in nResult.
    AVIOContext *Open(const char *szUrl, const AVIOInterruptCB &Interrupt, int &nResult);

    // A packet with this PID marks a discontinuity, and begins behind one byte of the input but not behind another.
    // Asked once for each stretch of bytes, in order.
    bool FindMark(int nPid, std::int64_t llBehind, std::int64_t llUpTo);

    // KLV of this PID is in synchronous carriage, by the last program map that has it.
    bool IsSynchronous(int nPid) const;
    // The cell header of synchronous KLV whose PES packet begins at a place. Asked in order for each PID.
    std::optional<CellHeader> PopCellHeader(int nPid, std::int64_t llPlace);

private:
    static int Read(void *pSelf, std::uint8_t *pBuffer, int nSize);
    static std::int64_t Seek(void *pSelf, std::int64_t llOffset, int nWhence);
    void LookAt(const std::uint8_t *pBytes, size_t nSize);
    void LookAtPacket(Bytes Packet, std::int64_t llPlace);

    AVIOContext *m_pIn = nullptr;
    AVIOContext *m_pOut = nullptr;
    std::vector<std::uint8_t> m_Rest; // read last, and not looked at yet
    bool m_bInStep = false;           // a packet ends where it begins
    std::int64_t m_llRestBegins = 0;
    std::set<std::pair<std::int64_t, int>> m_Marks; // place of the packet, PID
    std::set<int> m_Synchronous;                    // PIDs, by the last program map that has them
    std::map<int, CellHeaders> m_Cells;             // by PID; a stream may begin before its program map
};

} // namespace encoder

#endif
