// The timecode that a coded picture carries in its SEI: pic_timing of H.264 (D.1.3), time_code of HEVC (D.2.27).
// Counts in a parameter set end loops only together with the end of its bytes.
#include "formats/timecode_sei.h"

#include <algorithm>
#include <array>

#include "formats/bit_reader.h"

namespace encoder {
namespace {

constexpr int NAL_H264_SPS = 7;
constexpr int FIRST_SLICE_TYPE = 1; // types 1 to 5 are slices
constexpr int LAST_SLICE_TYPE = 5;
constexpr int FIRST_NON_VCL_HEVC = 32;
constexpr std::size_t SEI_TIME_CODE = 136;
constexpr std::uint32_t FIRST_COUNTING_WITH_DROPS = 4; // counting types 4 to 6 leave numbers out
constexpr std::uint32_t LAST_COUNTING_WITH_DROPS = 6;
constexpr std::array<std::uint32_t, 13> PROFILES_WITH_CHROMA = {44,  83,  86,  100, 110, 118, 122,
                                                                128, 134, 135, 138, 139, 244};
constexpr std::array<int, 9> CLOCK_TIMESTAMPS = {1, 1, 1, 2, 2, 3, 3, 2, 3}; // by pic_struct

void SkipGolombs(BitReader &Bits, std::uint32_t nCount) {
    for (; nCount > 0 && !Bits.IsPastEnd(); --nCount)
        Bits.TakeGolomb();
}

void SkipScalingList(BitReader &Bits, int nSize) {
    // A delta as se(v): even codes are negative. The list ends where the next scale becomes 0.
    for (std::uint32_t nScale = 8, n = 0; n < static_cast<std::uint32_t>(nSize) && nScale != 0; ++n) {
        const std::uint32_t nCode = Bits.TakeGolomb();
        const std::uint32_t nDelta = nCode % 2 != 0 ? nCode / 2 + 1 : 0 - nCode / 2;
        nScale = (nScale + nDelta) & 0xFF;
    }
}

void SkipChroma(BitReader &Bits) {
    constexpr std::uint32_t CHROMA_444 = 3;
    const std::uint32_t nChroma = Bits.TakeGolomb();
    Bits.Skip(nChroma == CHROMA_444 ? 1 : 0);
    SkipGolombs(Bits, 2); // bit depths
    Bits.Skip(1);
    if (!Bits.Flag())
        return;
    const int nLists = nChroma == CHROMA_444 ? 12 : 8;
    for (int n = 0; n < nLists; ++n)
        if (Bits.Flag())
            SkipScalingList(Bits, n < 6 ? 16 : 64);
}

void SkipPictureOrder(BitReader &Bits) {
    const std::uint32_t nType = Bits.TakeGolomb();
    if (nType == 0)
        SkipGolombs(Bits, 1);
    if (nType != 1)
        return;
    Bits.Skip(1);
    SkipGolombs(Bits, 2);
    SkipGolombs(Bits, Bits.TakeGolomb());
}

void SkipPictureSize(BitReader &Bits) {
    SkipGolombs(Bits, 1); // reference frames
    Bits.Skip(1);
    SkipGolombs(Bits, 2);
    const bool bFramesOnly = Bits.Flag();
    Bits.Skip(bFramesOnly ? 1 : 2);
    if (Bits.Flag())
        SkipGolombs(Bits, 4); // cropping
}

void SkipVuiBeforeHrd(BitReader &Bits) {
    constexpr std::uint32_t EXTENDED_ASPECT = 255;
    if (Bits.Flag() && Bits.Take(8) == EXTENDED_ASPECT)
        Bits.Skip(32);
    if (Bits.Flag()) // overscan
        Bits.Skip(1);
    if (Bits.Flag()) { // video signal type
        Bits.Skip(4);
        if (Bits.Flag())
            Bits.Skip(24);
    }
    if (Bits.Flag()) // chroma location
        SkipGolombs(Bits, 2);
    if (Bits.Flag()) // timing
        Bits.Skip(65);
}

void ReadHrd(BitReader &Bits, PicTimingLayout &Layout) {
    const std::uint32_t nBuffers = Bits.TakeGolomb();
    Bits.Skip(8);
    for (std::uint32_t n = 0; n <= nBuffers && !Bits.IsPastEnd(); ++n) {
        SkipGolombs(Bits, 2);
        Bits.Skip(1);
    }
    Bits.Skip(5);
    Layout.nCpbDelayBits = static_cast<int>(Bits.Take(5)) + 1;
    Layout.nDpbDelayBits = static_cast<int>(Bits.Take(5)) + 1;
    Layout.nTimeOffsetBits = static_cast<int>(Bits.Take(5));
}

// Both codecs tell it alike, but for the width of the frame number. A time of day that is not told in full goes on from
// an earlier one, and is passed over.
std::optional<TimecodeLabel> ReadClock(BitReader &Bits, int nFrameBits) {
    const std::uint32_t nCounting = Bits.Take(5);
    const bool bFull = Bits.Flag();
    Bits.Skip(2); // discontinuity, dropped
    TimecodeLabel Label;
    Label.nFrames = static_cast<int>(Bits.Take(nFrameBits));
    const auto Part = [&](int nBits) { return bFull || Bits.Flag() ? std::optional(Bits.Take(nBits)) : std::nullopt; };
    const auto nSeconds = Part(6);
    const auto nMinutes = nSeconds ? Part(6) : std::nullopt;
    const auto nHours = nMinutes ? Part(5) : std::nullopt;
    if (!nHours || Bits.IsPastEnd())
        return std::nullopt;
    Label.nSeconds = static_cast<int>(*nSeconds);
    Label.nMinutes = static_cast<int>(*nMinutes);
    Label.nHours = static_cast<int>(*nHours);
    Label.bDropFrame = nCounting >= FIRST_COUNTING_WITH_DROPS && nCounting <= LAST_COUNTING_WITH_DROPS;
    return Label;
}

// Only the first clock time stamp that is there is read: those after it belong to the picture's other fields.
std::optional<TimecodeLabel> ReadPicTiming(Bytes Payload, const PicTimingLayout &Layout) {
    if (!Layout.bHasPicStruct)
        return std::nullopt;
    BitReader Bits(Payload);
    Bits.Skip(static_cast<std::size_t>(Layout.nCpbDelayBits + Layout.nDpbDelayBits));
    const std::uint32_t nPicStruct = Bits.Take(4);
    const int nClocks = nPicStruct < CLOCK_TIMESTAMPS.size() ? CLOCK_TIMESTAMPS[nPicStruct] : 0;
    for (int n = 0; n < nClocks; ++n) {
        if (!Bits.Flag())
            continue;
        Bits.Skip(3); // ct_type, nuit_field_based_flag
        return ReadClock(Bits, 8);
    }
    return std::nullopt;
}

std::optional<TimecodeLabel> ReadTimeCode(Bytes Payload) {
    BitReader Bits(Payload);
    const std::uint32_t nClocks = Bits.Take(2);
    for (std::uint32_t n = 0; n < nClocks; ++n) {
        if (!Bits.Flag())
            continue;
        Bits.Skip(1); // units_field_based_flag
        return ReadClock(Bits, 9);
    }
    return std::nullopt;
}

// Parameter sets behind the six bytes of an AVC decoder configuration record (ISO/IEC 14496-15).
std::optional<PicTimingLayout> ReadConfiguration(Bytes Extradata) {
    constexpr std::size_t COUNT_OFFSET = 5;
    constexpr std::size_t FIRST_SET = 8; // behind the length of two bytes
    if (Extradata.size() < FIRST_SET || (Extradata[COUNT_OFFSET] & 0x1F) == 0)
        return std::nullopt;
    const std::size_t nSize = std::size_t{Extradata[FIRST_SET - 2]} << 8 | Extradata[FIRST_SET - 1];
    return ReadSps(Extradata.subspan(FIRST_SET).first(std::min(nSize, Extradata.size() - FIRST_SET)));
}

bool IsSlice(int nType, bool bHevc) {
    return bHevc ? nType >= 0 && nType < FIRST_NON_VCL_HEVC : nType >= FIRST_SLICE_TYPE && nType <= LAST_SLICE_TYPE;
}

} // namespace

std::optional<PicTimingLayout> ReadSps(Bytes Nal) {
    const auto Body = RemoveEmulationPrevention(Nal);
    BitReader Bits(Body);
    Bits.Skip(8);
    const std::uint32_t nProfile = Bits.Take(8);
    Bits.Skip(16); // constraints, level
    SkipGolombs(Bits, 1);
    if (std::ranges::find(PROFILES_WITH_CHROMA, nProfile) != PROFILES_WITH_CHROMA.end())
        SkipChroma(Bits);
    SkipGolombs(Bits, 1); // frame numbers
    SkipPictureOrder(Bits);
    SkipPictureSize(Bits);
    PicTimingLayout Layout;
    if (Bits.Flag()) {
        SkipVuiBeforeHrd(Bits);
        const bool bNalHrd = Bits.Flag();
        if (bNalHrd)
            ReadHrd(Bits, Layout);
        const bool bVclHrd = Bits.Flag();
        if (bVclHrd)
            ReadHrd(Bits, Layout);
        Bits.Skip(bNalHrd || bVclHrd ? 1 : 0);
        Layout.bHasPicStruct = Bits.Flag();
    }
    return Bits.IsPastEnd() ? std::nullopt : std::optional(Layout);
}

TimecodeSeiReader::TimecodeSeiReader(NalFormat Format, Bytes Extradata) : m_Format(Format) {
    if (m_Format.bHevc)
        return;
    if (m_Format.nLengthBytes == 0)
        Read(Extradata);
    else
        m_Layout = ReadConfiguration(Extradata);
}

std::optional<TimecodeLabel> TimecodeSeiReader::Read(Bytes AccessUnit) {
    NalReader Nals(AccessUnit, m_Format);
    while (const auto Nal = Nals.Next()) {
        const int nType = NalType(*Nal, m_Format.bHevc);
        if (IsSlice(nType, m_Format.bHevc))
            break;
        if (!m_Format.bHevc && nType == NAL_H264_SPS)
            m_Layout = ReadSps(*Nal);
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
        else if (!m_Format.bHevc && m_Layout && Message->nPayloadType == SEI_PIC_TIMING)
            Label = ReadPicTiming(Message->Payload, *m_Layout);
        if (Label)
            return Label;
    }
    return std::nullopt;
}

} // namespace encoder
