// KLV local sets (MISB ST 0601): the UTC of tag 2, taken only from a set whose checksum is right.
// Every length is compared with what is left of the packet before it is used.
#include "formats/klv.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

namespace encoder {
namespace {

constexpr std::array<std::uint8_t, 16> LOCAL_SET_KEY = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x0B, 0x01, 0x01,
                                                        0x0E, 0x01, 0x03, 0x01, 0x01, 0x00, 0x00, 0x00};
constexpr std::size_t LABEL_PREFIX_SIZE = 4; // begins every SMPTE universal label
constexpr std::size_t CELL_HEADER_SIZE = 5;
constexpr std::size_t MAX_LENGTH_BYTES = 8;
constexpr std::size_t MAX_TAG_BYTES = 4;
constexpr std::size_t UTC_SIZE = 8;
constexpr std::size_t CHECKSUM_SIZE = 2;
constexpr std::uint64_t TAG_CHECKSUM = 1;
constexpr std::uint64_t TAG_UTC = 2;
constexpr std::uint8_t TAG_VERSION = 65;
constexpr std::uint8_t LOCAL_SET_VERSION = 19;

Bytes CutOff(Bytes &Rest, std::size_t nSize) {
    const Bytes Taken = Rest.first(nSize);
    Rest = Rest.subspan(nSize);
    return Taken;
}

std::uint64_t BigEndian(Bytes Data) {
    std::uint64_t nValue = 0;
    for (const std::uint8_t n : Data)
        nValue = nValue << 8 | n;
    return nValue;
}

// BER length in short or long form; nothing when it has no end here (indefinite), is over-long or passes the rest.
std::optional<std::size_t> ReadLength(Bytes &Rest) {
    if (Rest.empty())
        return std::nullopt;
    std::uint64_t nLength = CutOff(Rest, 1)[0];
    if (nLength >= 0x80) {
        const std::size_t nBytes = nLength & 0x7F;
        if (nBytes == 0 || nBytes > MAX_LENGTH_BYTES || nBytes > Rest.size())
            return std::nullopt;
        nLength = BigEndian(CutOff(Rest, nBytes));
    }
    return nLength <= Rest.size() ? std::optional<std::size_t>(nLength) : std::nullopt;
}

// BER-OID: seven bits a byte, the last one without bit 7.
std::optional<std::uint64_t> ReadTag(Bytes &Rest) {
    std::uint64_t nTag = 0;
    for (std::size_t n = 0; n < MAX_TAG_BYTES && !Rest.empty(); ++n) {
        const std::uint8_t nByte = CutOff(Rest, 1)[0];
        nTag = nTag << 7 | (nByte & 0x7F);
        if (nByte < 0x80)
            return nTag;
    }
    return std::nullopt;
}

// Sum of the 16-bit words of a set, which ends before the checksum itself.
std::uint16_t Checksum(Bytes Set) {
    unsigned nSum = 0;
    for (std::size_t n = 0; n < Set.size(); ++n)
        nSum += n % 2 == 0 ? static_cast<unsigned>(Set[n]) << 8 : Set[n];
    return static_cast<std::uint16_t>(nSum);
}

constexpr const char *BAD_LENGTH = "a length that runs past the set, or none";
constexpr const char *BAD_UTC_LENGTH = "a UTC (tag 2) that has not 8 bytes";
constexpr const char *BAD_CHECKSUM = "a wrong checksum";
constexpr const char *NO_CHECKSUM = "no checksum at its end";

bool IsChecksumRight(Bytes Set, Bytes Value) {
    return Value.size() == CHECKSUM_SIZE && BigEndian(Value) == Checksum(Set.first(Set.size() - CHECKSUM_SIZE));
}

struct SetReading {
    ReadResult enResult = ReadResult::Broken;
    std::int64_t llUTC = 0;
    const char *szReason = nullptr; // why it is broken
};

SetReading Broken(const char *szReason) {
    return {.szReason = szReason};
}

// Reads one set, given from its key to its end and as the items in it. The checksum is the last item.
SetReading ReadLocalSet(Bytes Set, Bytes Items) {
    std::optional<std::int64_t> llUTC;
    while (!Items.empty()) {
        const auto nTag = ReadTag(Items);
        const auto nLength = nTag ? ReadLength(Items) : std::nullopt;
        if (!nLength)
            return Broken(BAD_LENGTH);
        if (*nTag == TAG_UTC && *nLength != UTC_SIZE)
            return Broken(BAD_UTC_LENGTH);
        const Bytes Value = CutOff(Items, *nLength);
        if (*nTag == TAG_UTC)
            llUTC = static_cast<std::int64_t>(BigEndian(Value));
        if (*nTag == TAG_CHECKSUM) {
            if (!Items.empty() || !IsChecksumRight(Set, Value))
                return Broken(Items.empty() ? BAD_CHECKSUM : NO_CHECKSUM);
            return {llUTC ? ReadResult::Ok : ReadResult::NotOurs, llUTC.value_or(0)};
        }
    }
    return Broken(NO_CHECKSUM);
}

// The three bytes that are not compared say how the set is coded and which version of the registry its key is from.
bool IsEg0104(Bytes Key) {
    constexpr std::array<std::uint8_t, 16> EG_0104_KEY = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x01, 0x01, 0x01,
                                                          0x0E, 0x01, 0x01, 0x02, 0x01, 0x01, 0x00, 0x00};
    const auto *const pKey = EG_0104_KEY.begin();
    return Key.size() == EG_0104_KEY.size() && std::equal(pKey, pKey + 5, Key.begin()) &&
           std::equal(pKey + 8, EG_0104_KEY.end(), Key.begin() + 8);
}

bool IsLabel(Bytes Data) {
    return Data.size() >= LABEL_PREFIX_SIZE &&
           std::equal(LOCAL_SET_KEY.begin(), LOCAL_SET_KEY.begin() + LABEL_PREFIX_SIZE, Data.begin());
}

// Moves to the next key, over a cell header where there is one.
bool FindKey(Bytes &Rest) {
    if (!IsLabel(Rest) && Rest.size() > CELL_HEADER_SIZE && IsLabel(Rest.subspan(CELL_HEADER_SIZE)))
        Rest = Rest.subspan(CELL_HEADER_SIZE);
    return IsLabel(Rest);
}

} // namespace

ReadResult LocalSetsRead::Result() const {
    if (!UTCs.empty())
        return ReadResult::Ok;
    return !Broken.empty() ? ReadResult::Broken : ReadResult::NotOurs;
}

LocalSetsRead ReadLocalSets(Bytes Packet) {
    LocalSetsRead Read;
    Bytes Rest = Packet;
    while (FindKey(Rest)) {
        const Bytes Begin = Rest;
        const std::size_t nKeySize = std::min(LOCAL_SET_KEY.size(), Rest.size());
        const Bytes Key = CutOff(Rest, nKeySize);
        const bool bOurs = std::equal(Key.begin(), Key.end(), LOCAL_SET_KEY.begin());
        Read.nEg0104 += IsEg0104(Key) ? 1 : 0;
        const auto nLength = ReadLength(Rest);
        if (!nLength) {
            if (bOurs)
                Read.Broken.push_back(BAD_LENGTH);
            break;
        }
        const Bytes Items = CutOff(Rest, *nLength);
        if (!bOurs)
            continue;
        const SetReading Set = ReadLocalSet(Begin.first(Begin.size() - Rest.size()), Items);
        if (Set.enResult == ReadResult::Ok)
            Read.UTCs.push_back(Set.llUTC);
        if (Set.enResult == ReadResult::Broken)
            Read.Broken.push_back(Set.szReason);
    }
    return Read;
}

std::vector<std::uint8_t> BuildLocalSet(std::int64_t llUTC) {
    std::vector<std::uint8_t> Items = {static_cast<std::uint8_t>(TAG_UTC), UTC_SIZE};
    for (int nShift = 56; nShift >= 0; nShift -= 8)
        Items.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(llUTC) >> nShift & 0xFF));
    Items.insert(Items.end(),
                 {TAG_VERSION, 1, LOCAL_SET_VERSION, static_cast<std::uint8_t>(TAG_CHECKSUM), CHECKSUM_SIZE});

    std::vector<std::uint8_t> Set(LOCAL_SET_KEY.begin(), LOCAL_SET_KEY.end());
    Set.push_back(static_cast<std::uint8_t>(Items.size() + CHECKSUM_SIZE));
    Set.insert(Set.end(), Items.begin(), Items.end());
    const std::uint16_t nSum = Checksum(Set);
    Set.push_back(static_cast<std::uint8_t>(nSum >> 8));
    Set.push_back(static_cast<std::uint8_t>(nSum & 0xFF));
    return Set;
}

} // namespace encoder
