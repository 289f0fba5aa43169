// Timecode in SEI messages, whose place depends on the parameter set before them.
#include <bitset>
#include <gtest/gtest.h>

#include "formats/timecode_sei.h"

namespace encoder {
namespace {

using Buffer = std::vector<std::uint8_t>;

// As libx264 writes it with nal-hrd=vbr, pic-struct=1.
const Buffer SPS_HRD = {0x67, 0x64, 0x00, 0x14, 0xAC, 0xD9, 0x43, 0x0F, 0xB0, 0x11, 0x00, 0x00,
                        0x03, 0x00, 0x01, 0x00, 0x00, 0x03, 0x00, 0x3C, 0x60, 0x40, 0x00, 0xF4,
                        0x24, 0x00, 0x1E, 0x84, 0xA4, 0xC3, 0x00, 0xF8, 0xA1, 0x4C, 0xB0};
// ... with all of the VUI, in 4:2:2, with a constant rate.
const Buffer SPS_FULL_VUI = {0x67, 0x7A, 0x00, 0x0B, 0xBC, 0xD9, 0x43, 0x0F, 0xB0, 0x1A, 0x90, 0x10, 0x10,
                             0x14, 0x00, 0x00, 0x03, 0x00, 0x04, 0x00, 0x00, 0x03, 0x00, 0xF1, 0x81, 0x00,
                             0x07, 0xA1, 0x00, 0x01, 0xE8, 0x4E, 0x6C, 0x30, 0x0F, 0x8A, 0x14, 0xCB};
// ... interlaced in 4:4:4.
const Buffer SPS_INTERLACED = {0x67, 0xF4, 0x00, 0x15, 0x91, 0x9B, 0x28, 0x61, 0x1F, 0x89, 0xC0, 0x44, 0x00,
                               0x00, 0x03, 0x00, 0x04, 0x00, 0x00, 0x03, 0x00, 0xF0, 0x7C, 0x50, 0xA6, 0x58};
// ... with pic-struct=0.
const Buffer SPS_NO_PIC_STRUCT = {0x67, 0x64, 0x00, 0x0B, 0xAC, 0xD9, 0x43, 0x0F, 0xB0, 0x11, 0x00, 0x00,
                                  0x03, 0x00, 0x01, 0x00, 0x00, 0x03, 0x00, 0x3C, 0x0F, 0x14, 0x29, 0x96};

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
        {.szCase = "HRD", .Sps = SPS_HRD, .Expected = {true, true, 13, 7, 0, true}},
        {.szCase = "full VUI", .Sps = SPS_FULL_VUI, .Expected = {true, true, 13, 7, 0, true}},
        {.szCase = "interlaced", .Sps = SPS_INTERLACED, .Expected = {.bPicStruct = true, .bFramesOnly = false}},
        {.szCase = "scaling lists", .Sps = SPS_LISTS, .Expected = {.bPicStruct = true}},
        {.szCase = "no pic_struct", .Sps = SPS_NO_PIC_STRUCT, .Expected = {}},
    };
    for (const auto &[szCase, Sps, Expected] : Rows) {
        H264Headers Headers;
        Headers.Read(Bytes(Sps).first(7));
        EXPECT_FALSE(Headers.Latest()) << szCase << ", cut short";
        Headers.Read(Sps);
        EXPECT_EQ(Headers.Latest(), Expected) << szCase;
    }
}

Buffer Unit(const std::vector<Buffer> &Nals) {
    Buffer Whole;
    for (const Buffer &Nal : Nals) {
        Whole.insert(Whole.end(), {0, 0, 1});
        Whole.insert(Whole.end(), Nal.begin(), Nal.end());
    }
    return Whole;
}

Buffer Sei(std::size_t nType, const std::string &szBits, Buffer Header) {
    AppendSeiMessage(Header, nType, FromBits(szBits));
    Header.push_back(0x80);
    return AddEmulationPrevention(Header);
}

TEST(TimecodeSei, LabelIsFoundBehindWhateverGoesBeforeIt) {
    const std::string TIME = "00010001 000011 000010 00001"; // frame 17 of 01:02:03
    const std::string DELAYS(20, '1');
    const struct {
        const char *szCase;
        const Buffer &Sps; // empty: HEVC
        std::string szBits;
        const char *szExpected; // empty: no label
    } Rows[] = {
        {.szCase = "behind delays",
         .Sps = SPS_HRD,
         .szBits = DELAYS + "0000 1 000 00000 100" + TIME,
         .szExpected = "01:02:03:17"},
        {.szCase = "drop frame",
         .Sps = SPS_LISTS,
         .szBits = "0000 1 001 00100 101" + TIME,
         .szExpected = "01:02:03;17"},
        {.szCase = "second field",
         .Sps = SPS_INTERLACED,
         .szBits = "0011 0 1 010 00000 100" + TIME,
         .szExpected = "01:02:03:17"},
        {.szCase = "part by part",
         .Sps = SPS_INTERLACED,
         .szBits = "0000 1 000 00000 000 00010001 1 000011 1 000010 1 00001",
         .szExpected = "01:02:03:17"},
        {.szCase = "no hours",
         .Sps = SPS_INTERLACED,
         .szBits = "0000 1 000 00000 000 00010001 1 000011 1 000010 0",
         .szExpected = ""},
        {.szCase = "no clock", .Sps = SPS_INTERLACED, .szBits = "0000 0", .szExpected = ""},
        {.szCase = "cut short", .Sps = SPS_INTERLACED, .szBits = "0000 1 000 00000 100 0001", .szExpected = ""},
        {.szCase = "reserved pic_struct",
         .Sps = SPS_INTERLACED,
         .szBits = "1111 1 000 00000 100" + TIME,
         .szExpected = ""},
        {.szCase = "no room for it",
         .Sps = SPS_NO_PIC_STRUCT,
         .szBits = "0000 1 000 00000 100" + TIME,
         .szExpected = ""},
        {.szCase = "HEVC", .Sps = {}, .szBits = "01 1 0 00000 100 0" + TIME, .szExpected = "01:02:03:17"},
        {.szCase = "HEVC without any", .Sps = {}, .szBits = "00", .szExpected = ""},
    };
    for (const auto &Row : Rows) {
        const bool bHevc = Row.Sps.empty();
        const Buffer Message = bHevc ? Sei(136, Row.szBits, {39 << 1, 1}) : Sei(1, Row.szBits, {6});
        TimecodeSeiReader Reader({bHevc, 0}, Unit({Row.Sps}));
        const auto Label = Reader.Read(Unit({Message, {bHevc ? std::uint8_t{2} : std::uint8_t{0x41}, 1}}));
        EXPECT_EQ(Label ? ToText(*Label) : "", Row.szExpected) << Row.szCase;
    }
}

TEST(TimecodeSei, ParameterSetIsTakenFromAConfigurationRecordAndFromTheStream) {
    const std::string szBits = "0000 1 000 00000 100 00010001 000011 000010 00001";
    Buffer Record = {1, 0x64, 0, 0x14, 0xFF, 0xE1, 0, static_cast<std::uint8_t>(SPS_LISTS.size())};
    Record.insert(Record.end(), SPS_LISTS.begin(), SPS_LISTS.end());
    Buffer Prefixed = Sei(1, szBits, {6});
    Prefixed.insert(Prefixed.begin(), {0, 0, 0, static_cast<std::uint8_t>(Prefixed.size())});
    EXPECT_TRUE(TimecodeSeiReader({false, 4}, Record).Read(Prefixed));
    EXPECT_FALSE(TimecodeSeiReader({false, 4}, Bytes(Record).first(10)).Read(Prefixed));
    EXPECT_TRUE(TimecodeSeiReader({}, {}).Read(Unit({SPS_LISTS, Sei(1, szBits, {6})})));
    EXPECT_FALSE(TimecodeSeiReader({}, {}).Read(Unit({Sei(1, szBits, {6})})));
}

} // namespace
} // namespace encoder
