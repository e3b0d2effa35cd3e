// Tracing, drawing and fitting of straight edges.
#include "cstraightedge.h"

#include "c2dstraightline.h"
#include "cctimage.h"
#include "floattointeger.h"
#include "lxccalibedge.h"
#include "lxccalibid.h"
#include "matrixroutines.h"
#include "numericroutines.h"
#include "saturate.h"
#include "scratchvector.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>

namespace LxCV {

namespace {

constexpr int c_iFirstPosition = 2;         // pixels; a walk downwards goes no further
constexpr int c_iEndMargin = 3;             // pixels; one upwards ends at size - 3
constexpr double c_dMaxPolyDistance = 2.5;  // pixels; samples further from a polynomial are outliers
constexpr double c_dContrastDistance = 3.0; // pixels; contrast is taken so far before and behind an edge
constexpr int c_iColors = 3;
constexpr int c_iPercent = 100;

/// The bits that every pixel of an edge shares: polarity and id.
constexpr std::uint32_t c_uiEdgeBits =
    LxCCalibEdge::m_sciImgLocalMax | (0xFFU << LxCCalibEdge::m_sciCalibIdPosition);

/// What lies across the edge, searched from its middle outwards.
struct SSpan
{
    std::int64_t first; ///< offset of the first pixel, inclusive
    std::int64_t last;  ///< offset of the last pixel, inclusive; below `first` for an empty span

    /// The span of `halfSpan` + 1 pixels to either side of `middle`, less one side next to a border.
    SSpan(int middle, int size, int halfSpan)
        : first(middle - std::int64_t{halfSpan} - 1 < 0 ? 0 : -std::int64_t{halfSpan} - 1),
          last(middle + std::int64_t{halfSpan} + 2 >= size ? -1 : std::int64_t{halfSpan} + 1)
    {}

    bool Holds(std::int64_t offset) const { return first <= offset && offset <= last; }
};

double PolynomialAt(std::span<const double> coefficients, double x)
{
    double value = 0.0;
    for (std::size_t i = coefficients.size(); i-- > 0;) {
        value = value * x + coefficients[i];
    }
    return value;
}

int PixelOf(const LxCDataBufferEntry& entry)
{
    return static_cast<int>(entry.GetWord() >> LxCSubpixel::m_sciNrSubpixBits);
}

/// Pixels.
double ValueOf(const LxCDataBufferEntry& entry)
{
    return entry.GetWord() * static_cast<double>(LxCSubpixel::m_scfSubPixFactorInv);
}

/// A pixel of any type, between pixel centres.
struct SPixel
{
    alignas(double) std::array<std::uint8_t, sizeof(LxCFloat3) + sizeof(double)> bytes{};

    bool Read(const CCTImage& image, double position, double across, bool vertical)
    {
        return image.GetSubPixelLinearInterpol(vertical ? across : position, vertical ? position : across,
                                               bytes.data()) == CCTImage::eRC_OK;
    }

    int DifferenceTo(const SPixel& other) const
    {
        int sum = 0;
        for (std::size_t i = 0; i < c_iColors; ++i) {
            sum += std::abs(bytes[i] - other.bytes[i]);
        }
        return sum;
    }

    bool Exceeds(int limit) const
    {
        return std::any_of(bytes.begin(), bytes.begin() + c_iColors,
                           [limit](std::uint8_t channel) { return channel > limit; });
    }
};

/// The 32-bit words of an image, null if its pixels are none.
std::int32_t* WordsOf(CCTImage& image)
{
    return image.IsValid() && image.GetBytesPerPixel() == static_cast<int>(sizeof(std::int32_t))
               ? static_cast<std::int32_t*>(image.GetBuffer())
               : nullptr;
}

bool IsWordImage(const CCTImage& image)
{
    return image.IsValid() && image.GetDataType() == CCTImage::eIDT_INT32;
}

} // namespace

/// The words of an image, by position along the edge and value across it.
struct CStraightEdge::SWalk
{
    const std::int32_t* words;
    std::ptrdiff_t alongStep;  ///< words from one position to the next
    std::ptrdiff_t acrossStep; ///< words from one value across to the next
    int length;                ///< positions
    int breadth;               ///< values across
    int halfSpan;              ///< see `Trace`
    bool bridgeGaps;
    std::uint32_t edgeBits; ///< of the seed

    bool BelongsToEdge(std::int32_t word) const
    {
        return word != 0 && (static_cast<std::uint32_t>(word) & c_uiEdgeBits) == edgeBits;
    }

    /// The offset of the edge's nearest pixel from `across`; false if there is none.
    bool FindNearest(const std::int32_t* middle, int across, std::int64_t& offset) const
    {
        const SSpan span(across, breadth, halfSpan);
        const std::int64_t reach = std::max(-span.first, span.last);
        for (offset = 0; offset <= reach; offset = offset < 0 ? -offset : -offset - 1) {
            if (span.Holds(offset) && BelongsToEdge(middle[offset * acrossStep])) {
                return true;
            }
        }
        return false;
    }

    /// Follows the edge from a position to `last` or where it ends. @return the number of entries
    int Follow(int position, int last, int step, int across, LxCDataBufferEntry* entries) const
    {
        int count = 0;
        int kept = 0;
        const std::int32_t* middle = words + position * alongStep + across * acrossStep;
        for (; step < 0 ? position >= last : position <= last; position += step) {
            std::int64_t offset = 0;
            if (FindNearest(middle, across, offset)) {
                across += static_cast<int>(offset);
                middle += offset * acrossStep;
                entries[count++] = LxCDataBufferEntry(
                    (static_cast<std::uint32_t>(across) << LxCSubpixel::m_sciNrSubpixBits) +
                    (static_cast<std::uint32_t>(*middle) & LxCSubpixel::m_sciSubpixMask));
                kept = count;
            } else if (bridgeGaps) {
                entries[count++].SetContourGap();
            } else {
                break;
            }
            middle += step * alongStep;
        }
        return kept;
    }
};

/// Samples of an edge: positions along it and values across it, pixels.
struct CStraightEdge::SSamples
{
    ScratchVector<double> positions;
    ScratchVector<double> values;

    explicit SSamples(int capacity)
    {
        positions.reserve(static_cast<std::size_t>(capacity));
        values.reserve(static_cast<std::size_t>(capacity));
    }

    /// All entries of a whole edge that are no gaps, in the order of their positions.
    void AddAll(std::span<const LxCDataBufferEntry> entries, int leftCount, int first)
    {
        positions.resize(entries.size());
        values.resize(entries.size());
        std::size_t count = 0;
        const auto add = [&](const LxCDataBufferEntry& entry, int position) {
            positions[count] = position;
            values[count] = ValueOf(entry);
            count += entry.IsContorGap() ? 0 : 1;
        };
        for (int i = leftCount; i-- > 0;) {
            add(entries[static_cast<std::size_t>(i)], first + leftCount - 1 - i);
        }
        for (int i = leftCount; i < static_cast<int>(entries.size()); ++i) {
            add(entries[static_cast<std::size_t>(i)], first + i);
        }
        positions.resize(count);
        values.resize(count);
    }

    void Add(double position, double value)
    {
        positions.push_back(position);
        values.push_back(value);
    }

    int GetCount() const { return static_cast<int>(positions.size()); }

    bool FitPoly(std::span<double> coefficients) const
    {
        return FitPolynomial(positions.data(), values.data(), GetCount(),
                             static_cast<int>(coefficients.size()) - 1, coefficients.data());
    }

    /// Drops what lies far from a polynomial. @return whether something was dropped
    bool DropOutliers(std::span<const double> coefficients)
    {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < positions.size(); ++i) {
            if (std::abs(PolynomialAt(coefficients, positions[i]) - values[i]) < c_dMaxPolyDistance) {
                positions[kept] = positions[i];
                values[kept] = values[i];
                ++kept;
            }
        }
        const bool dropped = kept < positions.size();
        positions.resize(kept);
        values.resize(kept);
        return dropped;
    }

    /// @return whether there was a fit; else `line` is untouched
    bool FitLine(C2DStraightLine& line, bool invert, double& residual, bool leastSquares) const
    {
        double slope = 0.0;
        double intercept = 0.0;
        residual = leastSquares
                       ? FitLineLeastSquares(positions.data(), values.data(), GetCount(), slope, intercept)
                       : FitLineMinAbsDev(positions.data(), values.data(), GetCount(), slope, intercept);
        if (!(residual >= 0.0)) {
            return false;
        }
        line.InitFromSlopeAndIntercept(slope, intercept);
        if (invert) {
            line.Invert();
        }
        return true;
    }
};

void CStraightEdge::Trace(const CCTImage& edgeImage, int x, int y, int method)
{
    if (m_eOrientation == eVertical) {
        TraceVer(edgeImage, x, y, method);
    } else {
        TraceHor(edgeImage, x, y, method);
    }
}

void CStraightEdge::TraceHor(const CCTImage& edgeImage, int x, int y, int method)
{
    SWalk walk{};
    walk.alongStep = 1;
    walk.acrossStep = edgeImage.GetWidth();
    walk.length = edgeImage.GetWidth();
    walk.breadth = edgeImage.GetHeight();
    FollowFrom(edgeImage, walk, x, y, method);
}

void CStraightEdge::TraceVer(const CCTImage& edgeImage, int x, int y, int method)
{
    SWalk walk{};
    walk.alongStep = edgeImage.GetWidth();
    walk.acrossStep = 1;
    walk.length = edgeImage.GetHeight();
    walk.breadth = edgeImage.GetWidth();
    FollowFrom(edgeImage, walk, y, x, method);
}

/// Traces from a seed, with the geometry of `walk`.
void CStraightEdge::FollowFrom(const CCTImage& edgeImage, SWalk& walk, int position, int across, int method)
{
    m_iSeedCol = position;
    m_iLeftCount = 0;
    m_iRightCount = 0;
    m_bTypeIsLocalMax = false;
    m_uiEdgeId = 0;
    if (!IsWordImage(edgeImage) || position < 0 || position >= walk.length || across < 0 ||
        across >= walk.breadth) {
        return;
    }
    walk.words = static_cast<const std::int32_t*>(edgeImage.GetBuffer());
    walk.halfSpan = method;
    walk.bridgeGaps = method == sc_iBridgeGaps;
    const LxCCalibEdge seed(walk.words[position * walk.alongStep + across * walk.acrossStep]);
    walk.edgeBits = static_cast<std::uint32_t>(seed.GetWord()) & c_uiEdgeBits;
    m_bTypeIsLocalMax = seed.IsLocalMax();
    m_uiEdgeId = static_cast<std::uint8_t>(seed.GetCalibEdgeId());
    const auto room = static_cast<std::size_t>(walk.length);
    if (m_pOwnBuffer->size() < room) {
        m_pOwnBuffer->resize(room);
    }
    LxCDataBufferEntry* const entries = m_pOwnBuffer->data();
    m_iLeftCount = walk.Follow(position, c_iFirstPosition, -1, across, entries);
    m_iRightCount = walk.Follow(position + 1, walk.length - c_iEndMargin, 1, across, entries + m_iLeftCount);
}

/// The entry at public index i, which must be one of the edge.
const LxCDataBufferEntry& CStraightEdge::EntryAt(int i) const
{
    return (*m_pOwnBuffer)[static_cast<std::size_t>(i < m_iLeftCount ? m_iLeftCount - i - 1 : i)];
}

/// Writes a word where it lies inside an image. Positions along and values across the edge.
struct CStraightEdge::SCanvas
{
    std::int32_t* words;
    int width;
    int height;
    std::int32_t value;
    std::int64_t dx;
    std::int64_t dy;
    bool vertical;

    void Set(std::int64_t position, std::int64_t across) const
    {
        const std::int64_t x = (vertical ? across : position) + dx;
        const std::int64_t y = (vertical ? position : across) + dy;
        if (0 <= x && x < width && 0 <= y && y < height) {
            words[y * width + x] = value;
        }
    }

    /// Goes on from a position by `count` pixels; all the pixels beyond the image are left out at once.
    void Extend(std::int64_t position, std::int64_t across, int step, int count) const
    {
        const int longest = std::max(width, height);
        for (int i = 1; i <= std::min(count, longest); ++i) {
            Set(position + std::int64_t{step} * i, across);
        }
    }
};

int CStraightEdge::CountEntries() const
{
    return static_cast<int>(std::count_if(m_pOwnBuffer->begin(), m_pOwnBuffer->begin() + GetLen(),
                                          [](const auto& entry) { return !entry.IsContorGap(); }));
}

void CStraightEdge::ReplaceByPolynomial(std::span<const double> coefficients)
{
    const int length = GetLen();
    const int first = First();
    LxCDataBufferEntry* const entries = m_pOwnBuffer->data();
    for (int i = 0; i < length; ++i) {
        const double fixed = PolynomialAt(coefficients, static_cast<double>(first) + i) *
                             static_cast<double>(LxCSubpixel::m_scfSubpixFactor);
        entries[i < m_iLeftCount ? m_iLeftCount - i - 1 : i] =
            LxCDataBufferEntry(TruncateTo<std::uint32_t>(fixed));
    }
}

bool CStraightEdge::CheckForPrevEntries(const CCTImage& idImage, int dx, int dy, int& id) const
{
    if (!IsWordImage(idImage)) {
        return false;
    }
    const auto* const words = static_cast<const std::int32_t*>(idImage.GetBuffer());
    const bool vertical = m_eOrientation == eVertical;
    const int first = First();
    for (int i = 0; i < GetLen(); ++i) {
        const LxCDataBufferEntry& entry = EntryAt(i);
        if (entry.IsContorGap()) {
            continue;
        }
        const std::int64_t across = PixelOf(entry);
        const std::int64_t position = std::int64_t{first} + i;
        const std::int64_t x = (vertical ? across : position) + dx;
        const std::int64_t y = (vertical ? position : across) + dy;
        if (x < 0 || x >= idImage.GetWidth() || y < 0 || y >= idImage.GetHeight()) {
            continue;
        }
        const LxCCalibId pixel(words[y * idImage.GetWidth() + x]);
        if (pixel.HasEntry()) {
            id = pixel.GetId();
            return true;
        }
    }
    return false;
}

void CStraightEdge::Draw(CCTImage& image, std::int32_t value, int width, bool closeSteps) const
{
    DrawEx(image, value, width, closeSteps, 0, 0);
}

void CStraightEdge::DrawEx(CCTImage& image, std::int32_t value, int width, bool closeSteps, int dx,
                           int dy) const
{
    const int length = GetLen();
    const SCanvas canvas{
        WordsOf(image), image.GetWidth(), image.GetHeight(), value, dx, dy, m_eOrientation == eVertical};
    if (canvas.words == nullptr || length == 0) {
        return;
    }
    const int first = First();
    for (int i = 0; i < length; ++i) {
        const LxCDataBufferEntry& entry = EntryAt(i);
        if (entry.IsContorGap()) {
            continue;
        }
        const int across = PixelOf(entry);
        canvas.Set(first + i, across);
        if (closeSteps && i > 0 && !EntryAt(i - 1).IsContorGap()) {
            const int before = PixelOf(EntryAt(i - 1));
            if (std::abs(across - before) == 1) {
                canvas.Set(first + i, before);
            }
        }
    }
    if (!EntryAt(0).IsContorGap()) {
        canvas.Extend(first, PixelOf(EntryAt(0)), -1, width);
    }
    if (!EntryAt(length - 1).IsContorGap()) {
        canvas.Extend(Last(), PixelOf(EntryAt(length - 1)), 1, width);
    }
}

/// Entries that a fit takes at most.
int CStraightEdge::GetSampleCount(int samples, int skip) const
{
    const std::int64_t inside = std::int64_t{GetLen()} - 2 * std::int64_t{skip};
    return std::max(2, SaturateToInt(std::min(inside, std::int64_t{samples})));
}

CStraightEdge::SSamples CStraightEdge::Gather(int samples, int skip, bool fromStart) const
{
    const int length = GetLen();
    const int count = std::min(GetSampleCount(samples, skip), length);
    const int first = First();
    SSamples gathered(count);
    if (fromStart && skip <= 0 && count == length) {
        gathered.AddAll({m_pOwnBuffer->data(), static_cast<std::size_t>(length)}, m_iLeftCount, first);
        return gathered;
    }
    for (int i = std::max(skip, 0); i < length && gathered.GetCount() < count; ++i) {
        const int index = fromStart ? i : length - 1 - i;
        if (!EntryAt(index).IsContorGap()) {
            gathered.Add(first + index, ValueOf(EntryAt(index)));
        }
    }
    return gathered;
}

bool CStraightEdge::FitToStrLine(C2DStraightLine* line, int samples, int skip, bool fromStart,
                                 double& residual, bool leastSquares) const
{
    return line != nullptr && GetLen() >= 2 &&
           Gather(samples, skip, fromStart)
               .FitLine(*line, m_eOrientation == eVertical, residual, leastSquares);
}

bool CStraightEdge::FitToStrLine(C2DStraightLine* line, const LxCSensorCoordsCCT& cornerA,
                                 const LxCSensorCoordsCCT& cornerB, bool horizontal, double exclusion,
                                 double& residual, bool leastSquares) const
{
    const int length = GetLen();
    if (line == nullptr || length < 2) {
        return false;
    }
    const double positionA = horizontal ? cornerA.x : cornerA.y;
    const double valueA = horizontal ? cornerA.y : cornerA.x;
    const double positionB = horizontal ? cornerB.x : cornerB.y;
    const double valueB = horizontal ? cornerB.y : cornerB.x;
    const double limit = exclusion * exclusion;
    const int first = First();
    SSamples gathered(length);
    for (int i = 0; i < length; ++i) {
        if (EntryAt(i).IsContorGap()) {
            continue;
        }
        const double position = first + i;
        const double value = ValueOf(EntryAt(i));
        const double alongA = position - positionA;
        const double acrossA = value - valueA;
        const double alongB = position - positionB;
        if (alongA * alongA + acrossA * acrossA > limit &&
            alongB * alongB + (value - valueB) * acrossA > limit) {
            gathered.Add(position, value);
        }
    }
    return gathered.FitLine(*line, m_eOrientation == eVertical, residual, leastSquares);
}

bool CStraightEdge::FitToPoly(double*& coefficients, int degree, int samples, int skip, bool fromStart) const
{
    coefficients = nullptr;
    if (degree < 0 || degree > c_iMaxPolynomialDegree) {
        return false;
    }
    std::array<double, c_iMaxPolynomialDegree + 1> place{};
    const std::span<double> fitted(place.data(), static_cast<std::size_t>(degree) + 1);
    if (!FitToPoly(fitted, samples, skip, fromStart)) {
        return false;
    }
    coefficients = new double[fitted.size()];
    std::copy(fitted.begin(), fitted.end(), coefficients);
    return true;
}

bool CStraightEdge::FitToPoly(std::span<double> coefficients, int samples, int skip, bool fromStart) const
{
    if (coefficients.empty() || coefficients.size() > c_iMaxPolynomialDegree + 1 ||
        static_cast<std::size_t>(GetLen()) < coefficients.size()) {
        return false;
    }
    std::array<double, c_iMaxPolynomialDegree + 1> place{};
    const std::span<double> fitted(place.data(), coefficients.size());
    SSamples gathered = Gather(samples, skip, fromStart);
    if (!gathered.FitPoly(fitted) || (gathered.DropOutliers(fitted) && !gathered.FitPoly(fitted))) {
        return false;
    }
    std::copy(fitted.begin(), fitted.end(), coefficients.begin());
    return true;
}

bool CStraightEdge::GetContrastAndOversat(const CCTImage& image, int samples, int skip, bool fromStart,
                                          int limit, int& contrast, int& overSat) const
{
    contrast = 0;
    overSat = 0;
    const int length = GetLen();
    const int wanted = GetSampleCount(samples, skip);
    const bool vertical = m_eOrientation == eVertical;
    const bool isColor = image.GetDataType() == CCTImage::eIDT_ARGB8;
    int count = 0;
    std::int64_t differences = 0;
    std::int64_t overSaturated = 0;
    std::int64_t taken = 0;
    for (int i = std::max(skip, 0); i < length && taken < wanted; ++i, ++taken) {
        const int index = fromStart ? i : length - 1 - i;
        if (EntryAt(index).IsContorGap()) {
            break;
        }
        const double position = First() + index;
        const double value = ValueOf(EntryAt(index));
        SPixel before;
        SPixel behind;
        if (!before.Read(image, position, value - c_dContrastDistance, vertical) ||
            !behind.Read(image, position, value + c_dContrastDistance, vertical)) {
            continue;
        }
        ++count;
        if (isColor) {
            differences += before.DifferenceTo(behind);
            overSaturated += before.Exceeds(limit) || behind.Exceeds(limit) ? 1 : 0;
        }
    }
    if (count == 0) {
        return false;
    }
    contrast = static_cast<int>(differences / c_iColors / count);
    overSat = static_cast<int>(c_iPercent * overSaturated / count);
    return true;
}

void CStraightEdge::HandRoomTo(CStraightEdge& next)
{
    if (this == &next) {
        return;
    }
    const auto used = m_pOwnBuffer->begin() + GetLen();
    auto exact = std::make_unique<std::vector<LxCDataBufferEntry>>(m_pOwnBuffer->begin(), used);
    next.m_pOwnBuffer = std::move(m_pOwnBuffer);
    next.m_iLeftCount = 0;
    next.m_iRightCount = 0;
    m_pOwnBuffer = std::move(exact);
}

} // namespace LxCV
