// Which steps of a measurement run, and in which region of the image.
#pragma once

#include "lxclxcvlibsettings.h"
#include "lxcroi.h"
#include "orx/base/export.h"

#include <cstdint>
#include <string>

namespace LxCV {

class LxCCCTSerializer;

/// A plain record for the decoding stage: members may be read and written freely. It starts as one of four presets.
/// 0 and 3 take most values from the settings (`LxCLxCVLibSettings`) at construction, 1 and 2 are bare.
class ORX_EXPORT LxCAlgorithmConfig
{
public:
    using EReduceData = LxCLxCVLibSettings::EReduceData;

    /// A preset; the numbers are those that callers store.
    enum ESettings : int
    {
        eS_Preset0 = 0,
        eS_Preset1 = 1, ///< bare
        eS_Preset2 = 2, ///< bare
        eS_Preset3 = 3
    };
    static constexpr int sc_iNumSettings = 4;

    /// @param settings a number that is no preset stands for preset 0
    explicit LxCAlgorithmConfig(ESettings settings = eS_Preset0);

    /// Writes or reads the members that have keys, and the region in the subsection "::Roi". A key that a loaded text
    /// lacks leaves its member. Reading ends with `UpdateHalfRegion`.
    void Serialize(LxCCCTSerializer& serializer, const std::string& section);

    /// Derives the half region from the region.
    void UpdateHalfRegion();

    // Named in brackets: the setting that presets 0 and 3 take, where the member is not named like it.

    bool m_bRepairEdgesUndercutFree = true; ///< gaps are closed only where that bridges no undercut
    bool m_bUsePyrApproach = false;         ///< coarse to fine; true in presets 0 and 3
    std::int32_t m_iMaxIpolGap = 10;        ///< pixels; longest gap to interpolate
    bool m_bUseCompSceneColor = false;      ///< the scene's colour is compensated; true in presets 0 and 3
    bool m_bClean3DData = false;            ///< outliers of the cloud are dropped
    bool m_bUseReferenceShift = false;      ///< the reference image is shifted for motion between the images
    std::int32_t m_iBoundaryShiftedRefImg = 0; ///< pixels; border of the shifted image that is not used
    bool m_bRepairEdges = false;               ///< gaps in traced edges are closed
    bool m_bCheckOtherSymbols = false;         ///< symbols are also read from neighbouring edges
    bool m_bOrderingConstraint = false;        ///< edges must appear in the order of the slide
    std::int32_t m_iMinNumSymbols = 0;         ///< symbols that must agree before an edge gets a number
    bool m_bDepthCulling = false;      ///< points that are too far away are dropped [EnableDepthCulling]
    bool m_bExitWindowCulling = false; ///< points on the device's side of its exit window are dropped
                                       ///< [EnableExitWindowCulling]
    bool m_bSmoothReducedData = false; ///< a reduced cloud is smoothed; not stored
    EReduceData m_eReduceData = LxCLxCVLibSettings::eRD_None; ///< how the cloud is reduced; not stored

    /// Pixels of the raw image: all of it but a border all round [Boundary3DDataAllRound] and, in presets 0 and 3, more
    /// columns at the right [Boundary3DData]. Its size is negative where the borders leave nothing.
    LxCRoi m_Roi;

    /// The region at half resolution, one pixel inside it: (left / 2 + 1, top / 2 + 1, width / 2 - 2, height / 2 - 2).
    /// Not stored.
    LxCRoi m_RoiHalf;

private:
    void TakeSettings();
};

} // namespace LxCV
