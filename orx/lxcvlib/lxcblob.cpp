// Boxes of blobs, and ellipses along their edges.
#include "lxcblob.h"

#include "cctimage.h"
#include "ellipsefit.h"
#include "floattointeger.h"
#include "saturate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace LxCV {

namespace {

constexpr double c_dColumnStep = 0.25;    ///< pixels, between contour points
constexpr int c_iMaxContourPoints = 1000; ///< of a blob
constexpr int c_iFewestPoints = 6;        ///< that determine an ellipse
constexpr double c_dMaxStray = 20.0;      ///< pixels, of the ellipse's centre from the blob's, on an axis
constexpr double c_dCloseEnough = 1.0;    ///< pixels, of a first fit that needs no second
constexpr unsigned long c_ulDebugValue = 65535;

constexpr int c_iShortReach = 3; ///< pixels from the contour point to either end of a profile
constexpr int c_iLongReach = 4;
constexpr std::size_t c_uiMaxSamples = 2 * c_iLongReach + 1;

/// A point and the direction of its profile.
struct Ray
{
    double x;
    double y;
    double ux;
    double uy;
};

/// None at the centre itself and for points that are not finite.
std::optional<Ray> RayFrom(const LxCEllipse& center, double x, double y)
{
    const double dx = x - center.GetX();
    const double dy = y - center.GetY();
    const double distance = std::sqrt(dx * dx + dy * dy);
    if (!(distance > 0.0) || !std::isfinite(distance)) {
        return std::nullopt;
    }
    return Ray{x, y, dx / distance, dy / distance};
}

/// The image as integers along the ray, a pixel apart. False if a sample lies outside.
bool SampleProfile(const CCTImage& image, const Ray& ray, std::span<std::int64_t> samples)
{
    const int reach = static_cast<int>(samples.size()) / 2;
    alignas(double) std::array<std::byte, sizeof(LxCFloat3)> pixel{};
    int offset = -reach;
    for (std::int64_t& sample : samples) {
        const double x = ray.x + offset * ray.ux;
        const double y = ray.y + offset * ray.uy;
        if (image.GetSubPixelLinearInterpol(x, y, pixel.data()) != CCTImage::eRC_OK) {
            return false;
        }
        sample = image.ConvertPixToInt(pixel.data());
        ++offset;
    }
    return true;
}

/// The place of the steepest rise, or fall, of a profile relative to its middle sample, by a parabola through
/// the gradient. None where the steepest place is at an end, or the parabola is flat.
std::optional<double> FindEdge(std::span<const std::int64_t> samples, bool rising)
{
    std::array<std::int64_t, c_uiMaxSamples - 2> gradients{};
    const std::span<std::int64_t> g(gradients.data(), samples.size() - 2);
    for (std::size_t i = 0; i < g.size(); ++i) {
        g[i] = samples[i + 2] - samples[i];
    }
    const auto steepest =
        rising ? std::max_element(g.begin(), g.end()) : std::min_element(g.begin(), g.end());
    const auto k = static_cast<std::size_t>(steepest - g.begin());
    if (k < 1 || k > g.size() - 2) {
        return std::nullopt;
    }
    const auto d = static_cast<double>(g[k + 1] + g[k - 1] - 2 * g[k]);
    if (d == 0.0) {
        return std::nullopt;
    }
    const int reach = static_cast<int>(samples.size()) / 2;
    return (static_cast<double>(g[k - 1] - g[k + 1]) / d) * 0.5 + (static_cast<int>(k) + 1) - reach;
}

/// Replaces the contour points by their edge points. @return how many there are
int RefineContour(double* xs, double* ys, int count, const LxCEllipse& center, const CCTImage& image,
                  bool rising, bool shortProfile)
{
    std::array<std::int64_t, c_uiMaxSamples> buffer{};
    const std::size_t reach = shortProfile ? c_iShortReach : c_iLongReach;
    const std::span<std::int64_t> samples(buffer.data(), 2 * reach + 1);
    int refined = 0;
    for (int i = 0; i < count; ++i) {
        const std::optional<Ray> ray = RayFrom(center, xs[i], ys[i]);
        if (!ray || !SampleProfile(image, *ray, samples)) {
            continue;
        }
        if (const std::optional<double> t = FindEdge(samples, rising)) {
            xs[refined] = ray->x + *t * ray->ux;
            ys[refined] = ray->y + *t * ray->uy;
            ++refined;
        }
    }
    return refined;
}

bool IsWithin(double first, double second, double limit)
{
    return std::abs(first - second) <= limit;
}

} // namespace

int LxCBlob::GetWidth() const
{
    return SaturateToInt(std::int64_t{m_iRight} - m_iLeft + 1);
}

int LxCBlob::GetHeight() const
{
    return SaturateToInt(std::int64_t{m_iBottom} - m_iTop + 1);
}

bool LxCBlob::IsInside(double x, double y) const
{
    return x >= m_iLeft && x <= m_iRight && y >= m_iTop && y <= m_iBottom;
}

bool LxCBlob::IsIntersection(const LxCBlob& other) const
{
    return IsInside(other.m_iLeft, other.m_iTop) || IsInside(other.m_iLeft, other.m_iBottom) ||
           IsInside(other.m_iRight, other.m_iTop) || IsInside(other.m_iRight, other.m_iBottom);
}

LxCBlob LxCBlob::Combine(const LxCBlob& other) const
{
    LxCBlob combined;
    combined.m_iId = -1;
    combined.m_iPixelCount = std::max(m_iPixelCount, other.m_iPixelCount);
    combined.m_iLeft = std::min(m_iLeft, other.m_iLeft);
    combined.m_iRight = std::max(m_iRight, other.m_iRight);
    combined.m_iTop = std::min(m_iTop, other.m_iTop);
    combined.m_iBottom = std::max(m_iBottom, other.m_iBottom);
    combined.m_iSumX = -1;
    combined.m_iSumY = -1;
    return combined;
}

int LxCBlob::CreateArtificialContour(double* const xs, double* const ys, double cx, double cy, double a,
                                     double b, int maxPoints)
{
    if (xs == nullptr || ys == nullptr || !(a > 0.0) || !(b > 0.0)) {
        return 0;
    }
    int count = 0;
    std::int64_t lastX = 0;
    std::int64_t lastY = 0;
    // NOLINTNEXTLINE(clang-analyzer-security.FloatLoopCounter): a step that changes nothing ends it
    for (double x = cx - a; x <= cx + a; x += c_dColumnStep) {
        if (count + 1 >= maxPoints || x + c_dColumnStep == x) {
            return 0;
        }
        const double t = (x - cx) / a;
        const double q = (1.0 - t * t) * (b * b);
        const double h = q > 0.0 ? std::sqrt(q) : 0.0;
        const auto pixelX = TruncateTo<std::int64_t>(x);
        const auto pixelY = TruncateTo<std::int64_t>(cy + h);
        if (count > 0 && pixelX == lastX && pixelY == lastY) {
            continue;
        }
        lastX = pixelX;
        lastY = pixelY;
        xs[count] = x;
        ys[count++] = cy + h;
        if (h > 0.0) {
            xs[count] = x;
            ys[count++] = cy - h;
        }
    }
    return count;
}

double LxCBlob::EllipseFitEx(double* const xs, double* const ys, int count, LxCEllipse* ellipse,
                             CCTImage* image, bool rising, bool shortProfile, CCTImage* debugImage)
{
    if (xs == nullptr || ys == nullptr || ellipse == nullptr || image == nullptr || count < c_iFewestPoints) {
        return -1.0;
    }
    const int refined = RefineContour(xs, ys, count, *ellipse, *image, rising, shortProfile);
    for (int i = 0; i < refined && debugImage != nullptr; ++i) {
        debugImage->SetPixel(TruncateTo<int>(xs[i]), TruncateTo<int>(ys[i]), c_ulDebugValue);
    }
    if (!FitEllipseDirect(xs, ys, refined, ellipse)) {
        return -1.0;
    }
    double squares = 0.0;
    for (int i = 0; i < refined; ++i) {
        const double distance = ellipse->Distance(xs[i], ys[i]);
        squares += distance * distance;
    }
    return std::sqrt(squares / refined);
}

double LxCBlob::FitEllipseToBlob(CCTImage* image, LxCEllipse* ellipse, double maxError, bool shortProfile,
                                 CCTImage* debugImage) const
{
    if (ellipse == nullptr) {
        return -1.0;
    }
    std::array<double, c_iMaxContourPoints> xs;
    std::array<double, c_iMaxContourPoints> ys;
    const int halfWidth = GetWidth() / 2;
    const int halfHeight = GetHeight() / 2;
    int count = CreateArtificialContour(xs.data(), ys.data(), m_dCenterX, m_dCenterY, halfWidth, halfHeight,
                                        c_iMaxContourPoints);
    if (count == 0) {
        return -1.0;
    }
    const auto isCenterWithin = [this, ellipse](double limit) {
        return IsWithin(ellipse->GetX(), m_dCenterX, limit) && IsWithin(ellipse->GetY(), m_dCenterY, limit);
    };
    ellipse->Reset(m_dCenterX, m_dCenterY, 0.0, 0.0, 0.0);
    double error = EllipseFitEx(xs.data(), ys.data(), count, ellipse, image, true, shortProfile, debugImage);
    if (!isCenterWithin(c_dMaxStray)) {
        return -1.0;
    }
    if (error <= 0.0 || error >= maxError) {
        return error;
    }
    if (isCenterWithin(c_dCloseEnough) && IsWithin(ellipse->GetA(), halfWidth, c_dCloseEnough) &&
        IsWithin(ellipse->GetB(), halfHeight, c_dCloseEnough)) {
        return error;
    }
    count = CreateArtificialContour(xs.data(), ys.data(), ellipse->GetX(), ellipse->GetY(), ellipse->GetA(),
                                    ellipse->GetB(), c_iMaxContourPoints);
    error = EllipseFitEx(xs.data(), ys.data(), count, ellipse, image, true, shortProfile, debugImage);
    return isCenterWithin(c_dMaxStray) ? error : -1.0;
}

} // namespace LxCV
