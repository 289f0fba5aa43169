// What a reader makes of bytes that come from outside.
// Every reader takes any bytes: it never reads past them and never trusts a length in them.
#ifndef ENCODER_FORMATS_RESULT_H
#define ENCODER_FORMATS_RESULT_H

#include <cstdint>
#include <span>

namespace encoder {

using Bytes = std::span<const std::uint8_t>;

enum class ReadResult {
    Ok,      // whole and well formed; its values may be used
    NotOurs, // something else that may lie in the same place; not an error
    Broken   // meant for this reader, but cut short or wrong; nothing of it may be used
};

} // namespace encoder

#endif
