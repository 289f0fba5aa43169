// Time stamps and timecode in SEI messages: what is written is read again, and nothing is read from damaged bytes.
#include <gtest/gtest.h>

#include <algorithm>

#include "formats/sei_writer.h"

namespace encoder {
namespace {

using Buffer = std::vector<std::uint8_t>;

constexpr NalFormat ANNEX_B = {};
constexpr std::int64_t UTC = 1700000000000000;

Buffer Sps() {
    return {0x67, 0x42};
}
Buffer Slice() {
    return {0x41, 0x9A, 0, 0, 1, 0x55};
}

Buffer StampPayload(std::int64_t llUTC) {
    const auto Payload = BuildStampPayload({0x1F, llUTC});
    return {Payload.begin(), Payload.end()};
}

Buffer SeiNal(const std::vector<std::pair<std::size_t, Buffer>> &Messages, Buffer Header = {6}) {
    for (const auto &[nPayloadType, Payload] : Messages)
        AppendSeiMessage(Header, nPayloadType, Payload);
    Header.push_back(0x80);
    return Header;
}

// An access unit of NAL units behind start codes, or behind lengths of that many bytes.
Buffer Unit(const std::vector<Buffer> &Nals, int nLengthBytes = 0) {
    Buffer Whole;
    for (const Buffer &Nal : Nals) {
        const Buffer Coded = AddEmulationPrevention(Nal);
        Whole.resize(Whole.size() + static_cast<std::size_t>(nLengthBytes == 0 ? 4 : nLengthBytes));
        Whole.back() = static_cast<std::uint8_t>(nLengthBytes == 0 ? 1 : Coded.size());
        Whole.insert(Whole.end(), Coded.begin(), Coded.end());
    }
    return Whole;
}

TEST(StampSei, ComesBackThroughEmulationPreventionAndEveryNalFormat) {
    for (const std::int64_t llUTC : {INT64_C(0), INT64_C(0x0102030000000003), UTC, INT64_C(-1), INT64_MIN}) {
        for (const int nLengthBytes : {0, 1, 2, 4}) {
            Buffer Payload = StampPayload(llUTC);
            Payload.insert(Payload.end(), {0, 0, 0, 0}); // to be guarded in the unit, and gone from the message
            const auto Read = ReadStamps(Unit({SeiNal({{5, Payload}})}, nLengthBytes), {false, nLengthBytes});
            ASSERT_EQ(Read.Stamps.size(), 1u) << llUTC << ", length bytes " << nLengthBytes;
            EXPECT_EQ(Read.Stamps[0].llUTC, llUTC) << "length bytes " << nLengthBytes;
            EXPECT_EQ(Read.Stamps[0].nStatusByte, 0x1F);
        }
    }
}

TEST(StampSei, TellsForeignAndDamagedMessagesFromTimeStamps) {
    const Buffer Good = StampPayload(UTC);
    const Buffer HevcId = {0xA8, 0x68, 0x7D, 0xD4, 0xD7, 0x59, 0x37, 0x58,
                           0xA5, 0xCE, 0xF0, 0x33, 0x8B, 0x65, 0x45, 0xF1};
    Buffer Hevc = Good;
    Buffer BadSeparator = Good;
    Buffer Foreign = Good;
    std::ranges::copy(HevcId, Hevc.begin());
    BadSeparator[22] = 0xFE;
    Foreign[15] = 'X';
    const std::tuple<const Buffer &, bool, ReadResult> rows[] = {
        {Good, false, ReadResult::Ok},         {Hevc, true, ReadResult::Ok},
        {Good, true, ReadResult::NotOurs},     {Hevc, false, ReadResult::NotOurs},
        {Foreign, false, ReadResult::NotOurs}, {BadSeparator, false, ReadResult::Broken}};
    for (const auto &[Payload, bHevc, enExpected] : rows) {
        const Buffer Header = bHevc ? Buffer{39 << 1, 1} : Buffer{6};
        const auto Read = ReadStamps(Unit({SeiNal({{5, Payload}}, Header)}), {bHevc, 0});
        const auto enOther = Read.Broken.size() == 1 ? ReadResult::Broken : ReadResult::NotOurs;
        EXPECT_EQ(Read.Stamps.empty() ? enOther : ReadResult::Ok, enExpected)
            << "HEVC " << bHevc << ' ' << testing::PrintToString(Payload);
    }
}

TEST(StampSei, NoTimeIsReadFromWhatIsCutShort) {
    const Buffer Payload = StampPayload(UTC);
    const Buffer Nal = SeiNal({{5, Payload}});
    for (std::size_t nSize = 0; nSize < Payload.size(); ++nSize) {
        const auto enExpected = nSize < STAMP_ID_SIZE ? ReadResult::NotOurs : ReadResult::Broken;
        EXPECT_EQ(ReadStampPayload(Bytes(Payload).first(nSize), false).enResult, enExpected) << nSize;
        // In the message, whose three bytes go before, its size still tells of the bytes that are missing.
        const auto Read = ReadStamps(Unit({Buffer(Nal.begin(), Nal.begin() + 3 + static_cast<int>(nSize))}), ANNEX_B);
        EXPECT_TRUE(Read.Stamps.empty() && Read.Broken.size() == 1) << nSize;
    }
}

TEST(StampUserData, IsReadFromAnMpeg2Picture) {
    Buffer Good = {0xB2};
    std::ranges::copy(StampPayload(UTC), std::back_inserter(Good));
    Buffer Foreign = Good;
    Foreign[1] = 'X';
    const Buffer Short(Good.begin(), Good.end() - 2); // one zero is still before the next start code
    const Buffer Header = {0x00, 0x00, 0x0F, 0xFF, 0xF8};
    const auto Read = ReadUserDataStamps(Unit({Header, Foreign, Short, Good, Buffer{0x01, 0x13, 0xF8}}));
    ASSERT_EQ(Read.Stamps.size(), 1u);
    EXPECT_EQ(Read.Stamps[0].llUTC, UTC);
    EXPECT_EQ(Read.Broken.size(), 1u);
}

TEST(Nal, LengthsComeFromTheExtradataAndAreChecked) {
    const Buffer AnnexB = {0, 0, 0, 1, 0x67, 1};
    const Buffer Avcc = {1, 0x64, 0, 0x1F, 0xFD, 0xE1};
    EXPECT_EQ(NalFormatOf(false, {}).nLengthBytes, 0);
    EXPECT_EQ(NalFormatOf(false, AnnexB).nLengthBytes, 0);
    EXPECT_EQ(NalFormatOf(false, Avcc).nLengthBytes, 2);
    const Buffer TooLong = {0, 2, 0x41, 0x9A, 0, 9, 6, 5, 28};
    NalReader Nals(TooLong, {false, 2});
    EXPECT_TRUE(Nals.Next()->size() == 2 && !Nals.IsBroken());
    EXPECT_TRUE(Nals.Next()->size() == 3 && Nals.IsBroken());
    EXPECT_FALSE(Nals.Next());
}

TEST(SeiWriter, ReplacesTheTimecodeAndKeepsAllElse) {
    const Buffer UserData(300, 0);
    const Buffer Recovery = {0x84};
    const Buffer Own = {0x34}; // pic_struct 3 has two clock time stamps
    const Buffer Timed = {0x3B, 0x25, 0x02, 0x00, 0x10, 0x00, 0x00, 0x00, 0x20};
    const Buffer Expected = Unit({Sps(), SeiNal({{5, UserData}, {6, Recovery}}),
                                  SeiNal({{1, Timed}, {5, StampPayload(256)}}), Slice(), Slice()});
    const Buffer Picture = Unit({Sps(), SeiNal({{5, UserData}, {1, Own}, {6, Recovery}}), Slice(), Slice()});
    EXPECT_EQ(InsertSei(Picture, UtcStamp{0x1F, 256}, TimecodeLabel{0, 1, 0, 2, true}), Expected);
    EXPECT_EQ(InsertSei(Picture, {}, {}), Picture);
    EXPECT_EQ(InsertSei(Unit({Sps()}), UtcStamp{}, TimecodeLabel{}), Unit({Sps()})) << "no slice";

    const Buffer Added = {0x09, 0x04, 0x3B, 0xEB, 0xBB, 0x80, 0x00, 0x00, 0x40};
    const auto Inserted = [](const TimecodeLabel &Label) { return InsertSei(Unit({Slice()}), {}, Label); };
    EXPECT_EQ(Inserted({23, 59, 58, 59, false}), Unit({SeiNal({{1, Added}}), Slice()}));
    const Buffer DropsFour = {0x09, 0x35, 0x3B, 0xEB, 0xBB, 0x80, 0x00, 0x00, 0x40}; // no counting type has four
    EXPECT_EQ(InsertSei(Unit({Slice()}), {}, TimecodeLabel{23, 59, 58, 59, true}, 4),
              Unit({SeiNal({{1, DropsFour}}), Slice()}));
    for (const TimecodeLabel &Label : {TimecodeLabel{24, 0, 0, 0}, {0, -1, 0, 0}, {0, 0, 0, 256}})
        EXPECT_EQ(Inserted(Label), Unit({Slice()})) << ToText(Label);
}

} // namespace
} // namespace encoder
