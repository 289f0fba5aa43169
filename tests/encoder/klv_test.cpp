// KLV local sets: only a whole set with the right checksum gives a UTC.
#include <gtest/gtest.h>

#include "formats/klv.h"

namespace encoder {
namespace {

using Buffer = std::vector<std::uint8_t>;

constexpr std::int64_t UTC = 1700000000123456;
constexpr int KEY_SIZE = 16;

// A set with its length, or some of its items, written differently, and the right checksum.
Buffer Changed(int nOffset, int nErase, const Buffer &Insert) {
    Buffer Set = BuildLocalSet(UTC);
    Set.erase(Set.begin() + nOffset, Set.begin() + nOffset + nErase);
    Set.insert(Set.begin() + nOffset, Insert.begin(), Insert.end());
    Set.erase(Set.end() - 2, Set.end());
    unsigned nSum = 0;
    for (std::size_t n = 0; n < Set.size(); ++n)
        nSum += n % 2 == 0 ? Set[n] * 256u : Set[n];
    Set.insert(Set.end(), {static_cast<std::uint8_t>(nSum >> 8 & 0xFF), static_cast<std::uint8_t>(nSum & 0xFF)});
    return Set;
}

TEST(Klv, LengthFormsAndItems) {
    const std::tuple<const char *, Buffer, ReadResult> Rows[] = {
        {"as built", BuildLocalSet(UTC), ReadResult::Ok},
        {"long form of 1", Changed(KEY_SIZE, 1, {0x81, 17}), ReadResult::Ok},
        {"long form of 8", Changed(KEY_SIZE, 1, {0x88, 0, 0, 0, 0, 0, 0, 0, 17}), ReadResult::Ok},
        {"over-long", Changed(KEY_SIZE, 1, {0x89, 0, 0, 0, 0, 0, 0, 0, 0, 17}), ReadResult::Broken},
        {"indefinite", Changed(KEY_SIZE, 1, {0x80}), ReadResult::Broken},
        {"beyond the packet", Changed(KEY_SIZE, 1, {18}), ReadResult::Broken},
        {"huge", Changed(KEY_SIZE, 1, {0x88, 255, 255, 255, 255, 255, 255, 255, 255}), ReadResult::Broken},
        {"short of the checksum", Changed(KEY_SIZE, 1, {13}), ReadResult::Broken},
        {"two-byte tag passed over", Changed(KEY_SIZE, 1, {21, 0x81, 0x02, 1, 0}), ReadResult::Ok},
        {"tag without end", Changed(KEY_SIZE, 1, {22, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), ReadResult::Broken},
        {"item beyond the set", Changed(KEY_SIZE + 11, 3, {65, 9, 19}), ReadResult::Broken},
        {"UTC of 7 bytes", Changed(KEY_SIZE, 4, {16, 2, 7}), ReadResult::Broken},
        {"no UTC", Changed(KEY_SIZE, 11, {7}), ReadResult::NotOurs},
        {"other key", Changed(13, 1, {9}), ReadResult::NotOurs},
        {"no key", {1, 2, 3, 4, 5, 6, 7, 8}, ReadResult::NotOurs},
    };
    for (const auto &[szCase, Set, enExpected] : Rows)
        EXPECT_EQ(ReadLocalSets(Set).Result(), enExpected) << szCase;
}

TEST(Klv, EverySetOfAPacketIsRead) {
    const Buffer Other = Changed(13, 1, {9});
    const Buffer Eg0104 = Changed(4, 12, {2, 1, 1, 1, 14, 1, 1, 2, 1, 1, 0, 0});
    Buffer Bad = BuildLocalSet(1);
    Buffer Packet = {0, 7, 0xDF, 0, 34}; // the header of a cell
    Bad.back() ^= 1;
    for (const Buffer &Part : {BuildLocalSet(UTC), Bad, Other, Eg0104, Buffer{0, 8, 0xDF, 0, 34}, BuildLocalSet(-2)})
        Packet.insert(Packet.end(), Part.begin(), Part.end());
    const auto Read = ReadLocalSets(Packet);
    EXPECT_EQ(Read.UTCs, (std::vector{UTC, std::int64_t{-2}}));
    EXPECT_EQ(Read.Broken.size(), 1u);
    EXPECT_EQ(Read.nEg0104, 1u);
}

TEST(Klv, NoTimeIsReadFromADamagedSet) {
    const Buffer Good = BuildLocalSet(UTC);
    for (std::size_t nSize = 0; nSize < Good.size(); ++nSize) {
        const auto enExpected = nSize < 4 ? ReadResult::NotOurs : ReadResult::Broken;
        EXPECT_EQ(ReadLocalSets(Bytes(Good).first(nSize)).Result(), enExpected) << "cut to " << nSize;
    }
    for (std::size_t nByte = 0; nByte < Good.size(); ++nByte) {
        for (unsigned nFlip = 1; nFlip < 256; ++nFlip) {
            Buffer Bad = Good;
            Bad[nByte] = static_cast<std::uint8_t>(Bad[nByte] ^ nFlip);
            ASSERT_NE(ReadLocalSets(Bad).Result(), ReadResult::Ok) << "byte " << nByte << " changed by " << nFlip;
        }
    }
}

} // namespace
} // namespace encoder
