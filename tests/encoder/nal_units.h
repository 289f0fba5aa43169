// NAL units as streams hold them.
#ifndef TESTS_ENCODER_NAL_UNITS_H
#define TESTS_ENCODER_NAL_UNITS_H

#include "formats/nal.h"

namespace encoder {

using Buffer = std::vector<std::uint8_t>;

// As libx264 writes it with nal-hrd=vbr, pic-struct=0, but for the emulation prevention.
inline const Buffer SPS_NO_PIC_STRUCT = {0x67, 0x64, 0x00, 0x0B, 0xAC, 0xD9, 0x43, 0x0F, 0xB0, 0x11, 0x00,
                                         0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x3C, 0x0F, 0x14, 0x29, 0x96};

inline Buffer SeiNal(const std::vector<std::pair<std::size_t, Buffer>> &Messages, Buffer Header = {6}) {
    for (const auto &[nPayloadType, Payload] : Messages)
        AppendSeiMessage(Header, nPayloadType, Payload);
    Header.push_back(0x80);
    return Header;
}

// An access unit of NAL units behind start codes, or behind lengths of that many bytes.
inline Buffer Unit(const std::vector<Buffer> &Nals, int nLengthBytes = 0) {
    Buffer Whole;
    for (const Buffer &Nal : Nals) {
        const Buffer Coded = AddEmulationPrevention(Nal);
        Whole.resize(Whole.size() + static_cast<std::size_t>(nLengthBytes == 0 ? 4 : nLengthBytes));
        Whole.back() = static_cast<std::uint8_t>(nLengthBytes == 0 ? 1 : Coded.size());
        Whole.insert(Whole.end(), Coded.begin(), Coded.end());
    }
    return Whole;
}

} // namespace encoder

#endif
