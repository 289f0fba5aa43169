// The search for the record of a source that belongs to a picture's PTS, with the caller's record cursor.
#pragma once

#include <pthread.h>

#include "timecode.h"

namespace timecode {

// Copies the record of enDesiredTCSource nearest to the picture into *pUTC; with a cursor in *ppRecordAddress, the
// record there, whatever its distance. The cursor moves to the next newer record of the source, and *pbSameTSRecord
// says whether that one lies exactly as far from the picture. Returns FALSE when nothing was copied. pbSameTSRecord
// and ppRecordAddress may be null; the list is enInputInterface's own. Takes the input's
// mutex, which the caller may hold already.
BOOL _FindPTSMatchForSource(FLIST_D *pUTCList, pthread_mutex_t *pUTCListMutex, UINT64 CodedPicturePTS64,
                            int enDesiredTCSource, MISP_UTC *pUTC, BOOL *pbSameTSRecord, void **ppRecordAddress,
                            int enInputInterface);

} // namespace timecode
