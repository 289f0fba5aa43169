// Any bytes as an access unit, a KLV packet and a timecode text. What is read must survive being written again.
#include <algorithm>
#include <array>
#include <string_view>

#include "formats/klv.h"
#include "formats/sei_writer.h"
#include "formats/stamp_sei.h"
#include "formats/timecode_sei.h"
#include "formats/vitc.h"
#include "model/demand.h"

using namespace encoder;

namespace {

void ReadAccessUnit(Bytes Input, bool bHevc, int nLengthBytes) {
    TimecodeSeiReader({bHevc, nLengthBytes}, Input).Read(Input);
    const StampsRead Read = ReadStamps(Input, {bHevc, nLengthBytes});
    for (const UtcStamp &Stamp : Read.Stamps) {
        const auto Payload = BuildStampPayload(Stamp, false);
        const StampReading Again = ReadStampPayload(Payload, false);
        Demand(Again.enResult == ReadResult::Ok && Again.Stamp.llUTC == Stamp.llUTC &&
                   Again.Stamp.nStatusByte == Stamp.nStatusByte,
               "a time stamp reads back as it was written");
    }
}

// The written time stamp can be read, whatever the access unit holds, and writing it again changes nothing.
void WriteAccessUnit(Bytes Any, bool bHevc) {
    constexpr std::array<std::uint8_t, 9> SLICE = {0, 0, 0, 1, 0x65, 0x88, 0x84, 0x00, 0x21};
    std::vector<std::uint8_t> Input(Any.begin(), Any.end());
    Input.insert(Input.end(), SLICE.begin(), SLICE.end());
    if (bHevc)
        Input[Input.size() - 5] = 0x02;
    const UtcStamp Stamp{0x1F, 0x0000010000020003};
    const TimecodeLabel Label{10, 20, 30, 5, false};
    SeiWriter Writer(bHevc);
    const std::vector<std::uint8_t> Output = Writer.Insert(Input, Stamp, Label).AccessUnit;
    const StampsRead Read = ReadStamps(Output, {bHevc, 0});
    Demand(std::ranges::any_of(Read.Stamps, [&](const UtcStamp &Found) { return Found.llUTC == Stamp.llUTC; }),
           "the written time stamp can be read");
    Demand(Writer.Insert(Output, Stamp, Label).AccessUnit == Output, "writing again replaces what was written");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *pBytes, std::size_t nSize) {
    if (nSize < 1)
        return 0;
    const unsigned nKind = pBytes[0];
    const Bytes Input(pBytes + 1, nSize - 1);
    ReadAccessUnit(Input, (nKind & 1) != 0, static_cast<int>(nKind >> 1) % 5);
    WriteAccessUnit(Input, (nKind & 1) != 0);
    for (const std::int64_t llUTC : ReadLocalSets(Input).UTCs) {
        const LocalSetsRead Again = ReadLocalSets(BuildLocalSet(llUTC));
        Demand(Again.UTCs.size() == 1 && Again.UTCs[0] == llUTC, "a local set reads back as it was written");
    }
    const std::string_view szText(reinterpret_cast<const char *>(Input.data()), Input.size());
    TimecodeFilter Filter(30000, 1001);
    if (const auto Label = FromText(szText)) {
        Demand(ToText(*Label) == szText, "a label's text reads back as it was written");
        Filter.Offer(*Label, nSize);
    }
    for (std::size_t nAt = 0; nAt + 12 <= Input.size(); nAt += 12) {
        std::uint32_t nValue = 0;
        std::uint64_t nPTS = 0;
        std::copy_n(Input.begin() + static_cast<std::ptrdiff_t>(nAt), 4, reinterpret_cast<std::uint8_t *>(&nValue));
        std::copy_n(Input.begin() + static_cast<std::ptrdiff_t>(nAt) + 4, 8, reinterpret_cast<std::uint8_t *>(&nPTS));
        const auto Label = FromSmpte12M(nValue, 30);
        if (Label)
            Demand(IsValid(*Label, 30), "a word that is read is a label");
        if (Label)
            Filter.Offer(*Label, nPTS);
    }
    return 0;
}
