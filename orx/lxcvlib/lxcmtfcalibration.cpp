// Rings, edges and bars of the test chart.
#include "lxcmtfcalibration.h"

#include "cctimage.h"
#include "floattointeger.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace LxCV {

namespace {

constexpr std::size_t c_uiBytesPerPixel = 4;
constexpr std::size_t c_uiRunsOfFigure = 5;
constexpr std::size_t c_uiGapsOfFigure = 4;

constexpr std::uint32_t c_uiReachOfRings = 100; ///< pixels from the centre
constexpr double c_dRingDiameterOfScale = 0.8;
/// The diameters may differ by less than a tenth of the horizontal one.
constexpr double c_dDiametersPerTolerance = 10.0;

constexpr std::uint32_t c_uiBrightBehindEdge = 16; ///< pixels
constexpr double c_dJumpOfEdge = 2.0;              ///< pixels
constexpr std::size_t c_uiPointsOfEdge = 20;
constexpr std::size_t c_uiPointsOfLongEdge = 200;

constexpr double c_dPatchSideOfScale = 0.6;
constexpr float c_fNoContrast = -1.0F;

constexpr std::size_t c_uiFewestForOutliers = 3;
constexpr double c_dLeastOutlier = 0.2; ///< in the unit of the samples
constexpr double c_dOutlierRatio = 1.1;

void MarkPixel(std::uint8_t* pixel, std::uint8_t blue, std::uint8_t green, std::uint8_t red)
{
    pixel[0] = blue;
    pixel[1] = green;
    pixel[2] = red;
}

/// The mean of contrasts that could be read.
class CMeanContrast
{
public:
    void Add(float contrast)
    {
        if (contrast != c_fNoContrast) {
            m_dSum += contrast;
            ++m_iCount;
        }
    }
    float Get() const { return m_iCount > 0 ? static_cast<float>(m_dSum / m_iCount) : c_fNoContrast; }

private:
    double m_dSum = 0.0;
    int m_iCount = 0;
};

} // namespace

/// A row's dark pixels between two bright ones.
struct LxCMTFCalibration::SRun
{
    std::uint32_t width;
    double centre; ///< column
};

struct LxCMTFCalibration::SPoint
{
    double col;
    double row;
};

LxCMTFCalibration::LxCMTFCalibration(CCTImage* image, unsigned size, unsigned limit, unsigned dark,
                                     unsigned thin)
    : m_pImage(image), m_uiSize(size), m_uiLimit(limit), m_uiLongestRun(dark), m_uiThinRun(thin)
{
    if (image != nullptr) {
        m_uiWidth = static_cast<std::uint32_t>(image->GetWidth());
        m_uiHeight = static_cast<std::uint32_t>(image->GetHeight());
    }
}

bool LxCMTFCalibration::HasImage() const
{
    return m_pImage != nullptr && m_pImage->GetDataType() == CCTImage::eIDT_ARGB8 &&
           m_pImage->GetBuffer() != nullptr && m_uiWidth > 0 && m_uiHeight > 0 &&
           static_cast<std::uint32_t>(m_pImage->GetWidth()) == m_uiWidth &&
           static_cast<std::uint32_t>(m_pImage->GetHeight()) == m_uiHeight;
}

std::uint8_t* LxCMTFCalibration::GetPixel(std::uint32_t col, std::uint32_t row) const
{
    return static_cast<std::uint8_t*>(m_pImage->GetBuffer()) +
           (static_cast<std::size_t>(row) * m_uiWidth + col) * c_uiBytesPerPixel;
}

// -------------------------------------------------------------------------------------------------------- centre

bool LxCMTFCalibration::FindCenterOfCircle()
{
    if (!HasImage()) {
        return false;
    }
    const std::uint32_t cols = std::min(m_uiSize, m_uiWidth);
    const std::uint32_t rows = std::min(m_uiSize, m_uiHeight);
    const std::uint32_t left = (m_uiWidth - cols) / 2;
    const std::uint32_t top = (m_uiHeight - rows) / 2;
    std::vector<double> colSamples;
    std::vector<double> rowSamples;
    std::vector<SRun> runs;
    for (std::uint32_t row = 0; row < rows; ++row) {
        std::uint8_t* const pixels = GetPixel(left, top + row);
        CollectRuns(pixels, cols, runs);
        const std::span<const SRun> figure = FindCrossSection(runs);
        if (figure.empty()) {
            continue;
        }
        double sum = 0.0;
        for (const SRun& run : figure) {
            sum += run.centre;
            MarkPixel(pixels + static_cast<std::size_t>(run.centre) * c_uiBytesPerPixel, 0, 0, 255);
        }
        colSamples.push_back(sum / static_cast<double>(c_uiRunsOfFigure));
        rowSamples.push_back(row);
    }
    if (rowSamples.empty()) {
        return false;
    }
    MarkCentre(left + RobustMean(std::move(colSamples)), top + RobustMean(std::move(rowSamples)));
    return true;
}

void LxCMTFCalibration::CollectRuns(const std::uint8_t* pixel, std::uint32_t count,
                                    std::vector<SRun>& runs) const
{
    runs.clear();
    std::uint32_t width = 0;
    for (std::uint32_t col = 0; col < count; ++col, pixel += c_uiBytesPerPixel) {
        if (IsDark(pixel)) {
            ++width;
            continue;
        }
        if (width > 0 && width < m_uiLongestRun) {
            runs.push_back({width, col - 0.5 * (width + 1.0)});
        }
        width = 0;
    }
}

/// The first five runs of a row that are a cross-section of the rings; none if there are none.
std::span<const LxCMTFCalibration::SRun>
LxCMTFCalibration::FindCrossSection(const std::vector<SRun>& runs) const
{
    if (runs.size() < c_uiRunsOfFigure) {
        return {};
    }
    std::size_t gaps = 0;
    for (std::size_t i = 1; i < runs.size(); ++i) {
        gaps += runs[i].centre - runs[i - 1].centre < m_uiLongestRun ? 1 : 0;
    }
    if (gaps < c_uiGapsOfFigure) {
        return {};
    }
    const auto isThin = [this](const SRun& run) { return run.width <= m_uiThinRun; };
    for (std::size_t i = 0; i + c_uiRunsOfFigure <= runs.size(); ++i) {
        const SRun* const r = &runs[i];
        if (isThin(r[0]) && isThin(r[1]) && r[2].width > std::uint64_t{2} * m_uiThinRun && isThin(r[3]) &&
            isThin(r[4])) {
            return {r, c_uiRunsOfFigure};
        }
    }
    return {};
}

void LxCMTFCalibration::MarkCentre(double col, double row)
{
    m_uiCircleCol = std::min(TruncateTo<std::uint32_t>(col), m_uiWidth - 1);
    m_uiCircleRow = std::min(TruncateTo<std::uint32_t>(row), m_uiHeight - 1);
    MarkPixel(GetPixel(m_uiCircleCol, m_uiCircleRow), 255, 255, 255);
}

double LxCMTFCalibration::RobustMean(std::vector<double> samples)
{
    if (samples.empty()) {
        return 0.0;
    }
    for (;;) {
        const double mean =
            std::accumulate(samples.begin(), samples.end(), 0.0) / static_cast<double>(samples.size());
        if (samples.size() < c_uiFewestForOutliers) {
            return mean;
        }
        double farthest = -1.0;
        double next = -1.0;
        std::size_t outlier = 0;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const double distance = std::abs(samples[i] - mean);
            if (distance > farthest) {
                next = farthest;
                farthest = distance;
                outlier = i;
            } else {
                next = std::max(next, distance);
            }
        }
        if (!(farthest > c_dLeastOutlier && farthest >= c_dOutlierRatio * next)) {
            return mean;
        }
        samples.erase(samples.begin() + static_cast<std::ptrdiff_t>(outlier));
    }
}

// --------------------------------------------------------------------------------------------------------- scale

bool LxCMTFCalibration::DetermineScaleFactor()
{
    if (!HasImage()) {
        return false;
    }
    const std::uint8_t* const centre = GetPixel(m_uiCircleCol, m_uiCircleRow);
    constexpr auto c_Column = static_cast<std::ptrdiff_t>(c_uiBytesPerPixel);
    const std::ptrdiff_t line = c_Column * static_cast<std::ptrdiff_t>(m_uiWidth);
    const double vertical = FindOuterRing(centre, -line, m_uiCircleRow) +
                            FindOuterRing(centre, line, m_uiHeight - 1 - m_uiCircleRow);
    const double horizontal = FindOuterRing(centre, -c_Column, m_uiCircleCol) +
                              FindOuterRing(centre, c_Column, m_uiWidth - 1 - m_uiCircleCol);
    // A product of half pixels is exact, a quotient is not: 18 / 20 is above 0.9.
    if (!(vertical > 0.0 && horizontal > 0.0 &&
          c_dDiametersPerTolerance * std::abs(vertical - horizontal) < horizontal)) {
        return false;
    }
    m_fScaleFactor = static_cast<float>((vertical + horizontal) * 0.5 / c_dRingDiameterOfScale);
    return true;
}

double LxCMTFCalibration::FindOuterRing(const std::uint8_t* pixel, std::ptrdiff_t step,
                                        std::uint32_t reach) const
{
    double last = 0.0;
    double beforeLast = 0.0;
    int changes = 0;
    bool dark = IsDark(pixel);
    const std::uint32_t end = std::min(reach, c_uiReachOfRings);
    for (std::uint32_t distance = 1; distance <= end; ++distance) {
        pixel += step;
        if (IsDark(pixel) != dark) {
            dark = !dark;
            beforeLast = last;
            last = distance - 0.5;
            ++changes;
        }
    }
    return changes < 2 ? sc_dNoRing : 0.5 * (beforeLast + last);
}

// --------------------------------------------------------------------------------------------------- orientation

namespace {

/// The angle of the regression line through points that lie about a column.
template <typename Point>
double SlopeOf(std::span<const Point> points)
{
    const auto count = static_cast<double>(points.size());
    double meanCol = 0.0;
    double meanRow = 0.0;
    for (const Point& p : points) {
        meanCol += p.col;
        meanRow += p.row;
    }
    meanCol /= count;
    meanRow /= count;
    double sumRowCol = 0.0;
    double sumColCol = 0.0;
    for (const Point& p : points) {
        sumRowCol += (p.row - meanRow) * (p.col - meanCol);
        sumColCol += (p.col - meanCol) * (p.col - meanCol);
    }
    return -std::atan2(sumRowCol, sumColCol);
}

} // namespace

bool LxCMTFCalibration::DetermineOrientation()
{
    if (!HasImage()) {
        return false;
    }
    const std::vector<SPoint> points = FindLastEdges();
    if (points.size() < c_uiPointsOfEdge) {
        return false;
    }
    std::vector<double> angles;
    std::vector<double> longAngles;
    std::size_t begin = 0;
    for (std::size_t i = 1; i <= points.size(); ++i) {
        if (i < points.size() && std::abs(points[i].col - points[i - 1].col) < c_dJumpOfEdge) {
            continue;
        }
        const std::size_t count = i - begin;
        if (count >= c_uiPointsOfEdge) {
            const double angle = SlopeOf(std::span<const SPoint>(points).subspan(begin, count));
            angles.push_back(angle);
            if (count >= c_uiPointsOfLongEdge) {
                longAngles.push_back(angle);
            }
        }
        begin = i;
    }
    if (angles.empty()) {
        return false;
    }
    m_fAngle = static_cast<float>(RobustMean(longAngles.empty() ? std::move(angles) : std::move(longAngles)));
    return true;
}

/// The first bright pixel behind the last edge of each row that has one.
std::vector<LxCMTFCalibration::SPoint> LxCMTFCalibration::FindLastEdges() const
{
    std::vector<SPoint> points;
    points.reserve(m_uiHeight);
    for (std::uint32_t row = 0; row < m_uiHeight; ++row) {
        const std::uint8_t* const pixels = GetPixel(0, row);
        // From the right, the first dark pixel with enough bright ones behind it ends the search.
        std::uint32_t bright = 0;
        for (std::uint32_t col = m_uiWidth; col-- > 0;) {
            if (!IsDark(pixels + col * c_uiBytesPerPixel)) {
                ++bright;
            } else if (bright >= c_uiBrightBehindEdge) {
                points.push_back({col + 1.0, static_cast<double>(row)});
                break;
            } else {
                bright = 0;
            }
        }
    }
    return points;
}

// ------------------------------------------------------------------------------------------------------ contrast

bool LxCMTFCalibration::CalculateContrast()
{
    const double s = m_fScaleFactor;
    const auto pitch = TruncateTo<std::uint32_t>(2.0 * s);
    if (!HasImage() || pitch == 0 || m_uiWidth / pitch < 2 || m_uiHeight / pitch < 2) {
        return false;
    }
    const std::int64_t nx = m_uiWidth / pitch;
    const std::int64_t ny = m_uiHeight / pitch;
    const std::int64_t firstU = 1 - nx / 2; // in steps of the pitch
    const std::int64_t firstV = 1 - ny / 2;
    const double cosine = std::cos(static_cast<double>(m_fAngle));
    const double sine = std::sin(static_cast<double>(m_fAngle));
    const auto contrastAt = [&](double u, double v) {
        return CalculateSingleMTFContrast(TruncateTo<std::int32_t>(m_uiCircleCol + u * cosine - v * sine),
                                          TruncateTo<std::int32_t>(m_uiCircleRow + u * sine + v * cosine));
    };
    CMeanContrast horizontal;
    CMeanContrast vertical;
    // The second lattice has the rings at its centre, which are no patch, and lacks the last one of what is left.
    std::int64_t left = (nx - 1) * (ny - 1) - 2;
    for (std::int64_t i = 0; i < nx; ++i) {
        for (std::int64_t j = 0; j < ny; ++j) {
            const double u = 2.0 * s * static_cast<double>(firstU + i);
            const double v = 2.0 * s * static_cast<double>(firstV + j);
            horizontal.Add(contrastAt(u - s, v - s));
            const bool isCentre = firstU + i == 0 && firstV + j == 0;
            if (i + 1 < nx && j + 1 < ny && !isCentre && left-- > 0) {
                vertical.Add(contrastAt(u, v));
            }
        }
    }
    m_fContrastHor = horizontal.Get();
    m_fContrastVer = vertical.Get();
    return true;
}

float LxCMTFCalibration::CalculateSingleMTFContrast(std::int32_t x, std::int32_t y)
{
    const std::int64_t side = TruncateTo<std::int32_t>(c_dPatchSideOfScale * m_fScaleFactor);
    const std::int64_t left = x - side / 2;
    const std::int64_t top = y - side / 2;
    if (!HasImage() || side < 1 || left < 0 || top < 0 || left + side > m_uiWidth ||
        top + side > m_uiHeight) {
        return c_fNoContrast;
    }
    int least = 255;
    int greatest = 0;
    for (std::int64_t row = 0; row < side; ++row) {
        std::uint8_t* pixel =
            GetPixel(static_cast<std::uint32_t>(left), static_cast<std::uint32_t>(top + row));
        for (std::int64_t col = 0; col < side; ++col, pixel += c_uiBytesPerPixel) {
            least = std::min<int>(least, *pixel);
            greatest = std::max<int>(greatest, *pixel);
            if (row == 0 || col == 0 || row == side - 1 || col == side - 1) {
                pixel[0] = 0;
                pixel[1] = 255;
            }
        }
    }
    return greatest > 0 ? static_cast<float>(greatest - least) / static_cast<float>(greatest + least) : 0.0F;
}

} // namespace LxCV
