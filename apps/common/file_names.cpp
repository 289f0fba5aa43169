#include "common/file_names.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>

namespace encoder {

namespace {

// The file behind a URL of FFmpeg's, which takes what stands behind "file:" as it is.
std::string FileOf(const std::string &szUrl) {
    constexpr std::string_view SCHEME = "file:";
    return szUrl.starts_with(SCHEME) ? szUrl.substr(SCHEME.size()) : szUrl;
}

} // namespace

bool NamesStdin(const std::string &szPath) {
    constexpr std::string_view NAMES[] = {"-", "pipe:", "pipe:0", "/dev/stdin", "/dev/fd/0"};
    return std::ranges::find(NAMES, FileOf(szPath)) != std::end(NAMES);
}

bool NamesStdout(const std::string &szPath) {
    constexpr std::string_view NAMES[] = {"-", "pipe:", "pipe:1", "/dev/stdout", "/dev/fd/1"};
    return std::ranges::find(NAMES, FileOf(szPath)) != std::end(NAMES);
}

bool IsSameFile(const std::string &szFirst, const std::string &szSecond) {
    const std::filesystem::path First = FileOf(szFirst);
    const std::filesystem::path Second = FileOf(szSecond);
    if (First.empty() || Second.empty())
        return false;
    std::error_code Ignored;
    return std::filesystem::equivalent(First, Second, Ignored) ||
           std::filesystem::weakly_canonical(std::filesystem::absolute(First, Ignored), Ignored) ==
               std::filesystem::weakly_canonical(std::filesystem::absolute(Second, Ignored), Ignored);
}

} // namespace encoder
