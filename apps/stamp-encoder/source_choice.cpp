// Which source an input is to be asked for, when the user leaves that to the program.
#include "source_choice.h"

#include <algorithm>
#include <deque>
#include <new>
#include <utility>

#include "media/coverage.h"
#include "timecode.h"

namespace encoder {

namespace {

constexpr unsigned SECONDS_LOOKED_AT = 2; // of pictures

Survey Look(const Demuxer &In, const PictureRate &Rate, const std::deque<PacketPtr> &Packets,
            std::optional<int> KlvStream, Surveyor::LookForVitc enVitc) {
    Surveyor Seen(In, Rate, enVitc);
    for (const PacketPtr &Packet : Packets) {
        const PacketPtr Copy(av_packet_clone(Packet.get()));
        if (!Copy)
            throw std::bad_alloc();
        Seen.Add(*Copy);
    }
    Seen.Finish();
    Survey Found = Seen.Result();
    std::erase_if(Found.Series, [&](const StampSeries &Series) {
        return Series.enCarriage == Carriage::LocalSet && KlvStream.value_or(Series.nStream) != Series.nStream;
    });
    return Found;
}

std::string FoundText(const Survey &Seen) {
    std::string szText;
    for (const StampSeries &Series : Seen.Series)
        szText += (szText.empty() ? "" : ", ") + std::to_string(Series.Count()) + " " + SourceWord(Series.enCarriage);
    return szText.empty() ? "no time stamp" : szText;
}

struct SourceRow {
    Carriage enCarriage;
    Event enStamps;
};

constexpr SourceRow SOURCE_ROWS[] = {
    {Carriage::Stamp, Event::StampHighPrecision},
    {Carriage::Vitc, Event::StampSmpte12M},
    {Carriage::LocalSet, Event::StampLds},
};

} // namespace

std::string WhyUntimed(const Tally &Counts, int enSource) {
    if (Counts.Times(Event::PictureCoded) == 0 || Counts.Times(Event::PictureTimed) > 0)
        return "";
    std::string szWhy = "none came with a time stamp that the library takes from source " + std::to_string(enSource);
    std::string szTry;
    for (const SourceRow &Row : SOURCE_ROWS) {
        const std::uint64_t nStamps = Counts.Times(Row.enStamps);
        if (nStamps > 0 && SourceOf(Row.enCarriage) == enSource)
            szWhy = "none lies within 4 ms of a time stamp of source " + std::to_string(enSource);
        else if (nStamps > 0)
            szTry += std::string("--source ") + SourceWord(Row.enCarriage) + ", ";
    }
    if (Counts.Times(Event::LocalSet) > 0 && Counts.Times(Event::StampLds) == 0)
        szTry += "a greater --lds-reach or --hold, ";
    return "  no picture has a time: " + szWhy + "; try " + szTry +
           "stamp-report, which tells what the input carries, or --source system\n";
}

SourceChoice ChooseSource(Demuxer &In, const PictureRate &Rate, std::optional<int> KlvStream) {
    using Vitc = Surveyor::LookForVitc;
    unsigned nPictures = SECONDS_LOOKED_AT * Rate.nWhole;
    std::deque<PacketPtr> Packets =
        ReadAhead(In, [&](const AVPacket &Packet) { return In.IsVideo(Packet) && --nPictures == 0; });
    Survey Seen = Look(In, Rate, Packets, KlvStream, Vitc::Nowhere);
    if (BestSeries(Seen) == nullptr)
        Seen = Look(In, Rate, Packets, KlvStream, Vitc::FirstSeconds);
    In.PutBack(std::move(Packets));
    const StampSeries *const pBest = BestSeries(Seen);
    const Carriage enTaken = pBest != nullptr ? pBest->enCarriage : Carriage::Stamp;
    if (enTaken == Carriage::LocalSet && pBest != nullptr)
        KlvStream = pBest->nStream;
    return {SourceOf(enTaken), KlvStream,
            "what was read first holds " + FoundText(Seen) + "; --source " + SourceWord(enTaken) + " is taken"};
}

} // namespace encoder
