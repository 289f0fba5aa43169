// Timecode in SEI messages, whose place depends on the parameter set before them.
#include <bitset>
#include <gtest/gtest.h>

#include "formats/timecode_sei.h"
#include "nal_units.h"

namespace encoder {
namespace {

// As libx264 writes it with pic-struct=1, but for the emulation prevention: with all of the VUI and an HRD, in 4:2:2.
const Buffer SPS_FULL_VUI = {0x67, 0x7A, 0x00, 0x0B, 0xBC, 0xD9, 0x43, 0x0F, 0xB0, 0x1A, 0x90, 0x10,
                             0x10, 0x14, 0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0xF1, 0x81, 0x00,
                             0x07, 0xA1, 0x00, 0x01, 0xE8, 0x4E, 0x6C, 0x30, 0x0F, 0x8A, 0x14, 0xCB};
// ... interlaced in 4:4:4.
const Buffer SPS_INTERLACED = {0x67, 0xF4, 0x00, 0x15, 0x91, 0x9B, 0x28, 0x61, 0x1F, 0x89, 0xC0, 0x44,
                               0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0xF0, 0x7C, 0x50, 0xA6, 0x58};

// Blanks are there for the reader; the last byte is filled with zeros.
Buffer FromBits(std::string szBits, Buffer Out = {}) {
    std::erase(szBits, ' ');
    szBits.resize((szBits.size() + 7) / 8 * 8, '0');
    for (std::size_t n = 0; n < szBits.size(); n += 8)
        Out.push_back(static_cast<std::uint8_t>(std::bitset<8>(szBits, n, 8).to_ulong()));
    return Out;
}

// Two scaling lists, one of which ends at once, and picture order counts of type 1.
const Buffer SPS_LISTS = FromBits("01100100 00000000 00010100 1 010 1 1 0 1 1" + std::string(16, '1') +
                                      "1 000010001 000000 1 010 0 1 1 011 010 011 1 0 1 1 1 1 0 1 00000 00 1 0 1",
                                  {0x67});

TEST(TimecodeSei, LayoutIsReadFromEveryKindOfParameterSet) {
    const struct {
        const char *szCase;
        const Buffer &Sps;
        PicTimingFormat Expected;
    } Rows[] = {
        {.szCase = "full VUI", .Sps = SPS_FULL_VUI, .Expected = {true, true, 13, 7, 0, true}},
        {.szCase = "interlaced", .Sps = SPS_INTERLACED, .Expected = {.bPicStruct = true, .bFramesOnly = false}},
        {.szCase = "scaling lists", .Sps = SPS_LISTS, .Expected = {.bPicStruct = true}},
        {.szCase = "no pic_struct", .Sps = SPS_NO_PIC_STRUCT, .Expected = {}},
    };
    for (const auto &[szCase, Sps, Expected] : Rows) {
        H264Headers Headers;
        Headers.Read(Bytes(Sps).first(7));
        EXPECT_FALSE(Headers.Latest()) << szCase << ", cut short";
        Headers.Read(AddEmulationPrevention(Sps));
        EXPECT_EQ(Headers.Latest(), Expected) << szCase;
    }
}

TEST(TimecodeSei, LabelIsFoundBehindWhateverGoesBeforeIt) {
    const std::string TIME = "00010001 000011 000010 00001"; // frame 17 of 01:02:03
    const std::string DELAYS(20, '1');
    const Buffer HEVC; // needs none
    const struct {
        const char *szCase;
        std::string szBits;
        const char *szLabel = "01:02:03:17"; // empty for none
        const Buffer &Sps = SPS_INTERLACED;
    } Rows[] = {
        {.szCase = "behind delays", .szBits = DELAYS + "0000 1 000 00000 100" + TIME, .Sps = SPS_FULL_VUI},
        {.szCase = "drop frame", .szBits = "0000 1 001 00100 101" + TIME, .szLabel = "01:02:03;17", .Sps = SPS_LISTS},
        {.szCase = "second field", .szBits = "0011 0 1 010 00000 100" + TIME},
        {.szCase = "part by part", .szBits = "0000 1 000 00000 000 00010001 1 000011 1 000010 1 00001"},
        {.szCase = "no hours", .szBits = "0000 1 000 00000 000 00010001 1 000011 1 000010 0", .szLabel = ""},
        {.szCase = "no clock", .szBits = "0000 0", .szLabel = ""},
        {.szCase = "cut short", .szBits = "0000 1 000 00000 100 0001", .szLabel = ""},
        {.szCase = "reserved pic_struct", .szBits = "1111 1 000 00000 100" + TIME, .szLabel = ""},
        {.szCase = "no room", .szBits = "0000 1 000 00000 100" + TIME, .szLabel = "", .Sps = SPS_NO_PIC_STRUCT},
        {.szCase = "HEVC", .szBits = "01 1 0 00000 100 0" + TIME, .Sps = HEVC},
        {.szCase = "HEVC without any", .szBits = "00", .szLabel = "", .Sps = HEVC},
    };
    for (const auto &Row : Rows) {
        const bool bHevc = Row.Sps.empty();
        const Buffer Message =
            bHevc ? SeiNal({{136, FromBits(Row.szBits)}}, {39 << 1, 1}) : SeiNal({{1, FromBits(Row.szBits)}});
        TimecodeSeiReader Reader({bHevc, 0}, Unit({Row.Sps}));
        const auto Label = Reader.Read(Unit({Message, {bHevc ? std::uint8_t{2} : std::uint8_t{0x41}, 1}}));
        EXPECT_EQ(Label ? ToText(*Label) : "", Row.szLabel) << Row.szCase;
    }
}

TEST(TimecodeSei, ParameterSetIsTakenFromAConfigurationRecordAndFromTheStream) {
    const Buffer Message = SeiNal({{1, FromBits("0000 1 000 00000 100 00010001 000011 000010 00001")}});
    Buffer Record = {1, 0x64, 0, 0x14, 0xFF, 0xE1, 0, static_cast<std::uint8_t>(SPS_LISTS.size())};
    Record.insert(Record.end(), SPS_LISTS.begin(), SPS_LISTS.end());
    EXPECT_TRUE(TimecodeSeiReader({false, 4}, Record).Read(Unit({Message}, 4)));
    EXPECT_FALSE(TimecodeSeiReader({false, 4}, Bytes(Record).first(10)).Read(Unit({Message}, 4)));
    EXPECT_TRUE(TimecodeSeiReader({}, {}).Read(Unit({SPS_LISTS, Message})));
    EXPECT_FALSE(TimecodeSeiReader({}, {}).Read(Unit({Message})));
}

} // namespace
} // namespace encoder
