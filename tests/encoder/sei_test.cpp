// Time stamps and timecode in SEI messages: what is written is read again, and nothing is read from damaged bytes.
#include <gtest/gtest.h>

#include "formats/sei_writer.h"
#include "nal_units.h"

namespace encoder {
namespace {

constexpr std::int64_t UTC = 1700000000000000;

const Buffer SLICE = {0x41, 0x9A, 0, 0, 1, 0x55};

Buffer StampPayload(std::int64_t llUTC, bool bHevc = false) {
    const auto Payload = BuildStampPayload({0x1F, llUTC}, bHevc);
    return {Payload.begin(), Payload.end()};
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
    const Buffer Hevc = StampPayload(UTC, true);
    Buffer BadSeparator = Good;
    Buffer Foreign = Good;
    BadSeparator[22] = 0xFE;
    Foreign[15] = 'X';
    const std::tuple<const Buffer &, bool, ReadResult> Rows[] = {
        {Good, false, ReadResult::Ok},         {Hevc, true, ReadResult::Ok},
        {Good, true, ReadResult::NotOurs},     {Hevc, false, ReadResult::NotOurs},
        {Foreign, false, ReadResult::NotOurs}, {BadSeparator, false, ReadResult::Broken}};
    for (const auto &[Payload, bHevc, enExpected] : Rows) {
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
        const auto Read = ReadStamps(Unit({Buffer(Nal.begin(), Nal.begin() + 3 + static_cast<int>(nSize))}), {});
        EXPECT_TRUE(Read.Stamps.empty() && Read.Broken.size() == 1) << nSize;
    }
}

TEST(StampUserData, IsReadFromAnMpeg2Picture) {
    Buffer Good = StampPayload(UTC);
    Good.insert(Good.begin(), 0xB2);
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
    EXPECT_EQ(NalFormatOf(false, {}).nLengthBytes, 0);
    EXPECT_EQ(NalFormatOf(false, Buffer{0, 0, 0, 1, 0x67, 1}).nLengthBytes, 0);
    EXPECT_EQ(NalFormatOf(false, Buffer{1, 0x64, 0, 0x1F, 0xFD, 0xE1}).nLengthBytes, 2);
    const Buffer TooLong = {0, 2, 0x41, 0x9A, 0, 9, 6, 5, 28};
    NalReader Nals(TooLong, {false, 2});
    EXPECT_TRUE(Nals.Next()->size() == 2 && !Nals.IsBroken());
    EXPECT_TRUE(Nals.Next()->size() == 3 && Nals.IsBroken());
    EXPECT_FALSE(Nals.Next());
}

// Parameter sets as x264 writes them.
struct Headers {
    const char *szWhat;
    Buffer Sequence;
    Buffer Picture = {0x68, 0xCE, 0x0F, 0xCB};
};
const Headers FRAMES = {"frames with pic_struct", {0x67, 0x64, 0x00, 0x09, 0xAC, 0xB4, 0x21, 0x36, 0x02, 0x20, 0x00,
                                                   0x00, 0x00, 0x20, 0x00, 0x00, 0x06, 0x43, 0xE2, 0x44, 0xD4}};
const Headers BARE = {"no pic_struct", SPS_NO_PIC_STRUCT};
const Headers FIELDS = {"fields, delays",
                        {0x67, 0x64, 0x00, 0x15, 0xAC, 0xE8, 0x44, 0xD8, 0x08, 0x80, 0x00, 0x00, 0x00, 0x80, 0x00,
                         0x00, 0x19, 0x30, 0x10, 0x03, 0x0D, 0x00, 0x0C, 0x35, 0x49, 0x84, 0x01, 0xF1, 0x42, 0xAA},
                        {0x68, 0xDE, 0x0F, 0xCB}};

TEST(SeiWriter, WritesTheTimecodeAsTheHeadersWantIt) {
    struct Row {
        const Headers &Sets;
        Buffer Old;     // the encoder's own pic_timing; empty for none
        Buffer Written; // empty where there is no place for a timecode
    } const Rows[] = {
        {.Sets = FRAMES, .Old = {0x04}, .Written = {0x09, 0x04, 0x18, 0xEB, 0xBB, 0x80, 0x00, 0x00, 0x40}},
        {.Sets = FRAMES, .Old = {}, .Written = {0x09, 0x04, 0x18, 0xEB, 0xBB, 0x80, 0x00, 0x00, 0x40}},
        {.Sets = BARE, .Old = {}, .Written = {}},
        // 18 bits of delays, pic_struct 3, a clock time stamp for each field
        {.Sets = FIELDS,
         .Old = {0x00, 0x14, 0x0C},
         .Written = {0x00, 0x14, 0x0E, 0xC1, 0x06, 0x3A, 0xEE, 0xF6, 0x08, 0x31, 0xD7, 0x77}},
        {.Sets = FIELDS, .Old = {}, .Written = {}},
    };
    for (const Row &Case : Rows) {
        const Buffer Other = SeiNal({{6, {0x84}}});
        std::vector<Buffer> Before = {Case.Sets.Sequence, Case.Sets.Picture, Other, SLICE};
        std::vector<Buffer> After = Before;
        if (!Case.Old.empty())
            Before.insert(Before.begin() + 2, SeiNal({{1, Case.Old}}));
        if (!Case.Written.empty())
            After.insert(After.begin() + 3, SeiNal({{1, Case.Written}}));
        SeiWriter Writer(false);
        const auto Result = Writer.Insert(Unit(Before), {}, TimecodeLabel{23, 59, 58, 24, false});
        EXPECT_EQ(Result.AccessUnit, Unit(After)) << Case.Sets.szWhat << ", own bytes " << Case.Old.size();
        EXPECT_EQ(Result.bTimecode, !Case.Written.empty());
    }
}

TEST(SeiWriter, ReplacesItsOwnKindsAndKeepsAllElse) {
    const Buffer UserData(300, 0);
    const TimecodeLabel Label = {0, 1, 0, 2, true};
    const Buffer HevcSlice = {0x02, 0x03, 0x55};
    const Buffer HevcPrefix = {39 << 1, 3}; // in the slice's layer of time
    struct Row {
        bool bHevc;
        Buffer Slice;
        Buffer Header;
        std::size_t nKind; // of the timecode's message
        Buffer Timecode;
        unsigned nDropped = 2;
    } const Rows[] = {
        {false, SLICE, {6}, 1, {0x09, 0x25, 0x02, 0x00, 0x10, 0x00, 0x00, 0x00, 0x40}},
        {false, SLICE, {6}, 1, {0x09, 0x35, 0x02, 0x00, 0x10, 0x00, 0x00, 0x00, 0x40}, 4}, // no type has four
        {true, HevcSlice, HevcPrefix, 136, {0x62, 0x50, 0x10, 0x00, 0x80, 0x10}},
    };
    for (const Row &Case : Rows) {
        SeiWriter Writer(Case.bHevc, Case.nDropped);
        Writer.ReadHeaders(Unit({FRAMES.Sequence, FRAMES.Picture}));
        const auto Sei = [&](const auto &Messages) { return SeiNal(Messages, Case.Header); };
        using Messages = std::vector<std::pair<std::size_t, Buffer>>;
        const Buffer Picture = Unit({Sei(Messages{{5, UserData}, {Case.nKind, {0x04}}, {6, {0x84}}}),
                                     Sei(Messages{{5, StampPayload(1, Case.bHevc)}}), Case.Slice, Case.Slice});
        const Buffer Expected = Unit({Sei(Messages{{5, UserData}, {6, {0x84}}}),
                                      Sei(Messages{{Case.nKind, Case.Timecode}, {5, StampPayload(256, Case.bHevc)}}),
                                      Case.Slice, Case.Slice});
        EXPECT_EQ(Writer.Insert(Picture, UtcStamp{0x1F, 256}, Label).AccessUnit, Expected) << "HEVC " << Case.bHevc;
        EXPECT_EQ(Writer.Insert(Picture, {}, {}).AccessUnit, Picture) << "HEVC " << Case.bHevc;
        for (const TimecodeLabel &Wrong : {TimecodeLabel{24, 0, 0, 0}, {0, -1, 0, 0}, {0, 0, 0, 512}})
            EXPECT_EQ(Writer.Insert(Unit({Case.Slice}), {}, Wrong).AccessUnit, Unit({Case.Slice})) << ToText(Wrong);
        EXPECT_EQ(Writer.Insert(Unit({Case.Header}), UtcStamp{}, {}).AccessUnit, Unit({Case.Header})) << "no slice";
    }
}

TEST(SeiWriter, PassesAnSeiUnitOnThatEndsInsideItsHeader) {
    const Buffer Picture = Unit({{39 << 1}, {0x02, 0x03, 0x55}});
    EXPECT_EQ(SeiWriter(true).Insert(Picture, {}, {}).AccessUnit, Picture);
    EXPECT_EQ(ReadStamps(SeiWriter(true).Insert(Picture, UtcStamp{0x1F, UTC}, {}).AccessUnit, {true, 0}).Stamps.size(),
              1u);
}

} // namespace
} // namespace encoder
