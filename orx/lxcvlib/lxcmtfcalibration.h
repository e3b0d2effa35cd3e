// The contrast of the optics, measured on an image of a test chart.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace LxCV {

class CCTImage;

/// Measures the modulation (max - min) / (max + min) of bar patterns on a chart.
///
/// At its centre the chart shows a dark disc and around it two thin dark rings; around these lie patches of bars on a
/// square lattice, whose pitch is the scale s in pixels: patches for the horizontal contrast at the odd multiples of s in
/// both directions, patches for the vertical contrast at the even ones. s is the outer ring's diameter over 0.8.
///
/// The caller runs `FindCenterOfCircle`, `DetermineScaleFactor`, `DetermineOrientation` and `CalculateContrast` in this
/// order and ends where one gives false. Brightness is the first byte of a pixel, which is blue; a byte below the
/// brightness limit is dark.
///
/// The image is not owned and must outlive this object; its pixels get marks while it is measured. An image that is null,
/// of another type than `eIDT_ARGB8`, or of another size than at construction makes every step false. Numbers of the
/// constructor may be any: what lies outside of the image is never touched. Pixel (0, 0) is the centre of the upper left
/// pixel. One thread at a time.
class ORX_EXPORT LxCMTFCalibration
{
public:
    /// @param image `eIDT_ARGB8`, not owned
    /// @param size side of the central square that is searched for the rings, pixels; cut to the image
    /// @param limit bytes below are dark
    /// @param dark dark runs of this many pixels and more are no cross-section of a ring; a row needs four gaps between
    ///     middles of neighbouring runs that are smaller
    /// @param thin largest width of a thin ring's cross-section, pixels
    LxCMTFCalibration(CCTImage* image, unsigned size, unsigned limit, unsigned dark, unsigned thin);
    LxCMTFCalibration(const LxCMTFCalibration&) = delete;
    LxCMTFCalibration& operator=(const LxCMTFCalibration&) = delete;
    ~LxCMTFCalibration() = default;

    /// Finds the centre of the rings: the mean place of five neighbouring dark runs, thin, thin, wide, thin, thin, in the
    /// rows of the central square; the first five in a row count. A run that reaches the square's right side is none.
    /// Column and row are robust means over the rows that show such runs, see `RobustMean`, truncated as the places of
    /// patches are. Marks the middles of the runs red, and the centre white.
    /// @return false, with image and centre as they were, if no row shows such runs
    bool FindCenterOfCircle();

    /// Determines the scale from the radius of the outer ring in the four directions along rows and columns. The white
    /// mark of the centre is bright like any other pixel, and where it ends in a dark disc, brightness changes: so a
    /// disc whose rings are missing in a direction counts there with half of its radius.
    /// @return false, with the scale as it was, if a diameter is not found or the two differ by 10 percent or more
    bool DetermineScaleFactor();

    /// Determines the angle from edges that lead from dark to at least 16 bright pixels, the last ones of their rows. An
    /// edge is 20 rows long at least, without a jump of 2 columns or more; where some reach over 200 rows, these decide
    /// alone, so that a chart with a long line at its right side is measured by this.
    ///
    /// The angle is the slope of the edge: with x to the right and y upwards, that of a line in -pi/2 ... pi/2. An edge
    /// along a column exactly has 0, one that is tilted about it nearly pi/2 or -pi/2; one along a column of which noise
    /// moves some rows by a pixel has any, so that a chart is better turned by half a degree. The lattice of patches looks the
    /// same after a quarter turn. Deliberately, the lattice is turned by this angle in the image, where y points
    /// downwards, and so against the tilt: a patch at the distance R from the rings is missed by 2 R sin(tilt), which is
    /// more than a patch for tilts above a few degrees. A quarter turn also exchanges the numbers of places along both axes.
    /// @return false, with the angle as it was, if there is no such edge
    bool DetermineOrientation();

    /// Reads the patches of both lattices and takes the mean contrast of each. There are nx = width / trunc(2 s) places
    /// along u and ny = height / trunc(2 s) along v, from (1 - nx / 2) 2 s and (1 - ny / 2) 2 s on, in integer divisions,
    /// so that odd numbers reach farther to the right and down. The first lattice, of all of them, is s to the left and
    /// above; the second has one place less in each direction, lacks that of the rings and, deliberately, the last one of
    /// those that remain. Patches that leave the image do not count; a lattice without any gives -1.
    /// @return false, with the contrasts as they were, for less than two places in a direction
    bool CalculateContrast();

    /// Pixels.
    unsigned GetCircleColPos() const { return m_uiCircleCol; }
    unsigned GetCircleRowPos() const { return m_uiCircleRow; }

    /// Pitch of the lattice, pixels; 0 before it is determined.
    float GetScaleFactor() const { return m_fScaleFactor; }

    /// Radians, see `DetermineOrientation`.
    float GetAngle() const { return m_fAngle; }

    /// No unit, 0 to 1; -1 where no patch could be read.
    float GetContrastHor() const { return m_fContrastHor; }
    float GetContrastVer() const { return m_fContrastVer; }

protected:
    /// What `FindOuterRing` gives where there is no ring.
    static constexpr double sc_dNoRing = -1000.0;

    /// The radius of the outermost ring: the mean of the last two places where brightness changes, 0.5 pixels before the
    /// pixel that differs.
    /// @param pixel the centre
    /// @param step bytes from one pixel to the next
    /// @param reach pixels behind the centre that may be looked at; no more than 100 are
    /// @return pixels; `sc_dNoRing` for less than two changes
    double FindOuterRing(const std::uint8_t* pixel, std::ptrdiff_t step, std::uint32_t reach) const;

    /// The contrast in the square of side trunc(0.6 s) around a pixel, whose border is marked green. Black pixels have no
    /// contrast, 0.
    /// @return -1, without a mark, if the square leaves the image or has no pixels
    float CalculateSingleMTFContrast(std::int32_t x, std::int32_t y);

    /// The mean of the samples without outliers: as long as three are left, one that is more than 0.2 away from the mean
    /// and at least 1.1 times as far as the next is dropped. 0 for no samples.
    static double RobustMean(std::vector<double> samples);

    void SetScaleFactor(float scale) { m_fScaleFactor = scale; }
    void SetAngle(float angle) { m_fAngle = angle; }

private:
    struct SRun;
    struct SPoint;

    bool HasImage() const;
    std::uint8_t* GetPixel(std::uint32_t col, std::uint32_t row) const;
    bool IsDark(const std::uint8_t* pixel) const { return *pixel < m_uiLimit; }

    void CollectRuns(const std::uint8_t* pixel, std::uint32_t count, std::vector<SRun>& runs) const;
    std::span<const SRun> FindCrossSection(const std::vector<SRun>& runs) const;
    std::vector<SPoint> FindLastEdges() const;
    void MarkCentre(double col, double row);

    CCTImage* m_pImage; ///< not owned, may be null
    std::uint32_t m_uiWidth = 0;
    std::uint32_t m_uiHeight = 0;
    std::uint32_t m_uiSize;       ///< pixels
    std::uint32_t m_uiLimit;      ///< bytes below are dark
    std::uint32_t m_uiLongestRun; ///< pixels, exclusive
    std::uint32_t m_uiThinRun;    ///< pixels, inclusive
    std::uint32_t m_uiCircleCol = 0;
    std::uint32_t m_uiCircleRow = 0;
    float m_fScaleFactor = 0.0F; ///< pixels
    float m_fAngle = 0.0F;       ///< radians
    float m_fContrastHor = 0.0F;
    float m_fContrastVer = 0.0F;
};

} // namespace LxCV
