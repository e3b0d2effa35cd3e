// Thresholds that every calibration target carries.
#pragma once

#include "cctimage.h"
#include "orx/base/export.h"

#include <memory>
#include <string>

namespace LxCV {

class LxCCCTSerializer;

/// Tuning values of the location of calibration marks, common to all targets; the target's data file sets
/// them.
///
/// A plain record: members may be read and written freely. Lengths in the image are pixels.
class ORX_EXPORT LxCCalibThres
{
public:
    LxCCalibThres() { LxCCalibThres::Reset(); }
    LxCCalibThres(const LxCCalibThres&) = default;
    LxCCalibThres& operator=(const LxCCalibThres&) = default;
    virtual ~LxCCalibThres() = default;

    /// Restores the defaults of this class's members. Descendants restore their own members only.
    virtual void Reset();

    /// Writes or reads the members under `section`. A key that a loaded text lacks gets its default.
    virtual void Serialize(LxCCCTSerializer& serializer, const std::string& section);

    /// A copy of the same dynamic type: every descendant overrides this.
    virtual std::unique_ptr<LxCCalibThres> Clone() const { return std::make_unique<LxCCalibThres>(*this); }

    int m_iImgMargin;       ///< pixels; marks closer than this to the image border are not used
    int m_iImgMarginBottom; ///< pixels; additional strip at the bottom of the image
    CCTImage::ESmoothingMode m_eSmoothingMode; ///< any number that a data file tells is carried
    int m_iKernelSizeX;                        ///< pixels; smoothing kernel width
    int m_iKernelSizeY;                        ///< pixels; smoothing kernel height
    double m_dMarginPercent;     ///< fraction of the target's extent that its box gains on each side
    bool m_bFishEyeLens;         ///< relaxed neighbour search for strong distortion
    double m_dPseudoKappa2Tsai;  ///< 1/mm^2; distortion used to extrapolate mark positions; 0 switches it off
    bool m_bUseAutoThresholds;   ///< derive extremum thresholds from the image
    int m_iMaxIterationsPropIDs; ///< number of passes of id propagation
};

} // namespace LxCV
