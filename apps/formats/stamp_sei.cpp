// Precision time stamp in a user-data SEI message (MISB ST 0604): a picture's UTC and status byte.
// A separator of 0xFF after every second time byte keeps the time free of start codes.
#include "formats/stamp_sei.h"

#include <algorithm>

namespace encoder {
namespace {

using StampId = std::array<std::uint8_t, STAMP_ID_SIZE>;

constexpr StampId H264_STAMP_ID = {'M', 'I', 'S', 'P', 'm', 'i', 'c', 'r', 'o', 's', 'e', 'c', 't', 'i', 'm', 'e'};
constexpr StampId HEVC_STAMP_ID = {0xA8, 0x68, 0x7D, 0xD4, 0xD7, 0x59, 0x37, 0x58,
                                   0xA5, 0xCE, 0xF0, 0x33, 0x8B, 0x65, 0x45, 0xF1};
constexpr const char *CUT_SHORT = "cut short";
constexpr const char *BAD_SEPARATOR = "a separator that is not 0xFF";
constexpr std::uint8_t SEPARATOR = 0xFF;
constexpr std::size_t STATUS_OFFSET = STAMP_ID_SIZE;
constexpr std::array<std::size_t, 8> TIME_OFFSETS = {17, 18, 20, 21, 23, 24, 26, 27};
constexpr std::array<std::size_t, 3> SEPARATOR_OFFSETS = {19, 22, 25};

bool HasStampId(Bytes Payload, bool bHevc) {
    const StampId &Id = bHevc ? HEVC_STAMP_ID : H264_STAMP_ID;
    return std::equal(Payload.begin(),
                      Payload.begin() + static_cast<std::ptrdiff_t>(std::min(Payload.size(), Id.size())), Id.begin());
}

StampReading Broken(const char *szReason) {
    return {ReadResult::Broken, {}, szReason};
}

// A message cut short within the identifier may have been a time stamp; one that goes on differently was none.
StampReading ReadMessage(const SeiMessage &Message, bool bHevc) {
    if (Message.nPayloadType != SEI_USER_DATA_UNREGISTERED)
        return {};
    if (Message.bComplete)
        return ReadStampPayload(Message.Payload, bHevc);
    return HasStampId(Message.Payload, bHevc) ? Broken(CUT_SHORT) : StampReading{};
}

void Add(StampsRead &Read, const StampReading &Reading) {
    if (Reading.enResult == ReadResult::Ok)
        Read.Stamps.push_back(Reading.Stamp);
    if (Reading.enResult == ReadResult::Broken)
        Read.Broken.push_back(Reading.szReason);
}

// A unit is given without the zeros at its end. Here they may be the time's last bytes, but for the two of the next
// start code.
Bytes WithItsZeros(Bytes Unit, Bytes Whole) {
    constexpr std::size_t ZEROS_OF_START_CODE = 2;
    const Bytes Rest = Whole.subspan(static_cast<std::size_t>(Unit.data() - Whole.data()));
    std::size_t nSize = Unit.size();
    while (nSize < Rest.size() && Rest[nSize] == 0)
        nSize++;
    return Rest.first(nSize < Rest.size() ? std::max(nSize - ZEROS_OF_START_CODE, Unit.size()) : nSize);
}

} // namespace

StampReading ReadStampPayload(Bytes Payload, bool bHevc) {
    if (Payload.size() < STAMP_ID_SIZE || !HasStampId(Payload, bHevc))
        return {};
    const auto IsSeparator = [&](std::size_t nOffset) { return Payload[nOffset] == SEPARATOR; };
    if (Payload.size() < STAMP_PAYLOAD_SIZE)
        return Broken(CUT_SHORT);
    if (!std::all_of(SEPARATOR_OFFSETS.begin(), SEPARATOR_OFFSETS.end(), IsSeparator))
        return Broken(BAD_SEPARATOR);
    std::uint64_t nUTC = 0;
    for (const std::size_t nOffset : TIME_OFFSETS)
        nUTC = nUTC << 8 | Payload[nOffset];
    return {ReadResult::Ok, {Payload[STATUS_OFFSET], static_cast<std::int64_t>(nUTC)}, nullptr};
}

std::array<std::uint8_t, STAMP_PAYLOAD_SIZE> BuildStampPayload(const UtcStamp &Stamp, bool bHevc) {
    std::array<std::uint8_t, STAMP_PAYLOAD_SIZE> Payload;
    Payload.fill(SEPARATOR);
    const auto &Id = bHevc ? HEVC_STAMP_ID : H264_STAMP_ID;
    std::copy(Id.begin(), Id.end(), Payload.begin());
    Payload[STATUS_OFFSET] = Stamp.nStatusByte;
    auto nUTC = static_cast<std::uint64_t>(Stamp.llUTC);
    for (auto pOffset = TIME_OFFSETS.rbegin(); pOffset != TIME_OFFSETS.rend(); ++pOffset, nUTC >>= 8)
        Payload[*pOffset] = static_cast<std::uint8_t>(nUTC & 0xFF);
    return Payload;
}

StampsRead ReadStamps(Bytes AccessUnit, NalFormat Format) {
    StampsRead Read;
    NalReader Nals(AccessUnit, Format);
    while (const auto Nal = Nals.Next()) {
        if (!IsSei(*Nal, Format.bHevc))
            continue;
        const auto Body = RemoveEmulationPrevention(*Nal);
        SeiReader Messages(Body, Format.bHevc);
        while (const auto Message = Messages.Next())
            Add(Read, ReadMessage(*Message, Format.bHevc));
    }
    return Read;
}

// The start codes of MPEG-2 are those of an access unit: what follows one is a unit whose first byte says its kind.
StampsRead ReadUserDataStamps(Bytes CodedPicture) {
    constexpr std::uint8_t USER_DATA = 0xB2;
    StampsRead Read;
    NalReader Units(CodedPicture, {});
    while (const auto Unit = Units.Next())
        if (Unit->front() == USER_DATA)
            Add(Read, ReadStampPayload(WithItsZeros(*Unit, CodedPicture).subspan(1), false));
    return Read;
}

} // namespace encoder
