// Writes the seed corpora into the folder named: one well-formed input of each kind.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "formats/klv.h"
#include "formats/nal.h"
#include "formats/sei_writer.h"

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

// Any bytes are a session of calls.
static std::vector<std::uint8_t> AnyBytes(unsigned nSeed, std::size_t nSize) {
    std::mt19937 Random(nSeed);
    std::vector<std::uint8_t> Bytes(nSize);
    for (std::uint8_t &nByte : Bytes)
        nByte = static_cast<std::uint8_t>(Random());
    return Bytes;
}

int main(int nArguments, char **pszArguments) {
    if (nArguments != 2) {
        std::cerr << "usage: " << pszArguments[0] << " FOLDER\n";
        return 1;
    }
    const std::filesystem::path Folder = pszArguments[1];
    // Parameter sets of x264 with pic_struct and delays, an SEI of each kind, a slice.
    const std::vector<std::uint8_t> Picture = {
        0,    0,    0,    1,    0x67, 0x64, 0x00, 0x15, 0xAC, 0xE8, 0x44, 0xD8, 0x08, 0x80, 0x00, 0x00,
        0x03, 0x00, 0x80, 0x00, 0x00, 0x19, 0x30, 0x10, 0x03, 0x0D, 0x00, 0x0C, 0x35, 0x49, 0x84, 0x01,
        0xF1, 0x42, 0xAA, 0,    0,    0,    1,    0x68, 0xDE, 0x0F, 0xCB, 0,    0,    0,    1,    0x06,
        0x01, 0x03, 0x00, 0x14, 0x0C, 0x80, 0,    0,    0,    1,    0x65, 0x88, 0x84, 0x00, 0x21};
    SeiWriter Writer(false);
    Write(Folder / "formats/access-unit",
          WithKind(0, Writer.Insert(Picture, UtcStamp{0x1F, 1'767'225'600'000'000}, TimecodeLabel{1, 2, 3, 4, true})
                          .AccessUnit));
    Write(Folder / "formats/local-set", WithKind(0, BuildLocalSet(1'767'225'600'000'000)));
    Write(Folder / "formats/label", WithKind(0, TextBytes("01:02:03;04")));
    Write(Folder / "settings/plain", TextBytes("[SYSTEM]\nMISPRevision = 20162\n"));
    Write(Folder / "settings/comments",
          TextBytes("# a\r\n[OTHER]\r\nMISPRevision=1\r\n[SYSTEM] ; b\r\nMISPRevision=-7 # c"));
    for (unsigned nSession = 1; nSession <= 8; ++nSession)
        Write(Folder / "library" / std::to_string(nSession), AnyBytes(nSession, 8192));
    return 0;
}
