// The plot: how far each time stamp lies from a steady clock, drawn by gnuplot.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

#include "common/failure.h"
#include "words.h"
#include "writers.h"

namespace report {

using namespace encoder;

namespace {

constexpr std::size_t MAX_POINTS = 10'000; // of a source; more cannot be told apart

struct ClosePipe {
    void operator()(std::FILE *pPipe) const { pclose(pPipe); }
};

// In gnuplot's single quotes only the quote itself means something.
std::string Quoted(const std::string &szText) {
    std::string szQuoted = "'";
    for (const char c : szText)
        szQuoted += c == '\'' ? std::string("''") : std::string(1, c == '\n' ? ' ' : c);
    return szQuoted + "'";
}

// Of each group of neighbours that fall into one, the lowest and the highest.
std::string PointsOf(const SeriesReport &Series) {
    const std::size_t nCount = Series.DeviationUsec.size();
    const std::size_t nGroup = std::max<std::size_t>(1, 2 * nCount / MAX_POINTS);
    std::string szPoints;
    for (std::size_t nBegin = 0; nBegin < nCount; nBegin += nGroup) {
        const auto Begin = Series.DeviationUsec.begin() + static_cast<std::ptrdiff_t>(nBegin);
        const auto End = Series.DeviationUsec.begin() + static_cast<std::ptrdiff_t>(std::min(nCount, nBegin + nGroup));
        const auto [Lowest, Highest] = std::minmax_element(Begin, End);
        for (const auto Chosen : {Lowest, Highest}) {
            const auto n = static_cast<std::size_t>(Chosen - Series.DeviationUsec.begin());
            szPoints += Format("%.6f %.4f\n", SecondsOf(Series.Sightings[n].At), *Chosen / 1000);
        }
    }
    return szPoints;
}

class Script {
public:
    void Add(const SeriesReport &Series, const std::string &szTitle) {
        const std::string szBlock = "$Source" + std::to_string(m_nPlots);
        m_szData += szBlock + " << END\n" + PointsOf(Series) + "END\n";
        // Later ones are smaller, so that none is hidden.
        m_szPlots += (m_nPlots > 0 ? ", " : "plot ") + szBlock + " with points pt 6 ps " +
                     Format("%.1f", 1.2 / static_cast<double>(m_nPlots + 1)) + " title " + Quoted(szTitle);
        m_nPlots++;
        for (const double Usec : Series.DeviationUsec)
            m_LargestMs = std::max(m_LargestMs, std::fabs(Usec) / 1000);
    }

    bool IsEmpty() const { return m_nPlots == 0; }

    std::string For(const std::string &szFile) const {
        // A name that begins with a bar would be a command to gnuplot.
        const std::string szPath = szFile.starts_with('/') ? szFile : "./" + szFile;
        return m_szData + "set terminal " + (szFile.ends_with(".svg") ? "svg" : "pngcairo") +
               " size 1000,500 noenhanced\nset output " + Quoted(szPath) +
               "\nset xlabel 'running time [s]'\nset ylabel 'time stamp beyond PTS clock [ms]'\nset grid\n"
               "set key outside top center horizontal\n" +
               Format("set yrange [%g:%g]\n", -1.1 * m_LargestMs, 1.1 * m_LargestMs) + m_szPlots + "\n";
    }

private:
    std::string m_szData;
    std::string m_szPlots;
    std::size_t m_nPlots = 0;
    double m_LargestMs = 0.001; // of the axis at least, for a clock without jitter
};

} // namespace

void Plot(const std::vector<InputReport> &Reports, const std::string &szFile) {
    Script Drawing;
    for (const InputReport &Report : Reports)
        for (std::size_t n = 0; n < Report.Series.size(); n++)
            if (!Report.Series[n].Sightings.empty())
                Drawing.Add(Report.Series[n], (Reports.size() > 1 ? Report.szPath + ": " : "") + NameOf(Report, n));
    if (Drawing.IsEmpty())
        throw Failure(ExitCode::Output, "there is no time stamp to plot in '" + szFile + "'");
    const std::string szScript = Drawing.For(szFile);
    std::unique_ptr<std::FILE, ClosePipe> Gnuplot(popen("gnuplot", "w")); // NOLINT(cert-env33-c): a fixed command
    const bool bSent = Gnuplot && std::fwrite(szScript.data(), 1, szScript.size(), Gnuplot.get()) == szScript.size();
    const int nStatus = Gnuplot ? pclose(Gnuplot.release()) : -1;
    if (!bSent || nStatus != 0)
        throw Failure(ExitCode::Output, "gnuplot could not draw '" + szFile + "'; is gnuplot installed?");
}

} // namespace report
