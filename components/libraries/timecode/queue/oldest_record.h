// Taking the record written longest ago off the tail of an input's list.
#ifndef TIMECODE_QUEUE_OLDEST_RECORD_H
#define TIMECODE_QUEUE_OLDEST_RECORD_H

#include "timecode.h"

namespace timecode {

// The record, to be written and linked again at the head; null only when the list has been damaged. The caller holds
// the list's mutex.
inline MISP_UTC *UnlinkOldestRecord(FLIST_D &UTCList) {
    MISP_UTC *const pRecord = UTCList.pTail == nullptr ? nullptr : static_cast<MISP_UTC *>(UTCList.pTail->pvObject);
    FastUnlinkD(pRecord == nullptr ? nullptr : &pRecord->DNode);
    return pRecord;
}

} // namespace timecode

#endif
