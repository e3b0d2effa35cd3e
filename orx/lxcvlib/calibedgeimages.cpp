// Passes over whole images that find edge pixels of calibration targets.
#include "calibedgeimages.h"

#include "calibedgekernels.h"
#include "floattointeger.h"
#include "lxccalibedge.h"
#include "lxcsubpixel.h"
#include "scratchvector.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>

namespace LxCV {

namespace {

using namespace CalibEdgeKernels;

constexpr std::size_t c_uiChannels = 3;
constexpr int c_iReach = 2;             ///< pixels that an extremum is compared with on either side
constexpr int c_iMaxRange = 30;         ///< bits of a fraction that an int shifts
constexpr int c_iStatisticsMargin = 75; ///< pixels of a region that its thresholds do not look at
constexpr SRankRule c_QuarterRule{100, 300, 0.4};

std::size_t Size(int value)
{
    return static_cast<std::size_t>(value);
}

bool HaveTypesAndOneSize(const CCTImage& a, CCTImage::EImageDataType typeOfA, const CCTImage& b,
                         CCTImage::EImageDataType typeOfB)
{
    return a.GetDataType() == typeOfA && b.GetDataType() == typeOfB && a.IsValid() && b.IsValid() &&
           a.DoDimMatchWith(b);
}

std::span<const float> ColorRow(const CCTImage& image, int y)
{
    const std::size_t size = Size(image.GetWidth()) * c_uiChannels;
    return {static_cast<const float*>(image.GetBuffer()) + Size(y) * size, size};
}

std::span<const float> FloatRow(const CCTImage& image, int y)
{
    return {&image.GetFloatPixelFast(0, y), Size(image.GetWidth())};
}

std::span<float> FloatRow(CCTImage& image, int y)
{
    return {&image.GetFloatPixelFast(0, y), Size(image.GetWidth())};
}

/// Columns and rows, the last ones not included.
struct SWindow
{
    int startCol = 0;
    int startRow = 0;
    int endCol = 0;
    int endRow = 0;
};

/// The pixels of the region, or of the whole image, at least so far from the border.
SWindow InnerWindow(const CCTImage& image, const LxCRoi* region, int cols, int rows)
{
    SWindow w{0, 0, image.GetWidth(), image.GetHeight()};
    if (region != nullptr) {
        region->Intersect(image.GetWidth(), image.GetHeight(), w.startCol, w.startRow, w.endCol, w.endRow);
    }
    w.startCol = std::max(w.startCol, cols);
    w.startRow = std::max(w.startRow, rows);
    w.endCol = std::max(std::min(w.endCol, image.GetWidth() - cols), w.startCol);
    w.endRow = std::max(std::min(w.endRow, image.GetHeight() - rows), w.startRow);
    return w;
}

/// What an extremum is looked for in, line by line.
struct SScan
{
    int firstLine;
    int endLine;
    int first; ///< position along the line
    int end;
};

/// Limits from a position on, up to the next run.
struct SRun
{
    int begin;
    float local;
    float total;
};

/// The limits of all lines of a scan, which goes line by line in ascending positions.
///
/// Lines that cut the same regions have the same runs, so only a few different lists of runs are kept.
class CScanLimits
{
public:
    /// Lines are rows, or with `alongColumns` columns.
    CScanLimits(const SExtremumThresholds& thresholds, bool alongColumns, const SScan& scan) : m_Scan(scan)
    {
        const std::size_t count =
            std::min({thresholds.regions.size(), thresholds.minLocal.size(), thresholds.minTotal.size()});
        for (std::size_t i = 0; i < count; ++i) {
            AddRegion(thresholds.regions[i], alongColumns, static_cast<float>(thresholds.minLocal[i]),
                      static_cast<float>(thresholds.minTotal[i]));
        }
        if (!m_vRegions.empty()) {
            MakeRuns();
        }
    }

    /// Whether there are no limits at all.
    bool IsEmpty() const { return m_vRegions.empty(); }

    /// The number of the line's list of runs.
    std::size_t ListOf(int line) const { return m_vuiListOfLine[Size(line - m_Scan.firstLine)]; }
    std::size_t Lists() const { return m_vvRuns.size(); }

    /// The runs of a list in ascending order; the first one begins at the first position.
    const std::vector<SRun>& Runs(std::size_t list) const { return m_vvRuns[list]; }

private:
    struct SRegion
    {
        int lineBegin;
        int lineEnd;
        int begin; ///< along the line
        int end;
        float local;
        float total;

        bool Holds(int line, int position) const
        {
            return lineBegin <= line && line < lineEnd && begin <= position && position < end;
        }
    };

    void AddRegion(const LxCRoi& roi, bool alongColumns, float local, float total)
    {
        SRegion region{roi.GetStartRow(), roi.GetEndRow(), roi.GetStartCol(), roi.GetEndCol(), local, total};
        if (alongColumns) {
            std::swap(region.lineBegin, region.begin);
            std::swap(region.lineEnd, region.end);
        }
        m_vRegions.push_back(region);
    }

    void MakeRuns()
    {
        std::size_t current = 0;   // the region whose limits hold
        std::size_t before = 0;    // the same at the begin of the line before
        std::size_t endOfLine = 0; // the same at its end
        for (int line = m_Scan.firstLine; line < m_Scan.endLine; ++line) {
            const bool isFirst = line == m_Scan.firstLine;
            if (isFirst || current != before || !CutSameRegions(line - 1, line)) {
                before = current;
                m_vvRuns.push_back(RunsOf(line, current));
                endOfLine = current;
            }
            m_vuiListOfLine.push_back(m_vvRuns.size() - 1);
            current = endOfLine;
        }
    }

    bool CutSameRegions(int line, int next) const
    {
        return std::all_of(m_vRegions.begin(), m_vRegions.end(), [&](const SRegion& r) {
            return (r.lineBegin <= line && line < r.lineEnd) == (r.lineBegin <= next && next < r.lineEnd);
        });
    }

    std::vector<SRun> RunsOf(int line, std::size_t& current) const
    {
        std::vector<int> begins{m_Scan.first};
        for (const SRegion& region : m_vRegions) {
            if (region.lineBegin <= line && line < region.lineEnd) {
                begins.push_back(std::max(region.begin, m_Scan.first));
                begins.push_back(std::max(region.end, m_Scan.first));
            }
        }
        std::sort(begins.begin(), begins.end());
        begins.erase(std::unique(begins.begin(), begins.end()), begins.end());
        std::vector<SRun> runs;
        for (const int begin : begins) {
            if (begin >= m_Scan.end) {
                break;
            }
            const auto found = std::find_if(m_vRegions.begin(), m_vRegions.end(),
                                            [&](const SRegion& r) { return r.Holds(line, begin); });
            if (found != m_vRegions.end()) {
                current = Size(static_cast<int>(found - m_vRegions.begin()));
            }
            runs.push_back({begin, m_vRegions[current].local, m_vRegions[current].total});
        }
        return runs;
    }

    SScan m_Scan;
    std::vector<SRegion> m_vRegions;
    std::vector<std::vector<SRun>> m_vvRuns;
    std::vector<std::size_t> m_vuiListOfLine;
};

/// The extrema that a row of gradients has, written to an edge image.
class CExtremaWriter
{
public:
    /// @param step from a word of the edge image to the one of the pixel before along the scan, negated
    CExtremaWriter(CCTImage& edges, std::size_t step, int range, std::size_t pixelsOfRow)
        : m_piEdges(static_cast<std::int32_t*>(edges.GetBuffer())), m_uiStep(step), m_iRange(range),
          m_vuiExtrema(pixelsOfRow)
    {}

    /// @param index the word of the first pixel
    void Write(const GradientWindow& gradient, std::span<const float> local, std::span<const float> total,
               std::size_t index)
    {
        FindExtrema(gradient, local, total, m_vuiExtrema);
        for (std::size_t i = FindNonZero(m_vuiExtrema, 0); i < m_vuiExtrema.size();
             i = FindNonZero(m_vuiExtrema, i + 1)) {
            const int fraction =
                LxCSubpixel::ComputeSubpixelInt(gradient[1][i], gradient[2][i], gradient[3][i]);
            const bool isMax = m_vuiExtrema[i] == c_uiMaximum;
            LxCCalibEdge word;
            if (fraction >= 0) {
                m_piEdges[index + i] = word.Encode(isMax, fraction);
            } else {
                m_piEdges[index + i - m_uiStep] = word.Encode(isMax, fraction + (1 << m_iRange));
            }
        }
    }

private:
    std::int32_t* m_piEdges;
    std::size_t m_uiStep;
    int m_iRange;
    ScratchVector<std::uint8_t> m_vuiExtrema;
};

/// Row by row; each row is a line.
void ScanRows(const CCTImage& gradient, CCTImage& edges, const CScanLimits& limits, const SScan& scan,
              int range)
{
    const std::size_t count = Size(scan.end - scan.first);
    ScratchVector<float> local(count);
    ScratchVector<float> total(count);
    std::size_t list = limits.Lists(); // none
    CExtremaWriter writer(edges, 1, range, count);
    for (int y = scan.firstLine; y < scan.endLine; ++y) {
        if (limits.ListOf(y) != list) {
            list = limits.ListOf(y);
            for (const SRun& run : limits.Runs(list)) {
                const auto offset = static_cast<std::ptrdiff_t>(run.begin) - scan.first;
                std::fill(local.begin() + offset, local.end(), run.local);
                std::fill(total.begin() + offset, total.end(), run.total);
            }
        }
        const std::span<const float> row = FloatRow(gradient, y);
        GradientWindow window;
        for (std::size_t k = 0; k < window.size(); ++k) {
            window[k] = row.subspan(Size(scan.first - c_iReach) + k, count);
        }
        writer.Write(window, local, total, Size(gradient.GetWidth()) * Size(y) + Size(scan.first));
    }
}

/// The rows at which the limits of any column change, in ascending order.
std::vector<int> RowsOfChange(const CScanLimits& limits)
{
    std::vector<int> rows;
    for (std::size_t list = 0; list < limits.Lists(); ++list) {
        for (const SRun& run : limits.Runs(list)) {
            rows.push_back(run.begin);
        }
    }
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    return rows;
}

/// The limits of each column in a row.
void LimitsOfRow(const CScanLimits& limits, const SScan& scan, int row, std::span<float> local,
                 std::span<float> total)
{
    std::vector<const SRun*> runOfList(limits.Lists());
    for (std::size_t list = 0; list < runOfList.size(); ++list) {
        const std::vector<SRun>& runs = limits.Runs(list);
        const auto next =
            std::find_if(runs.begin(), runs.end(), [row](const SRun& r) { return r.begin > row; });
        runOfList[list] = &*(next - 1); // the first run begins at the first row
    }
    for (int x = scan.firstLine; x < scan.endLine; ++x) {
        const SRun& run = *runOfList[limits.ListOf(x)];
        local[Size(x - scan.firstLine)] = run.local;
        total[Size(x - scan.firstLine)] = run.total;
    }
}

/// Row by row too, as memory lies, though the lines of the scan are columns: extrema of different columns do not touch
/// each other.
void ScanColumns(const CCTImage& gradient, CCTImage& edges, const CScanLimits& limits, const SScan& scan,
                 int range)
{
    const std::size_t count = Size(scan.endLine - scan.firstLine);
    const std::size_t width = Size(gradient.GetWidth());
    ScratchVector<float> local(count);
    ScratchVector<float> total(count);
    const std::vector<int> changes = RowsOfChange(limits);
    CExtremaWriter writer(edges, width, range, count);
    for (int y = scan.first; y < scan.end; ++y) {
        if (std::binary_search(changes.begin(), changes.end(), y)) {
            LimitsOfRow(limits, scan, y, local, total);
        }
        GradientWindow window;
        for (int k = 0; k <= 2 * c_iReach; ++k) {
            window[Size(k)] = FloatRow(gradient, y - c_iReach + k).subspan(Size(scan.firstLine), count);
        }
        writer.Write(window, local, total, width * Size(y) + Size(scan.firstLine));
    }
}

/// Clears the frame where extrema have no full neighbourhood. It grows inwards, so that it covers the steps that an image
/// makes to the outermost columns of a gradient, which are zero.
void ClearFrame(CCTImage& edges, int border)
{
    const std::int32_t nothing = 0;
    const int thickness = border + c_iReach;
    const int right = edges.GetWidth() - border - 1;
    const int bottom = edges.GetHeight() - border - 1;
    for (int i = 0; i < thickness && border + i <= right - i && border + i <= bottom - i; ++i) {
        edges.DrawRect(border + i, border + i, right - i, bottom - i, &nothing);
    }
}

bool SuppressNonExtrema(const CCTImage& gradient, CCTImage& edges, const SExtremumThresholds& thresholds,
                        bool alongColumns, int border, int range)
{
    if (!HaveTypesAndOneSize(gradient, CCTImage::eIDT_FLOAT32, edges, CCTImage::eIDT_INT32) || border < 0 ||
        range < 0 || range > c_iMaxRange) {
        return false;
    }
    // A wider border leaves nothing either, and sums with it fit an int.
    border = std::min(border, std::max(gradient.GetWidth(), gradient.GetHeight()));
    const int lines = alongColumns ? gradient.GetWidth() : gradient.GetHeight();
    const int length = alongColumns ? gradient.GetHeight() : gradient.GetWidth();
    const SScan scan{border, lines - border, border + c_iReach,
                     std::min(length - border - 1, length - c_iReach)};
    if (scan.firstLine < scan.endLine && scan.first < scan.end) {
        const CScanLimits limits(thresholds, alongColumns, scan);
        if (!limits.IsEmpty()) {
            (alongColumns ? ScanColumns : ScanRows)(gradient, edges, limits, scan, range);
        }
    }
    ClearFrame(edges, border);
    return true;
}

/// The means of a pixel's neighbours, differences of the next and the previous one.
struct SDirection
{
    float dx;
    float dy;
};

SDirection DirectionAt(const CCTImage& image, int x, int y)
{
    const auto mean = [&](int col, int row) { return image.GetFloat3Fast(col, row).GetMean(); };
    return {mean(x + 1, y) - mean(x - 1, y), mean(x, y + 1) - mean(x, y - 1)};
}

/// Deletes the entries where `isOff(dx, dy)`.
template <typename IsOff>
bool DeleteEntries(const CCTImage& image, CCTImage& edges, const IsOff& isOff)
{
    if (!HaveTypesAndOneSize(image, CCTImage::eIDT_FLOAT32_3, edges, CCTImage::eIDT_INT32)) {
        return false;
    }
    for (int y = 1; y < image.GetHeight() - 1; ++y) {
        const std::span<std::int32_t> row{&edges.GetInt32PixelFast(0, y), Size(image.GetWidth()) - 1};
        for (std::size_t x = FindNonZero(row, 1); x < row.size(); x = FindNonZero(row, x + 1)) {
            const SDirection direction = DirectionAt(image, static_cast<int>(x), y);
            if (isOff(direction.dx, direction.dy)) {
                row[x] = 0;
            }
        }
    }
    return true;
}

/// Adds a region's values, alone and with the rows above and below.
void CollectAmounts(const CCTImage& image, const SWindow& window, CLargestValues& alone,
                    CLargestValues& together)
{
    const std::size_t channels = Size(image.GetNumChannels());
    const std::size_t count = Size(window.endCol - window.startCol) * channels;
    const std::size_t stride = Size(image.GetWidth()) * channels;
    const float* const begin =
        static_cast<const float*>(image.GetBuffer()) + Size(window.startCol) * channels;
    ScratchVector<float> amounts(count);
    ScratchVector<float> sums(count);
    for (int y = window.startRow; y < window.endRow; ++y) {
        const auto row = [&](int number) {
            return std::span<const float>{begin + Size(number) * stride, count};
        };
        GradientAmounts(row(y - 1), row(y), row(y + 1), amounts, sums);
        alone.Add(amounts);
        together.Add(sums);
    }
}

/// The thresholds of one region. @return false if it has too few values
bool ThresholdsOf(const CCTImage& image, const LxCRoi& region, const SRankRule& rule, int& local, int& total)
{
    LxCRoi inner(&region);
    inner.Shrink(c_iStatisticsMargin, c_iStatisticsMargin);
    if (inner.GetWidth() <= 0 || inner.GetHeight() <= 0) {
        return false;
    }
    CLargestValues alone(rule.endRank);
    CLargestValues together(rule.endRank);
    CollectAmounts(image, InnerWindow(image, &inner, 0, 1), alone, together);
    double meanAlone = 0.0;
    double meanTogether = 0.0;
    if (!alone.GetMeanOfRanks(rule.firstRank, rule.endRank, meanAlone) ||
        !together.GetMeanOfRanks(rule.firstRank, rule.endRank, meanTogether)) {
        return false;
    }
    local = TruncateTo<int>(meanAlone * rule.factor);
    total = TruncateTo<int>(meanTogether * rule.factor);
    return true;
}

} // namespace

bool ComputeSobelSumHor(const CCTImage& source, CCTImage& target, const LxCRoi* region)
{
    if (!HaveTypesAndOneSize(source, CCTImage::eIDT_FLOAT32_3, target, CCTImage::eIDT_FLOAT32)) {
        return false;
    }
    const SWindow window = InnerWindow(source, region, 1, 0);
    const std::size_t count = Size(window.endCol - window.startCol);
    for (int y = window.startRow; count > 0 && y < window.endRow; ++y) {
        const std::span<const float> row = ColorRow(source, y);
        const std::size_t start = Size(window.startCol);
        GradientOfFirstChannel(row.subspan((start - 1) * c_uiChannels),
                               row.subspan((start + 1) * c_uiChannels),
                               FloatRow(target, y).subspan(start, count));
    }
    const int width = target.GetWidth();
    for (int y = 0; y < target.GetHeight(); ++y) {
        for (const int x : {0, 1, width - 2, width - 1}) {
            if (x >= 0 && x < width) {
                target.SetFloatPixelFast(x, y, 0.0F);
            }
        }
    }
    return true;
}

bool ComputeSobelSumVer(const CCTImage& source, CCTImage& target, const LxCRoi* region)
{
    if (!HaveTypesAndOneSize(source, CCTImage::eIDT_FLOAT32_3, target, CCTImage::eIDT_FLOAT32)) {
        return false;
    }
    const SWindow window = InnerWindow(source, region, 0, 1);
    const std::size_t start = Size(window.startCol);
    const std::size_t count = Size(window.endCol) - start;
    for (int y = window.startRow; y < window.endRow; ++y) {
        GradientOfFirstChannel(ColorRow(source, y - 1).subspan(start * c_uiChannels),
                               ColorRow(source, y + 1).subspan(start * c_uiChannels),
                               FloatRow(target, y).subspan(start, count));
    }
    return true;
}

bool NonLocExtSuppHor(const CCTImage& gradient, CCTImage& edges, const SExtremumThresholds& thresholds,
                      int border, int range)
{
    return SuppressNonExtrema(gradient, edges, thresholds, false, border, range);
}

bool NonLocExtSuppVer(const CCTImage& gradient, CCTImage& edges, const SExtremumThresholds& thresholds,
                      int border, int range)
{
    return SuppressNonExtrema(gradient, edges, thresholds, true, border, range);
}

bool CheckGradientOfHorEdges(const CCTImage& image, CCTImage& edges)
{
    return DeleteEntries(image, edges, IsNearXAxis);
}

bool CheckGradientOfVerEdges(const CCTImage& image, CCTImage& edges)
{
    return DeleteEntries(image, edges, IsNearYAxis);
}

bool ThresholdsOfRegions(const CCTImage& image, const std::vector<LxCRoi>& regions, const SRankRule& rule,
                         std::vector<int>& minLocal, std::vector<int>& minTotal)
{
    const bool hasFloats =
        image.GetDataType() == CCTImage::eIDT_FLOAT32 || image.GetDataType() == CCTImage::eIDT_FLOAT32_3;
    if (!hasFloats || !image.IsValid()) {
        return false;
    }
    std::vector<int> local(regions.size());
    std::vector<int> total(regions.size());
    for (std::size_t i = 0; i < regions.size(); ++i) {
        if (!ThresholdsOf(image, regions[i], rule, local[i], total[i])) {
            return false;
        }
    }
    minLocal = std::move(local);
    minTotal = std::move(total);
    return true;
}

bool DecideForBestSettings(const CCTImage& gradient, SExtremumThresholds& thresholds)
{
    if (gradient.GetDataType() != CCTImage::eIDT_FLOAT32) {
        return false;
    }
    const int width = gradient.GetWidth() / 2;
    const int height = gradient.GetHeight() / 2;
    std::vector<LxCRoi> regions{LxCRoi(0, 0, width, height), LxCRoi(0, height, width, height),
                                LxCRoi(width, 0, width, height), LxCRoi(width, height, width, height)};
    if (!ThresholdsOfRegions(gradient, regions, c_QuarterRule, thresholds.minLocal, thresholds.minTotal)) {
        return false;
    }
    thresholds.regions = std::move(regions);
    return true;
}

} // namespace LxCV
