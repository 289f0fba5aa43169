// The search for the record of a source that belongs to a picture's PTS, with the caller's record cursor.
#ifndef TIMECODE_QUEUE_PTS_MATCH_H
#define TIMECODE_QUEUE_PTS_MATCH_H

#include <pthread.h>

#include "timecode.h"

namespace timecode {

// What a search found: a record of the pool, or null.
struct Match {
    const MISP_UTC *pRecord = nullptr;
    bool bSame = false; // the next newer record of the source lies exactly as far from the picture
};

// Finds the record of enDesiredTCSource nearest to the picture; with a cursor in *ppRecordAddress, takes the record
// there, whatever its distance. The cursor moves to the next newer record of the source. ppRecordAddress may be null;
// the list is enInputInterface's own. The caller holds the input's mutex, and the record stays as it is for as long.
Match FindRecord(const FLIST_D &UTCList, UINT64 CodedPicturePTS64, int enDesiredTCSource, void **ppRecordAddress,
                 int enInputInterface);

// The same with a copy of the record in *pUTC. Returns FALSE when nothing was copied. pbSameTSRecord, which tells
// Match.bSame, may be null too. Takes the input's mutex, which the caller may hold already.
BOOL _FindPTSMatchForSource(FLIST_D *pUTCList, pthread_mutex_t *pUTCListMutex, UINT64 CodedPicturePTS64,
                            int enDesiredTCSource, MISP_UTC *pUTC, BOOL *pbSameTSRecord, void **ppRecordAddress,
                            int enInputInterface);

} // namespace timecode

#endif
