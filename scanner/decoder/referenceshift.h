// The reference image moved onto the pattern image.
#pragma once

#include "cctimage.h"
#include "scanner/decoder/shiftestimator.h"

namespace LxCV {
class LxCCCLAlgoConfig;
}

namespace decoder {

/// Undoes the motion of a hand-held camera between reference and pattern image, where the active preset wants it
/// (`m_bUseReferenceShift`): texture is divided by itself only where both images show the same place in the same pixel.
///
/// The motion is one of the whole image by whole pixels, up to `m_iBoundaryShiftedRefImg` along either axis; a border of
/// the pattern image as wide is not looked at. See `ShiftEstimator`, which searches it as `m_bUsePyrApproach` tells. An
/// image that did not move is taken as it is. In one that is shifted, what came in from beyond its border is black, and so
/// undecodable: at most that border.
class ReferenceShift
{
public:
    explicit ReferenceShift(const LxCV::LxCCCLAlgoConfig& config);

    /// Whether the active preset wants it and leaves a border to shift by.
    bool IsWanted() const { return m_border > 0; }

    /// Makes the working images.
    /// @throws std::bad_alloc
    void Init(int width, int height);

    /// Estimates the motion, and shifts the reference image by it.
    /// @param reference, pattern type FLOAT32_3 and one size; others are taken as unmoved
    /// @return the reference itself, or an image of this object
    /// @throws std::bad_alloc
    const LxCV::CCTImage& Align(const LxCV::CCTImage& reference, const LxCV::CCTImage& pattern);

    /// From the reference to the pattern image, as last estimated.
    ImageShift GetShift() const { return m_shift; }

    /// What `Align` gave for a reference image.
    const LxCV::CCTImage& Aligned(const LxCV::CCTImage& reference) const
    {
        return m_shift == ImageShift{} ? reference : m_image;
    }

private:
    void Shift(const LxCV::CCTImage& reference);

    int m_border; ///< pixels; 0 for no shift
    ShiftEstimator m_estimator;
    ImageShift m_shift;
    LxCV::CCTImage m_image; ///< FLOAT32_3
};

} // namespace decoder
