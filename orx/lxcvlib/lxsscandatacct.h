// What one measurement by colour-coded triangulation delivers.
#pragma once

#include "lxsscandata.h"
#include "orx/base/export.h"

#include <string>

namespace LxCV {

/// A scan with images of the camera's full resolution, beside the reduced ones of the base. Without a reduction in
/// the settings both have one size, else the base has a third of the columns.
///
/// Images, their owner and their types are as told for the base. The image of type `eIDT_ARGB8` has a size of its own.
class ORX_EXPORT LxSScanDataCCT : public LxSScanData
{
public:
    LxSScanDataCCT();
    ~LxSScanDataCCT() override;

    using LxSScanData::Initialize;
    using LxSScanData::Write3DFile;

    /// @param width, height    pixels of the full images; the base has a third of the width, rounded down, where
    ///                         `LxCLxCVLibSettings::GetReduceData` is a reduction
    /// @param width2, height2  pixels of the ARGB image
    bool Initialize(int width, int height, int width2, int height2, bool withQualities) override;

    /// Clears the images of the base and its own. @return false if one of them is null; the images of base and of this
    /// class are cleared each only where none of their own is null
    bool Clear() override;

    /// Writes the points of the base where `reduced`, else the full ones.
    bool Write3DFile(const std::string& fileName, bool reduced) const;

    CCTImage* GetFull3DPoints() const { return m_pFull3DPoints.get(); }
    CCTImage* GetFullValidMask() const { return m_pFullValidMask.get(); }
    CCTImage* GetFullNormalMask() const { return m_pFullNormalMask.get(); }
    CCTImage* GetFullNormals() const { return m_pFullNormals.get(); }
    CCTImage* GetFullFloatPlane() const { return m_pFullFloatPlane.get(); }
    CCTImage* GetFullUInt16Plane() const { return m_pFullUInt16Plane.get(); }
    CCTImage* GetARGBImage() const { return m_pARGBImage.get(); }
    CCTImage* GetFullColor() const { return m_pFullColor.get(); }

    /// A number that is free for the host; 0 after `Initialize`.
    int GetFullHostValue() const { return m_iFullHostValue; }
    void SetFullHostValue(int value) { m_iFullHostValue = value; }

    /// A further one, which `Initialize` keeps.
    int GetKeptHostValue() const { return m_iKeptHostValue; }
    void SetKeptHostValue(int value) { m_iKeptHostValue = value; }

private:
    ImagePtr m_pFull3DPoints;
    ImagePtr m_pFullValidMask;
    ImagePtr m_pFullNormalMask;
    ImagePtr m_pFullNormals;
    ImagePtr m_pFullFloatPlane;
    int m_iFullHostValue = 0;
    int m_iKeptHostValue = 0;
    ImagePtr m_pFullUInt16Plane;
    ImagePtr m_pARGBImage;
    ImagePtr m_pFullColor;
};

} // namespace LxCV
