#include "model/calls.h"

#include "model/demand.h"

namespace model {

Written GetUtc(const Request &Asked, void *pCursor) {
    Marked<MISP_UTC> Utc;
    Marked<vitc_t> Label;
    Marked<BOOL> bSame;
    int enSource = Asked.enSource;
    const auto IsNull = [&Asked](Null enNull) { return Asked.enNull == enNull; };
    const BOOL bResult = Timecode_GetUTC(Asked.nInput, IsNull(Null::Source) ? nullptr : &enSource, Asked.bSwitch,
                                         Asked.nRate, Asked.nCode, Asked.nPTS, Asked.nBasePTS, Asked.llBaseUTC,
                                         Utc.Unless(IsNull(Null::Utc)), Label.Unless(IsNull(Null::Timecode)),
                                         bSame.Unless(IsNull(Null::Same)), IsNull(Null::Cursor) ? nullptr : &pCursor);
    Demand(enSource == Asked.enSource, "a request leaves the configured source alone");
    return {bResult, Utc.Written(), Label.Written(), bSame.Written(), pCursor};
}

Written GetSystemUtc(const Request &Asked) {
    Marked<MISP_UTC> Utc;
    Marked<vitc_t> Label;
    const BOOL bResult =
        Timecode_GetSystemUTC(Asked.nRate, Asked.nCode, Asked.nPTS, Asked.nBasePTS, Asked.llBaseUTC,
                              Utc.Unless(Asked.enNull == Null::Utc), Label.Unless(Asked.enNull == Null::Timecode));
    return {.bResult = bResult, .Utc = Utc.Written(), .Label = Label.Written()};
}

} // namespace model
