// Writes the seed corpora into the folder named: one well-formed input of each kind.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "calls.h"
#include "formats/klv.h"
#include "formats/nal.h"
#include "formats/sei_writer.h"
#include "timecode.h"

using namespace encoder;

static void Write(const std::filesystem::path &File, const std::vector<std::uint8_t> &Content) {
    std::error_code Ignored; // a folder that is missing shows when the file is opened
    std::filesystem::create_directories(File.parent_path(), Ignored);
    std::ofstream Out(File, std::ios::binary);
    Out.write(reinterpret_cast<const char *>(Content.data()), static_cast<std::streamsize>(Content.size()));
    if (!Out.flush()) {
        std::cerr << "cannot write " << File << '\n';
        std::exit(1); // NOLINT(concurrency-mt-unsafe): the only thread
    }
}

static std::vector<std::uint8_t> WithKind(std::uint8_t nKind, std::vector<std::uint8_t> Content) {
    Content.insert(Content.begin(), nKind);
    return Content;
}

static std::vector<std::uint8_t> TextBytes(const std::string &szText) {
    return {szText.begin(), szText.end()};
}

// Pictures of all sources with their time stamps and a moving clock, then every other call; of a silent input only the
// first picture has time stamps, so that its sources fail over.
static std::vector<std::uint8_t> Calls(std::uint8_t nRevision, bool bSilent) {
    using fuzz::Call;
    std::vector<std::uint8_t> Bytes;
    const auto Add = [&Bytes](Call enCall, const std::vector<std::uint8_t> &Arguments, std::size_t nPadding = 0) {
        Bytes.push_back(static_cast<std::uint8_t>(enCall));
        Bytes.insert(Bytes.end(), Arguments.begin(), Arguments.end());
        Bytes.resize(Bytes.size() + nPadding);
    };
    constexpr std::uint8_t INPUT = 0;
    constexpr std::uint8_t RATE = 2;      // 30
    constexpr std::uint8_t RATE_CODE = 1; // 29000
    Add(Call::Start, {nRevision});
    for (std::uint8_t nPicture = 0; nPicture < 40; ++nPicture) {
        const auto nPts = static_cast<std::uint8_t>(nPicture * 4);
        for (std::uint8_t nSource = 1; nSource <= 3 && (!bSilent || nPicture == 0); ++nSource) {
            std::vector<std::uint8_t> Arguments = {INPUT, nSource, nPts};
            Arguments.resize(Arguments.size() + sizeof(TCPayload) + 1); // and a byte: the payload is no null
            Arguments[3] = 0x1F;
            Arguments[11] = nPicture; // within the UTC, and a digit of the timecode
            Add(Call::Queue, Arguments);
        }
        const auto nSource = static_cast<std::uint8_t>(nPicture / 8 % 5);
        const std::uint8_t bSwitch = bSilent ? 1 : 0;
        const std::uint8_t nCursor = bSilent ? 1 : 2; // none, or the one kept
        Add(Call::Retrieve, {INPUT, nSource, bSwitch, RATE, RATE_CODE, nPts, 0, 0, 0, 0, 0, 0, 0, 0, 0, 10, nCursor});
        Add(Call::Clock,
            {static_cast<std::uint8_t>(bSilent ? 6 : 2), 0, 0, nPicture, 0}); // by 4 s, or within the second
    }
    Add(Call::Statistics, {INPUT, 1});
    Add(Call::SwitchCheck, {INPUT, 1, 1, 0});
    Add(Call::SystemTime, {INPUT, 1, 0, RATE, RATE_CODE, 7, 3, 0, 0, 0, 0, 0, 0, 0, 0, 10});
    Add(Call::Convert, {1, 2, 3, 4, 5, 0, 0, 0, RATE, RATE_CODE, 0}, sizeof(vitc_t));
    Add(Call::Generate, {2, RATE, RATE_CODE, 0}, sizeof(vitc_t));
    Bytes.insert(Bytes.end(), {64, 16, 32, 48}); // the PTS of four pictures, B pictures behind the first
    Add(Call::Texts, {2, 20, 1, 2, 3, 4});
    Add(Call::Flush, {INPUT});
    Add(Call::Stop, {});
    return Bytes;
}

int main(int nArguments, char **pszArguments) {
    if (nArguments != 2) {
        std::cerr << "usage: " << pszArguments[0] << " FOLDER\n";
        return 1;
    }
    const std::filesystem::path Folder = pszArguments[1];
    const std::vector<std::uint8_t> Slice = {0, 0, 0, 1, 0x65, 0x88, 0x84, 0x00, 0x21};
    Write(Folder / "formats/access-unit",
          WithKind(0, InsertSei(Slice, UtcStamp{0x1F, 1'767'225'600'000'000}, TimecodeLabel{1, 2, 3, 4, true})));
    Write(Folder / "formats/local-set", WithKind(0, BuildLocalSet(1'767'225'600'000'000)));
    Write(Folder / "formats/label", WithKind(0, TextBytes("01:02:03;04")));
    Write(Folder / "settings/plain", TextBytes("[SYSTEM]\nMISPRevision = 20162\n"));
    Write(Folder / "settings/comments",
          TextBytes("# a\r\n[OTHER]\r\nMISPRevision=1\r\n[SYSTEM] ; b\r\nMISPRevision=-7 # c"));
    for (const std::uint8_t nRevision : {std::uint8_t{0}, std::uint8_t{1}}) // Profile 62, 2016.2
        for (const bool bSilent : {false, true})
            Write(Folder / "library" / ((nRevision == 0 ? "62-" : "20162-") + std::string(bSilent ? "silent" : "fed")),
                  Calls(nRevision, bSilent));
    return 0;
}
