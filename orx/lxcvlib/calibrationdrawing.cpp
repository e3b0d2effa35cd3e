// How errors of calibration marks are drawn.
#include "cctimage.h"
#include "floattointeger.h"
#include "lxccalibrationdata.h"
#include "lxccolorvalueargb8.h"
#include "lxcpatternprojector.h"
#include "saturate.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace LxCV {

namespace {

constexpr int c_iDiamondReach = 2; ///< rows above and below the position

// Of a camera's error vectors: with larger error figures they are drawn less enlarged.
constexpr double c_dSmallFigure = 0.5;
constexpr int c_iLargestGain = 100;
constexpr int c_iSmallestGain = 10;

// Of a projector's.
constexpr double c_dSmallMiss = 0.2;     ///< pixels, larger coordinate of a miss
constexpr double c_dVectorLength = 20.0; ///< pixels, for larger misses
constexpr double c_dEnlargement = 100.0; ///< of smaller ones

/// What is seen nowhere.
constexpr LxCSensorCoordsCCT NoPixel()
{
    constexpr double c_dNaN = std::numeric_limits<double>::quiet_NaN();
    return {c_dNaN, c_dNaN};
}

/// A position as a pixel; far outside any image where the number is beyond int.
struct SPixel
{
    explicit SPixel(const LxCSensorCoordsCCT& position)
        : x(TruncateTo<int>(position.x)), y(TruncateTo<int>(position.y))
    {}

    int x;
    int y;
};

int Shift(int value, int by)
{
    return SaturateToInt(std::int64_t{value} + by);
}

double GainOf(double errorFigure)
{
    return errorFigure < c_dSmallFigure
               ? c_iLargestGain
               : std::max(SaturateToInt(c_iLargestGain - std::int64_t{TruncateTo<int>(25.0 * errorFigure)}),
                          c_iSmallestGain);
}

/// Draws the position of a mark as a small diamond and its error as a thick line: red in a colour image, white in any
/// other. Positions are pixels, truncated; one that is not finite draws nothing.
void DrawErrorVector(CCTImage& image, const LxCSensorCoordsCCT& position, const LxCSensorCoordsCCT& end)
{
    if (!image.IsValid() || !std::isfinite(position.x) || !std::isfinite(position.y) ||
        !std::isfinite(end.x) || !std::isfinite(end.y)) {
        return;
    }
    // White is 255 in every grey image.
    const LxCColorValueARGB8 color = image.IsBW() ? LxCColorValueARGB8::eWhite : LxCColorValueARGB8::eRed;
    const SPixel from(position);
    const SPixel to(end);
    for (int row = -c_iDiamondReach; row <= c_iDiamondReach; ++row) {
        const int reach = c_iDiamondReach - std::abs(row) / 2;
        const int y = Shift(from.y, row);
        image.DrawLine(Shift(from.x, -reach), y, Shift(from.x, reach), y, color);
    }
    for (const int offset : {-1, 0, 1}) {
        image.DrawLine(Shift(from.x, offset), from.y, Shift(to.x, offset), to.y, color);
    }
}

} // namespace

void LxCPinholeCamera::DrawCalibResults(CCTImage* image, const std::vector<LxCCalibrationData*>* marks) const
{
    if (image == nullptr || marks == nullptr) {
        return;
    }
    const double gain = GainOf(m_dErrorFigures[2]);
    for (const LxCCalibrationData* mark : *marks) {
        if (mark == nullptr || !mark->IsNonzero()) {
            continue;
        }
        LxCSensorCoordsCCT projected = NoPixel();
        WorldToDisImageCoords(mark->m_dXw, mark->m_dYw, mark->m_dZw, &projected.x, &projected.y);
        const LxCSensorCoordsCCT measured = mark->GetImagePart();
        DrawErrorVector(
            *image, measured,
            {measured.x + (projected.x - measured.x) * gain, measured.y + (projected.y - measured.y) * gain});
    }
}

void LxCPatternProjector::DrawCalibResults(CCTImage* image, const LxCPinholeCamera* camera,
                                           const std::vector<LxCCalibrationData*>* marks) const
{
    if (image == nullptr || camera == nullptr || marks == nullptr) {
        return;
    }
    for (const LxCCalibrationData* mark : *marks) {
        if (mark == nullptr) {
            continue;
        }
        double hitX = 0.0;
        double hitY = 0.0;
        DisImageToWorldCoords(mark->m_dXi, mark->m_dYi, 0.0, &hitX, &hitY);
        LxCSensorCoordsCCT hit = NoPixel();
        camera->WorldToDisImageCoords(hitX, hitY, 0.0, &hit.x, &hit.y);
        LxCSensorCoordsCCT seen = NoPixel();
        if (IsRootObject()) {
            camera->WorldToDisImageCoords(mark->m_dXw, mark->m_dYw, mark->m_dZw, &seen.x, &seen.y);
        } else {
            camera->CameraToDisImageCoords(mark->m_dXw, mark->m_dYw, mark->m_dZw, &seen.x, &seen.y);
        }
        const LxCSensorCoordsCCT miss = hit - seen;
        const double largest = std::max(std::abs(miss.x), std::abs(miss.y));
        const double gain = largest > c_dSmallMiss ? c_dVectorLength / largest : c_dEnlargement;
        DrawErrorVector(*image, seen, {seen.x + miss.x * gain, seen.y + miss.y * gain});
    }
}

} // namespace LxCV
