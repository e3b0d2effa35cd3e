// A connected region of a label image.
#pragma once

#include "lxcellipse.h"
#include "orx/base/export.h"

#include <cstdint>

namespace LxCV {

class CCTImage;

/// Number, size, bounding box and centre of gravity of a region of an image, with the fit of an ellipse to
/// its edge.
///
/// All coordinates are pixels, pixel (0, 0) being the centre of the top left one. The bounds are inclusive.
class ORX_EXPORT LxCBlob
{
public:
    int m_iId = 0;         ///< from 1; 0 for none, -1 for a combination of blobs
    int m_iPixelCount = 0; ///< pixels of the region
    int m_iLeft = -1;
    int m_iRight = -1;
    int m_iTop = -1;
    int m_iBottom = -1;
    double m_dCenterX = -1.0;
    double m_dCenterY = -1.0;
    std::int32_t m_iSumX = 0; ///< of the pixels' x; the largest value where the sum exceeds it
    std::int32_t m_iSumY = 0; ///< of the pixels' y; the largest value where the sum exceeds it
    bool m_bValid = true;     ///< callers clear it to drop a blob that stays in its list

    void Reset() { *this = LxCBlob(); }
    bool IsValid() const { return m_bValid; }
    void SetValid(bool valid) { m_bValid = valid; }

    int GetWidth() const;
    int GetHeight() const;

    /// Whether the point lies in the bounding box, its bounds included.
    bool IsInside(double x, double y) const;

    /// Whether a corner of the box of `other` lies in this box. Deliberately not symmetric: a box that
    /// contains this one has no corner in it.
    bool IsIntersection(const LxCBlob& other) const;

    /// A valid blob with the id -1, the common bounding box and, deliberately, the larger of the two pixel
    /// counts, not their sum: it tells the size of the main part. Centre and sums are -1.
    LxCBlob Combine(const LxCBlob& other) const;

    /// Points of the ellipse (x - cx)² / a² + (y - cy)² / b² = 1, for an edge search to start from: in steps
    /// of a quarter pixel in x from left to right, the point at larger y and then, unless both are the same,
    /// the one at smaller y. A step whose first point falls into the same pixel, by truncation, as the first
    /// point that was stored last, is left out.
    ///
    /// @param xs, ys room for maxPoints values each
    /// @return number of points; 0 if a semi-axis is not above 0, if an array is null, if maxPoints - 1
    ///         points do not reach the right end, or if quarter pixels are lost in the magnitude of the
    ///         coordinates
    static int CreateArtificialContour(double* const xs, double* const ys, double cx, double cy, double a,
                                       double b, int maxPoints);

    /// Moves contour points along the rays from the ellipse's centre to the steepest change of grey, with
    /// sub-pixel precision, and fits the ellipse to them. Points without a clear edge are dropped.
    ///
    /// @param xs, ys       count contour points; the refined points overwrite them from the start
    /// @param ellipse      its centre is the origin of the rays; receives the fitted ellipse, if there is one
    /// @param image        of any type that `CCTImage::ConvertPixToInt` reads
    /// @param rising       whether the image grows brighter from the centre outwards
    /// @param shortProfile whether edges are sought within 3 pixels of a point instead of 4
    /// @param debugImage   null, or an image that receives the value 65535 at the refined points
    /// @return the root mean square distance of the refined points to the ellipse, pixels; -1.0 below 6
    ///         points, for a null pointer other than `debugImage`, and if no ellipse fits
    static double EllipseFitEx(double* const xs, double* const ys, int count, LxCEllipse* ellipse,
                               CCTImage* image, bool rising, bool shortProfile, CCTImage* debugImage);

    /// Fits an ellipse to the rising edge around this blob: first from the ellipse that fills the bounding
    /// box, then, where the result is off that by more than a pixel, once more from the result with its axes
    /// unturned.
    ///
    /// @param ellipse  receives the result; the blob's centre without axes where the first fit fails, untouched
    ///                 where the box has no contour: half its width or height, in integers, is 0, or the
    ///                 contour takes 1000 points or more
    /// @param maxError pixels; a first fit with an error not below it is not improved
    /// @return the error as `EllipseFitEx` gives it; -1.0 also if the ellipse strays more than 20 pixels from
    ///         the blob's centre on an axis
    double FitEllipseToBlob(CCTImage* image, LxCEllipse* ellipse, double maxError, bool shortProfile,
                            CCTImage* debugImage) const;
};

} // namespace LxCV
