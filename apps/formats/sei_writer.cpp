// Writes a coded picture's time into it: the MISB ST 0604 time stamp and the timecode.
// The SEI NAL units that are there stay where they are, without what is replaced; one NAL unit is added after them.
#include "formats/sei_writer.h"

#include <algorithm>
#include <utility>

#include "formats/bits.h"

namespace encoder {
namespace {

constexpr std::uint8_t TRAILING_BITS = 0x80;

// The prefix of an H.264 slice belongs to the slice behind it.
bool IsPicture(Bytes Nal, bool bHevc) {
    constexpr int H264_PREFIX = 14;
    return IsSlice(Nal, bHevc) || (!bHevc && NalType(Nal, false) == H264_PREFIX);
}

bool Fits(const TimecodeLabel &Label, bool bHevc) {
    TimecodeLabel Counted = Label;
    Counted.bDropFrame = false;
    return IsValid(Counted, bHevc ? 512 : 256);
}

// H.264, D.2.3, and H.265, D.3.27: counting type 4 leaves out the two lowest numbers of a minute. Nothing there leaves
// out four, as drop-frame numbering at 59.94 Hz does, but "unspecified numbers of unspecified" counts, type 6. Readers
// show drop-frame labels as such only where both a counting type and the dropped flag say so.
unsigned CountingType(const TimecodeLabel &Label, unsigned nDropped) {
    constexpr unsigned NO_DROP = 0;
    constexpr unsigned DROP_TWO = 4;
    constexpr unsigned DROP_UNSPECIFIED = 6;
    if (!Label.bDropFrame)
        return NO_DROP;
    return nDropped == 2 ? DROP_TWO : DROP_UNSPECIFIED;
}

void PutLabel(BitWriter &Bits, const TimecodeLabel &Label, unsigned nDropped, unsigned nFrameBits) {
    Bits.Put(CountingType(Label, nDropped), 5);
    Bits.Put(1, 1);                        // full_timestamp_flag
    Bits.Put(0, 1);                        // discontinuity_flag
    Bits.Put(Label.bDropFrame ? 1 : 0, 1); // cnt_dropped_flag
    Bits.Put(static_cast<unsigned>(Label.nFrames), nFrameBits);
    Bits.Put(static_cast<unsigned>(Label.nSeconds), 6);
    Bits.Put(static_cast<unsigned>(Label.nMinutes), 6);
    Bits.Put(static_cast<unsigned>(Label.nHours), 5);
}

// Both fields of a frame have its label.
std::vector<std::uint8_t> BuildPicTiming(const PicTimingFormat &Format, Bytes OldTiming, const TimecodeLabel &Label,
                                         unsigned nDropped) {
    BitReader Old(OldTiming);
    BitWriter Bits;
    if (Format.bDelays) {
        Bits.Put(Old.Read(Format.nRemovalBits), Format.nRemovalBits);
        Bits.Put(Old.Read(Format.nOutputBits), Format.nOutputBits);
    }
    const unsigned nOldStruct = Old.Read(4);
    const unsigned nPicStruct = ClockTimestamps(nOldStruct) > 0 ? nOldStruct : 0;
    const bool bInterlaced = nPicStruct >= 1 && nPicStruct <= 6;
    Bits.Put(nPicStruct, 4);
    for (unsigned n = 0; n < ClockTimestamps(nPicStruct); ++n) {
        Bits.Put(1, 1);                   // clock_timestamp_flag
        Bits.Put(bInterlaced ? 1 : 0, 2); // ct_type
        Bits.Put(1, 1);                   // nuit_field_based_flag: a clock tick lasts a field
        PutLabel(Bits, Label, nDropped, 8);
        Bits.Put(0, Format.nOffsetBits);
    }
    return Bits.Finish();
}

std::vector<std::uint8_t> BuildTimeCode(const TimecodeLabel &Label, unsigned nDropped) {
    BitWriter Bits;
    Bits.Put(1, 2); // num_clock_ts
    Bits.Put(1, 1); // clock_timestamp_flag
    Bits.Put(0, 1); // units_field_based_flag: a clock tick lasts a frame
    PutLabel(Bits, Label, nDropped, 9);
    Bits.Put(0, 5); // time_offset_length
    return Bits.Finish();
}

void AppendNal(std::vector<std::uint8_t> &Out, Bytes Nal) {
    Out.insert(Out.end(), {0, 0, 0, 1});
    Out.insert(Out.end(), Nal.begin(), Nal.end());
}

void AppendSei(std::vector<std::uint8_t> &Out, std::vector<std::uint8_t> Sei, std::size_t nHeaderSize) {
    if (Sei.size() <= nHeaderSize)
        return;
    Sei.push_back(TRAILING_BITS);
    AppendNal(Out, AddEmulationPrevention(Sei));
}

// Which messages are replaced: their own kinds must not be there twice.
struct Replaced {
    bool bHevc;
    bool bStamp;
    bool bTimecode;

    bool Has(const SeiMessage &Message) const {
        if (Message.nPayloadType == SEI_USER_DATA_UNREGISTERED)
            return bStamp && ReadStampPayload(Message.Payload, bHevc).enResult != ReadResult::NotOurs;
        return bTimecode && Message.nPayloadType == (bHevc ? SEI_TIME_CODE : SEI_PIC_TIMING);
    }
};

// Appends an SEI NAL unit without what is replaced. One that has nothing of it, or that cannot be read to its end, goes
// through as it is.
void AppendWithoutReplaced(std::vector<std::uint8_t> &Out, Bytes Nal, const Replaced &Ours) {
    const std::size_t nHeaderSize = NalHeaderSize(Ours.bHevc);
    if (Nal.size() < nHeaderSize) {
        AppendNal(Out, Nal);
        return;
    }
    const auto Body = RemoveEmulationPrevention(Nal);
    std::vector<std::uint8_t> Kept(Nal.begin(), Nal.begin() + static_cast<std::ptrdiff_t>(nHeaderSize));
    SeiReader Messages(Body, Ours.bHevc);
    bool bWhole = true;
    bool bFound = false;
    while (const auto Message = Messages.Next()) {
        bWhole = bWhole && Message->bComplete;
        if (Ours.Has(*Message))
            bFound = true;
        else
            AppendSeiMessage(Kept, Message->nPayloadType, Message->Payload);
    }
    if (bWhole && bFound)
        AppendSei(Out, std::move(Kept), nHeaderSize);
    else
        AppendNal(Out, Nal);
}

// The payload of the last whole pic_timing message before the picture.
std::vector<std::uint8_t> PicTimingIn(Bytes SeiNal) {
    const auto Body = RemoveEmulationPrevention(SeiNal);
    std::vector<std::uint8_t> Found;
    SeiReader Messages(Body, false);
    while (const auto Message = Messages.Next())
        if (Message->nPayloadType == SEI_PIC_TIMING && Message->bComplete)
            Found.assign(Message->Payload.begin(), Message->Payload.end());
    return Found;
}

// An HEVC message belongs to the layer of time of the picture behind it.
std::vector<std::uint8_t> SeiHeader(Bytes Slice, bool bHevc) {
    constexpr std::uint8_t H264_SEI = 6;
    constexpr std::uint8_t HEVC_PREFIX_SEI = 39 << 1;
    if (!bHevc)
        return {H264_SEI};
    return {HEVC_PREFIX_SEI, static_cast<std::uint8_t>(Slice.size() > 1 && (Slice[1] & 7) != 0 ? Slice[1] & 7 : 1)};
}

} // namespace

void SeiWriter::ReadHeaders(Bytes Nals) {
    NalReader Reader(Nals, {m_bHevc, 0});
    while (const auto Nal = Reader.Next())
        if (!m_bHevc)
            m_Headers.Read(*Nal);
}

// Empty where the stream has no place for it.
std::vector<std::uint8_t> SeiWriter::TimecodeMessage(Bytes Slice, Bytes OldTiming, const TimecodeLabel &Label) const {
    if (m_bHevc)
        return BuildTimeCode(Label, m_nDropped);
    const std::optional<PicTimingFormat> Format = m_Headers.FormatOf(Slice);
    const bool bNeedsOld = Format && (Format->bDelays || !Format->bFramesOnly);
    if (!Format || !Format->bPicStruct || (bNeedsOld && OldTiming.empty()))
        return {};
    return BuildPicTiming(*Format, OldTiming, Label, m_nDropped);
}

SeiWriter::Result SeiWriter::Insert(Bytes AccessUnit, const std::optional<UtcStamp> &Stamp,
                                    const std::optional<TimecodeLabel> &Label) {
    std::vector<Bytes> Nals;
    std::optional<std::size_t> Picture;
    std::vector<std::uint8_t> OldTiming;
    NalReader Reader(AccessUnit, {m_bHevc, 0});
    while (const auto Nal = Reader.Next()) {
        if (!Picture && IsPicture(*Nal, m_bHevc))
            Picture = Nals.size();
        if (!m_bHevc && !Picture)
            m_Headers.Read(*Nal);
        if (!m_bHevc && !Picture && IsSei(*Nal, false))
            if (auto Found = PicTimingIn(*Nal); !Found.empty())
                OldTiming = std::move(Found);
        Nals.push_back(*Nal);
    }
    if (!Picture)
        return {{AccessUnit.begin(), AccessUnit.end()}, false};

    std::vector<std::uint8_t> Timecode;
    const auto Slice = std::find_if(Nals.begin(), Nals.end(), [this](Bytes Nal) { return IsSlice(Nal, m_bHevc); });
    if (Label && Fits(*Label, m_bHevc) && Slice != Nals.end())
        Timecode = TimecodeMessage(*Slice, OldTiming, *Label);
    std::vector<std::uint8_t> Sei = SeiHeader(Nals[*Picture], m_bHevc);
    const std::size_t nHeaderSize = Sei.size();
    if (!Timecode.empty())
        AppendSeiMessage(Sei, m_bHevc ? SEI_TIME_CODE : SEI_PIC_TIMING, Timecode);
    if (Stamp)
        AppendSeiMessage(Sei, SEI_USER_DATA_UNREGISTERED, BuildStampPayload(*Stamp, m_bHevc));

    const Replaced Ours{m_bHevc, Stamp.has_value(), !Timecode.empty()};
    Result Stamped{{}, !Timecode.empty()};
    Stamped.AccessUnit.reserve(AccessUnit.size() + 128);
    for (std::size_t n = 0; n < Nals.size(); ++n) {
        if (n == *Picture)
            AppendSei(Stamped.AccessUnit, Sei, nHeaderSize);
        if (n < *Picture && IsSei(Nals[n], m_bHevc))
            AppendWithoutReplaced(Stamped.AccessUnit, Nals[n], Ours);
        else
            AppendNal(Stamped.AccessUnit, Nals[n]);
    }
    return Stamped;
}

} // namespace encoder
