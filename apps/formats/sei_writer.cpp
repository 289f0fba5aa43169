// Writes a coded picture's time into it: the MISB ST 0604 time stamp and the timecode of the pic_timing message.
// The encoder's SEI NAL units stay where they are, without the pic_timing message; one NAL unit is added after them.
#include "formats/sei_writer.h"

#include <utility>

#include "formats/nal.h"

namespace encoder {
namespace {

constexpr NalFormat ANNEX_B_H264 = {};
constexpr int FIRST_SLICE_TYPE = 1; // types 1 to 5 are slices
constexpr int LAST_SLICE_TYPE = 5;
constexpr std::uint8_t SEI_NAL_HEADER = 6;
constexpr std::uint8_t TRAILING_BITS = 0x80;
constexpr unsigned MAX_PIC_STRUCT = 8;

class BitWriter {
public:
    void Put(unsigned nValue, int nBits) {
        for (int nBit = nBits - 1; nBit >= 0; --nBit) {
            if (m_nFilled == 0)
                m_Data.push_back(0);
            m_Data.back() = static_cast<std::uint8_t>(m_Data.back() | (nValue >> nBit & 1) << (7 - m_nFilled));
            m_nFilled = (m_nFilled + 1) % 8;
        }
    }

    // Ends an SEI payload: a one and zeros up to the next whole byte.
    std::vector<std::uint8_t> Finish() {
        if (m_nFilled != 0)
            Put(1, 1);
        m_nFilled = 0;
        return std::move(m_Data);
    }

private:
    std::vector<std::uint8_t> m_Data;
    int m_nFilled = 0; // bits used of the last byte
};

bool Fits(const TimecodeLabel &Label) {
    constexpr int FRAME_NUMBERS = 256;
    TimecodeLabel Counted = Label;
    Counted.bDropFrame = false;
    return IsValid(Counted, FRAME_NUMBERS);
}

int ClockTimestamps(unsigned nPicStruct) {
    constexpr int COUNTS[MAX_PIC_STRUCT + 1] = {1, 1, 1, 2, 2, 3, 3, 2, 3};
    return COUNTS[nPicStruct];
}

// H.264, D.2.3: counting type 4 leaves out the two lowest numbers of a minute. Nothing there leaves out four, as
// drop-frame numbering at 59.94 Hz does, but "unspecified numbers of unspecified" counts, type 6. Readers show
// drop-frame labels as such only where both a counting type and the dropped flag say so.
unsigned CountingType(const TimecodeLabel &Label, unsigned nDropped) {
    constexpr unsigned NO_DROP = 0;
    constexpr unsigned DROP_TWO = 4;
    constexpr unsigned DROP_UNSPECIFIED = 6;
    if (!Label.bDropFrame)
        return NO_DROP;
    return nDropped == 2 ? DROP_TWO : DROP_UNSPECIFIED;
}

std::vector<std::uint8_t> BuildPicTiming(unsigned nPicStruct, const TimecodeLabel &Label, unsigned nDropped) {
    const bool bInterlaced = nPicStruct >= 1 && nPicStruct <= 6;
    BitWriter Bits;
    Bits.Put(nPicStruct, 4);
    Bits.Put(1, 1);                   // clock_timestamp_flag
    Bits.Put(bInterlaced ? 1 : 0, 2); // ct_type
    Bits.Put(1, 1);                   // nuit_field_based_flag: a clock tick lasts a field, as libx264 has it
    Bits.Put(CountingType(Label, nDropped), 5);
    Bits.Put(1, 1);                        // full_timestamp_flag
    Bits.Put(0, 1);                        // discontinuity_flag
    Bits.Put(Label.bDropFrame ? 1 : 0, 1); // cnt_dropped_flag
    Bits.Put(static_cast<unsigned>(Label.nFrames), 8);
    Bits.Put(static_cast<unsigned>(Label.nSeconds), 6);
    Bits.Put(static_cast<unsigned>(Label.nMinutes), 6);
    Bits.Put(static_cast<unsigned>(Label.nHours), 5);
    Bits.Put(0, 24); // time_offset
    for (int n = 1; n < ClockTimestamps(nPicStruct); ++n)
        Bits.Put(0, 1);
    return Bits.Finish();
}

void AppendNal(std::vector<std::uint8_t> &Out, Bytes Nal) {
    Out.insert(Out.end(), {0, 0, 0, 1});
    Out.insert(Out.end(), Nal.begin(), Nal.end());
}

void AppendSei(std::vector<std::uint8_t> &Out, std::vector<std::uint8_t> Sei) {
    if (Sei.size() <= 1)
        return;
    Sei.push_back(TRAILING_BITS);
    AppendNal(Out, AddEmulationPrevention(Sei));
}

// Appends an SEI NAL unit without its pic_timing message, and returns that message's pic_struct. A NAL unit that has
// none, or that cannot be read to its end, goes through as it is.
std::optional<unsigned> AppendWithoutPicTiming(std::vector<std::uint8_t> &Out, Bytes Nal) {
    const auto Body = RemoveEmulationPrevention(Nal);
    std::vector<std::uint8_t> Kept = {Nal[0]};
    std::optional<unsigned> nPicStruct;
    SeiReader Messages(Body, false);
    bool bWhole = true;
    while (const auto Message = Messages.Next()) {
        bWhole = bWhole && Message->bComplete;
        if (Message->nPayloadType != SEI_PIC_TIMING || Message->Payload.empty())
            AppendSeiMessage(Kept, Message->nPayloadType, Message->Payload);
        else
            nPicStruct = Message->Payload[0] >> 4;
    }
    if (bWhole && nPicStruct)
        AppendSei(Out, std::move(Kept));
    else
        AppendNal(Out, Nal);
    return bWhole ? nPicStruct : std::nullopt;
}

void AppendTime(std::vector<std::uint8_t> &Out, const std::optional<UtcStamp> &Stamp, const TimecodeLabel *pLabel,
                unsigned nDropped, unsigned nPicStruct) {
    std::vector<std::uint8_t> Sei = {SEI_NAL_HEADER};
    if (pLabel != nullptr)
        AppendSeiMessage(Sei, SEI_PIC_TIMING,
                         BuildPicTiming(nPicStruct <= MAX_PIC_STRUCT ? nPicStruct : 0, *pLabel, nDropped));
    if (Stamp)
        AppendSeiMessage(Sei, SEI_USER_DATA_UNREGISTERED, BuildStampPayload(*Stamp));
    AppendSei(Out, std::move(Sei));
}

} // namespace

std::vector<std::uint8_t> InsertSei(Bytes AccessUnit, const std::optional<UtcStamp> &Stamp,
                                    const std::optional<TimecodeLabel> &Label, unsigned nDropped) {
    const TimecodeLabel *const pShown = Label && Fits(*Label) ? &*Label : nullptr;
    std::vector<std::uint8_t> Out;
    Out.reserve(AccessUnit.size() + 128);
    unsigned nPicStruct = 0;
    bool bWritten = false;
    NalReader Nals(AccessUnit, ANNEX_B_H264);
    while (const auto Nal = Nals.Next()) {
        const int nType = NalType(*Nal, false);
        if (!bWritten && nType >= FIRST_SLICE_TYPE && nType <= LAST_SLICE_TYPE) {
            AppendTime(Out, Stamp, pShown, nDropped, nPicStruct);
            bWritten = true;
        }
        if (pShown != nullptr && !bWritten && IsSei(*Nal, false))
            nPicStruct = AppendWithoutPicTiming(Out, *Nal).value_or(nPicStruct);
        else
            AppendNal(Out, *Nal);
    }
    return bWritten ? Out : std::vector<std::uint8_t>(AccessUnit.begin(), AccessUnit.end());
}

} // namespace encoder
