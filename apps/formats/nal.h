// NAL units of a coded picture, and the SEI messages in them (ISO/IEC 14496-10, 23008-2).
// Both readers are pulled until they give nothing more; what they give points into the bytes that they were given.
#ifndef ENCODER_FORMATS_NAL_H
#define ENCODER_FORMATS_NAL_H

#include <cstddef>
#include <optional>
#include <vector>

#include "formats/result.h"

namespace encoder {

struct NalFormat {
    bool bHevc = false;
    int nLengthBytes = 0; // size of the length in front of each NAL unit, 1 to 4; 0: start codes (Annex B)
};

// The format that a stream's extradata announces: the length-prefixed form of MP4 and Matroska, or start codes.
NalFormat NalFormatOf(bool bHevc, Bytes Extradata);

// Gives the NAL units of an access unit, header first, without start code, length and trailing zeros.
class NalReader {
public:
    NalReader(Bytes AccessUnit, NalFormat Format);

    std::optional<Bytes> Next();

    // A NAL unit's length ran past the access unit, or cannot be read; what there is of it is the last one given.
    bool IsBroken() const { return m_bBroken; }

private:
    std::optional<Bytes> NextByStartCode();
    std::optional<Bytes> NextByLength();

    Bytes m_Rest;
    NalFormat m_Format;
    bool m_bBroken = false;
};

constexpr std::size_t NalHeaderSize(bool bHevc) {
    return bHevc ? 2 : 1;
}

// The NAL unit's type by its header; -1 for an empty one.
int NalType(Bytes Nal, bool bHevc);

// A slice of a picture, or for H.264 a partition of one.
bool IsSlice(Bytes Nal, bool bHevc);

// True for H.264 SEI and for the HEVC SEI that goes before a picture.
bool IsSei(Bytes Nal, bool bHevc);

// A NAL unit's header and body with the emulation prevention taken out or put in.
std::vector<std::uint8_t> RemoveEmulationPrevention(Bytes Nal);
std::vector<std::uint8_t> AddEmulationPrevention(Bytes Nal);

struct SeiMessage {
    std::size_t nPayloadType = 0;
    Bytes Payload;         // as much of it as there is
    bool bComplete = true; // false: the declared size runs past the NAL unit; the last message given
};

constexpr std::size_t SEI_PIC_TIMING = 1;
constexpr std::size_t SEI_USER_DATA_UNREGISTERED = 5;
constexpr std::size_t SEI_TIME_CODE = 136; // of HEVC

// Gives the messages of one SEI NAL unit, whose emulation prevention has been removed.
class SeiReader {
public:
    SeiReader(Bytes UnescapedNal, bool bHevc);

    std::optional<SeiMessage> Next();

private:
    std::optional<std::size_t> ReadNumber();

    Bytes m_Rest;
};

// Appends one message in the form in which SeiReader reads it.
void AppendSeiMessage(std::vector<std::uint8_t> &Sei, std::size_t nPayloadType, Bytes Payload);

} // namespace encoder

#endif
