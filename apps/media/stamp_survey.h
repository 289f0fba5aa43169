// What an input carries: its pictures, and every time stamp beside them with its place.
// Read from packets; pictures are decoded only where VITC lines are looked for.
#ifndef ENCODER_MEDIA_STAMP_SURVEY_H
#define ENCODER_MEDIA_STAMP_SURVEY_H

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "formats/timecode_sei.h"
#include "media/demuxer.h"
#include "media/packets_beside.h"
#include "media/picture_rate.h"
#include "media/timeline.h"
#include "media/video_stamps.h"
#include "media/vitc_finder.h"

namespace encoder {

// Where a picture or a time stamp lies in an input.
struct Place {
    std::int64_t llTime = 0; // running time: ticks from the first picture on, without the steps of the PTS
    std::uint64_t nPTS = 0;  // as the stream carries it, 33 bits
    unsigned nStretch = 0;   // runs of pictures without a step of the PTS, from 0

    auto Order() const { return std::tuple(nStretch, llTime); }
};

enum class Carriage {
    Stamp,       // MISB ST 0604 beside the coded picture
    TimecodeSei, // the timecode of a pic_timing or time_code message
    Vitc,        // lines in the decoded picture
    LocalSet     // KLV local sets of one data stream
};

struct Sighting {
    Place At;
    std::int64_t llUTC = 0;       // microseconds since 1970; none for timecode
    TimecodeLabel Label;          // of timecode only
    std::uint8_t nStatusByte = 0; // of Carriage::Stamp only
};

// A kind of thing that went wrong, and where it did first.
struct Trouble {
    std::uint64_t nTimes = 0;
    std::int64_t llFirstByte = -1;          // position in the input, -1 where it has none
    std::optional<std::int64_t> FirstTicks; // running time
};

struct StampSeries {
    Carriage enCarriage = Carriage::Stamp;
    int nStream = 0;
    std::vector<Sighting> Sightings{};          // in the order of the input, then as the pictures
    std::map<std::string, Trouble> Malformed{}; // by reason
    std::uint64_t nWithoutPTS = 0;              // local sets that took the PTS of the picture behind them
    std::optional<std::int64_t> LookedUntil{};  // running time, where the rest of the input was not looked at
    std::uint64_t nWithoutPlace = 0;            // belong to no picture that has a PTS; not among the sightings
    std::uint64_t nAbsurdWithoutPlace = 0;      // of those, outside the years 1990 to 2099

    void CountWithoutPlace(std::int64_t llUTC);
    std::uint64_t Count() const { return Sightings.size() + nWithoutPlace; }
    std::uint64_t MalformedCount() const;
};

struct Survey {
    std::vector<Place> Pictures; // in coding order, and in display order when the survey is finished
    std::uint64_t nPicturesWithoutPTS = 0;
    std::uint64_t nDamagedPackets = 0;
    std::uint64_t nEg0104 = 0; // local sets of the older standard MISB EG 0104, which are not read
    std::vector<StampSeries> Series;
    std::int64_t llDuration = 0; // ticks from the first picture to the latest

    std::size_t Steps() const { return Pictures.empty() ? 0 : Pictures.back().nStretch; } // of the PTS
};

class Surveyor {
public:
    enum class LookForVitc { Nowhere, FirstSeconds, Everywhere };

    // The demuxer must outlive the surveyor. For VITC, pictures are decoded: none, those of the first two seconds of
    // a video that has no timecode in its SEI, or all.
    Surveyor(const Demuxer &In, const std::optional<PictureRate> &Rate, LookForVitc enVitc);

    // Takes each packet of the demuxer, and its content. bMarked: as Demuxer::IsMarked says of a video packet.
    void Add(AVPacket &Packet, bool bMarked = false);

    // No more packets come: places what still waits for its picture, and puts all in order.
    void Finish();

    const Survey &Result() const { return m_Survey; }

private:
    StampSeries &SeriesOf(Carriage enCarriage, int nStream);
    void NoteMalformed(StampSeries &Series, const std::string &szReason, const AVPacket &Packet);
    void AddVideo(AVPacket &Packet, bool bMarked);
    void AddStamps(const AVPacket &Packet, const std::optional<Place> &At);
    void AddLabel(const AVPacket &Packet, const Place &At);
    void AddBeside(const AVPacket *pVideo);
    void AddKlv(AVPacket &Packet);
    void LookIntoPicture(AVPacket &Packet);
    void EndVitc();
    void AddReading(const TimecodeReading &Reading);

    const Demuxer &m_Demuxer;
    const std::optional<PictureRate> m_Rate;
    const LookForVitc m_enVitc;
    VideoStamps m_Stamps;
    TimecodeSeiReader m_Labels;
    Survey m_Survey;
    Timeline m_Timeline;
    std::optional<std::int64_t> m_Begin; // of the running time, on the timeline
    PacketsBeside m_Beside;
    std::vector<std::pair<int, std::int64_t>> m_WithoutPTS; // local sets, by stream, that wait for the next picture
    std::optional<VitcFinder> m_Vitc;
    std::int64_t m_llLookedInto = 0; // the running time of the last picture decoded
    bool m_bLooksForVitc;
};

} // namespace encoder

#endif
