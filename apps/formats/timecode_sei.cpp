// The timecode that a coded picture carries in its SEI: pic_timing of H.264 (D.1.3), time_code of HEVC (D.2.27).
#include "formats/timecode_sei.h"

#include <algorithm>

#include "formats/bits.h"

namespace encoder {
namespace {

constexpr std::uint32_t FIRST_COUNTING_WITH_DROPS = 4; // counting types 4 to 6 leave numbers out
constexpr std::uint32_t LAST_COUNTING_WITH_DROPS = 6;

// Both codecs tell it alike, but for the width of the frame number. A time of day that is not told in full goes on from
// an earlier one, and is passed over.
std::optional<TimecodeLabel> ReadClock(BitReader &Bits, unsigned nFrameBits) {
    const std::uint32_t nCounting = Bits.Read(5);
    const bool bFull = Bits.Flag();
    Bits.Read(2); // discontinuity, dropped
    TimecodeLabel Label;
    Label.nFrames = static_cast<int>(Bits.Read(nFrameBits));
    const auto Part = [&](unsigned nBits) {
        return bFull || Bits.Flag() ? std::optional(Bits.Read(nBits)) : std::nullopt;
    };
    const auto nSeconds = Part(6);
    const auto nMinutes = nSeconds ? Part(6) : std::nullopt;
    const auto nHours = nMinutes ? Part(5) : std::nullopt;
    if (!nHours || Bits.IsPast())
        return std::nullopt;
    Label.nSeconds = static_cast<int>(*nSeconds);
    Label.nMinutes = static_cast<int>(*nMinutes);
    Label.nHours = static_cast<int>(*nHours);
    Label.bDropFrame = nCounting >= FIRST_COUNTING_WITH_DROPS && nCounting <= LAST_COUNTING_WITH_DROPS;
    return Label;
}

// Only the first clock time stamp that is there is read: those after it belong to the picture's other fields.
std::optional<TimecodeLabel> ReadPicTiming(Bytes Payload, const PicTimingFormat &Format) {
    if (!Format.bPicStruct)
        return std::nullopt;
    BitReader Bits(Payload);
    Bits.Read(Format.nRemovalBits);
    Bits.Read(Format.nOutputBits);
    const unsigned nClocks = ClockTimestamps(Bits.Read(4));
    for (unsigned n = 0; n < nClocks; ++n) {
        if (!Bits.Flag())
            continue;
        Bits.Read(3); // ct_type, nuit_field_based_flag
        return ReadClock(Bits, 8);
    }
    return std::nullopt;
}

std::optional<TimecodeLabel> ReadTimeCode(Bytes Payload) {
    BitReader Bits(Payload);
    const std::uint32_t nClocks = Bits.Read(2);
    for (std::uint32_t n = 0; n < nClocks; ++n) {
        if (!Bits.Flag())
            continue;
        Bits.Read(1); // units_field_based_flag
        return ReadClock(Bits, 9);
    }
    return std::nullopt;
}

// The first parameter set of an AVC decoder configuration record (ISO/IEC 14496-15); empty without one.
Bytes SetOfConfiguration(Bytes Extradata) {
    constexpr std::size_t COUNT_OFFSET = 5;
    constexpr std::size_t FIRST_SET = 8; // behind the length of two bytes
    if (Extradata.size() < FIRST_SET || (Extradata[COUNT_OFFSET] & 0x1F) == 0)
        return {};
    const std::size_t nSize = std::size_t{Extradata[FIRST_SET - 2]} << 8 | Extradata[FIRST_SET - 1];
    return Extradata.subspan(FIRST_SET).first(std::min(nSize, Extradata.size() - FIRST_SET));
}

} // namespace

TimecodeSeiReader::TimecodeSeiReader(NalFormat Format, Bytes Extradata) : m_Format(Format) {
    if (m_Format.bHevc)
        return;
    if (m_Format.nLengthBytes == 0)
        Read(Extradata);
    else
        m_Headers.Read(SetOfConfiguration(Extradata));
}

std::optional<TimecodeLabel> TimecodeSeiReader::Read(Bytes AccessUnit) {
    NalReader Nals(AccessUnit, m_Format);
    while (const auto Nal = Nals.Next()) {
        if (IsSlice(*Nal, m_Format.bHevc))
            break;
        if (!m_Format.bHevc)
            m_Headers.Read(*Nal);
        if (IsSei(*Nal, m_Format.bHevc))
            if (const auto Label = ReadSei(*Nal))
                return Label;
    }
    return std::nullopt;
}

std::optional<TimecodeLabel> TimecodeSeiReader::ReadSei(Bytes Nal) const {
    const auto Body = RemoveEmulationPrevention(Nal);
    SeiReader Messages(Body, m_Format.bHevc);
    while (const auto Message = Messages.Next()) {
        std::optional<TimecodeLabel> Label;
        if (m_Format.bHevc && Message->nPayloadType == SEI_TIME_CODE)
            Label = ReadTimeCode(Message->Payload);
        else if (!m_Format.bHevc && m_Headers.Latest() && Message->nPayloadType == SEI_PIC_TIMING)
            Label = ReadPicTiming(Message->Payload, *m_Headers.Latest());
        if (Label)
            return Label;
    }
    return std::nullopt;
}

} // namespace encoder
