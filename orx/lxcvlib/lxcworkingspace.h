// The range of depths in which measurements are valid.
#pragma once

#include "orx/base/export.h"

#include <limits>
#include <string>

namespace LxCV {

class LxCCCTSerializer;
class LxCPinholeCamera;

/// A depth range, held in camera and in world coordinates at once: z in the camera frame and z in the world
/// frame, millimetres, of points on the camera's ray through the middle of the image. (The middle is half of
/// the image's width and height, which is not the principal point.)
///
/// One pair is the source, as it was set; the other is derived from it with the camera of that moment and is
/// sorted. All four are not a number until set; the world pair also after loading, until `Update`. What a camera
/// gives that is not finite is held and written as it is, and such a text reads as one without it. The camera is
/// looked at during a call only.
class ORX_EXPORT LxCWorkingSpace
{
public:
    LxCWorkingSpace() = default;

    /// Takes a range of z in the camera frame, mm, as given and derives the world pair. Without a camera the
    /// derived pair is not a number.
    void SetUsingCamCoords(double min, double max, const LxCPinholeCamera* camera);

    /// Takes a range of z in the world frame, mm, as given and derives the camera pair.
    void SetUsingWorldCoords(double min, double max, const LxCPinholeCamera* camera);

    /// Derives the other pair anew from the source pair, after the camera changed.
    void Update(const LxCPinholeCamera* camera);

    double GetMinWorkingDistCamCoords() const { return m_dMinDistCamCoords; }
    double GetMaxWorkingDistCamCoords() const { return m_dMaxDistCamCoords; }
    double GetMinWorkingDistWorldCoords() const { return m_dMinDistWorldCoords; }
    double GetMaxWorkingDistWorldCoords() const { return m_dMaxDistWorldCoords; }

    double GetMinWorkingDistCC() const { return GetMinWorkingDistCamCoords(); }
    double GetMaxWorkingDistCC() const { return GetMaxWorkingDistCamCoords(); }
    double GetMinWorkingDistWC() const { return GetMinWorkingDistWorldCoords(); }
    double GetMaxWorkingDistWC() const { return GetMaxWorkingDistWorldCoords(); }

    /// Keys: MinDistCamCoords, MaxDistCamCoords. Which pair is the source is not stored and stays; call `Update` after
    /// reading, which derives the pair that was read anew where the world pair is the source.
    virtual void Serialize(LxCCCTSerializer& serializer, const std::string& section);

private:
    double m_dMinDistCamCoords = std::numeric_limits<double>::quiet_NaN();   ///< mm
    double m_dMaxDistCamCoords = std::numeric_limits<double>::quiet_NaN();   ///< mm
    double m_dMinDistWorldCoords = std::numeric_limits<double>::quiet_NaN(); ///< mm
    double m_dMaxDistWorldCoords = std::numeric_limits<double>::quiet_NaN(); ///< mm
    bool m_bSetInCamCoords = true; ///< the camera pair is the source
};

} // namespace LxCV
