// What the parameter sets of an H.264 stream say about its pic_timing messages.
// Most of what is read here is only read to reach what comes behind it.
#include "formats/h264_headers.h"

#include <algorithm>

#include "formats/bits.h"
#include "formats/nal.h"

namespace encoder {
namespace {

constexpr int SEQUENCE_SET = 7;
constexpr int PICTURE_SET = 8;
constexpr std::uint32_t MAX_SEQUENCE_SETS = 32;
constexpr std::uint32_t MAX_PICTURE_SETS = 256;
constexpr std::uint32_t MAX_CYCLE = 255;
constexpr std::uint32_t MAX_CPBS = 32;
constexpr std::uint32_t CHROMA_444 = 3;
constexpr std::uint32_t EXTENDED_ASPECT = 255;

bool HasChromaFormat(std::uint32_t nProfile) {
    constexpr std::uint32_t PROFILES[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    return std::find(std::begin(PROFILES), std::end(PROFILES), nProfile) != std::end(PROFILES);
}

void SkipScalingList(BitReader &Bits, int nSize) {
    int nLast = 8;
    int nNext = 8;
    for (int n = 0; n < nSize && !Bits.IsPast(); ++n) {
        if (nNext != 0)
            nNext =
                static_cast<int>((static_cast<unsigned>(nLast) + static_cast<unsigned>(Bits.SignedGolomb())) & 0xFF);
        nLast = nNext == 0 ? nLast : nNext;
    }
}

void SkipChromaFormat(BitReader &Bits) {
    constexpr int SMALL_LISTS = 6;
    const bool b444 = Bits.Golomb() == CHROMA_444;
    if (b444)
        Bits.Flag(); // separate_colour_plane_flag
    Bits.Golomb();   // bit depths
    Bits.Golomb();
    Bits.Flag(); // qpprime_y_zero_transform_bypass_flag
    if (!Bits.Flag())
        return;
    for (int n = 0; n < (b444 ? 12 : 8); ++n)
        if (Bits.Flag())
            SkipScalingList(Bits, n < SMALL_LISTS ? 16 : 64);
}

void SkipPictureOrder(BitReader &Bits) {
    const std::uint32_t nType = Bits.Golomb();
    if (nType == 0)
        Bits.Golomb();
    if (nType != 1)
        return;
    Bits.Flag();
    Bits.Golomb();
    Bits.Golomb();
    const std::uint32_t nCycle = std::min(Bits.Golomb(), MAX_CYCLE);
    for (std::uint32_t n = 0; n < nCycle; ++n)
        Bits.Golomb();
}

void ReadHrd(BitReader &Bits, PicTimingFormat &Format) {
    const std::uint32_t nCpbs = std::min(Bits.Golomb(), MAX_CPBS - 1) + 1;
    Bits.Read(8); // scales
    for (std::uint32_t n = 0; n < nCpbs; ++n) {
        Bits.Golomb();
        Bits.Golomb();
        Bits.Flag();
    }
    Bits.Read(5); // initial_cpb_removal_delay_length_minus1
    Format.bDelays = true;
    Format.nRemovalBits = Bits.Read(5) + 1;
    Format.nOutputBits = Bits.Read(5) + 1;
    Format.nOffsetBits = Bits.Read(5);
}

void ReadUsabilityInformation(BitReader &Bits, PicTimingFormat &Format) {
    if (Bits.Flag() && Bits.Read(8) == EXTENDED_ASPECT)
        Bits.Read(32);
    if (Bits.Flag()) // overscan
        Bits.Flag();
    if (Bits.Flag()) { // signal type
        Bits.Read(4);
        if (Bits.Flag())
            Bits.Read(24);
    }
    if (Bits.Flag()) { // place of the chroma samples
        Bits.Golomb();
        Bits.Golomb();
    }
    if (Bits.Flag()) { // timing
        Bits.Read(32);
        Bits.Read(32);
        Bits.Flag();
    }
    for (int n = 0; n < 2; ++n) // of the NAL units, of the slices
        if (Bits.Flag())
            ReadHrd(Bits, Format);
    if (Format.bDelays)
        Bits.Flag();
    Format.bPicStruct = Bits.Flag();
}

} // namespace

void H264Headers::Read(Bytes Nal) {
    const int nType = NalType(Nal, false);
    if (nType != SEQUENCE_SET && nType != PICTURE_SET)
        return;
    const auto Body = RemoveEmulationPrevention(Nal);
    BitReader Bits(Bytes(Body).subspan(1));
    if (nType == PICTURE_SET) {
        const std::uint32_t nPicture = Bits.Golomb();
        const std::uint32_t nSequence = Bits.Golomb();
        if (!Bits.IsPast() && nPicture < MAX_PICTURE_SETS)
            m_Pictures[nPicture] = nSequence;
        return;
    }
    const std::uint32_t nProfile = Bits.Read(8);
    Bits.Read(16); // constraints, level
    const std::uint32_t nSequence = Bits.Golomb();
    if (HasChromaFormat(nProfile))
        SkipChromaFormat(Bits);
    Bits.Golomb(); // log2_max_frame_num_minus4
    SkipPictureOrder(Bits);
    Bits.Golomb(); // max_num_ref_frames
    Bits.Flag();
    Bits.Golomb(); // width and height in macroblocks
    Bits.Golomb();
    PicTimingFormat Format;
    Format.bFramesOnly = Bits.Flag();
    if (!Format.bFramesOnly)
        Bits.Flag();
    Bits.Flag();     // direct_8x8_inference_flag
    if (Bits.Flag()) // cropping
        for (int n = 0; n < 4; ++n)
            Bits.Golomb();
    if (Bits.Flag())
        ReadUsabilityInformation(Bits, Format);
    if (!Bits.IsPast() && nSequence < MAX_SEQUENCE_SETS)
        m_Sequences[nSequence] = *(m_Latest = Format);
}

std::optional<PicTimingFormat> H264Headers::FormatOf(Bytes SliceNal) const {
    constexpr std::size_t ENOUGH = 24; // bytes for the header's first three numbers
    const auto Body = RemoveEmulationPrevention(SliceNal.first(std::min(SliceNal.size(), ENOUGH)));
    if (Body.empty())
        return std::nullopt;
    BitReader Bits(Bytes(Body).subspan(1));
    Bits.Golomb(); // first_mb_in_slice
    Bits.Golomb(); // slice_type
    const auto Picture = m_Pictures.find(Bits.Golomb());
    if (Bits.IsPast() || Picture == m_Pictures.end())
        return std::nullopt;
    const auto Sequence = m_Sequences.find(Picture->second);
    return Sequence == m_Sequences.end() ? std::nullopt : std::optional(Sequence->second);
}

} // namespace encoder
