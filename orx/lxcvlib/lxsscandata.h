// What one measurement delivers.
#pragma once

#include "cctimage.h"
#include "lxsframegrabbermetadata.h"
#include "multiplequalities.h"
#include "orx/base/export.h"

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>

namespace LxCV {

class LxCCoordSysTrans;

/// An organised point cloud: images of one size with a pixel for each scene point, and how the frame was taken.
///
/// | image | type | content |
/// |---|---|---|
/// | 3D points | `eIDT_FLOAT32_3` | X, Y, Z in mm, in the frame that the one who fills the record chooses |
/// | validity mask | `eIDT_UINT8` | 1 where the pixel holds a point; every other value means that it holds none |
/// | normal mask | `eIDT_UINT8` | 0 where no normal exists |
/// | normals | `eIDT_FLOAT32_3` | unit vectors in the frame of the points, or zero |
/// | float plane, 16-bit plane | `eIDT_FLOAT32`, `eIDT_UINT16` | what the decoding stage stores with each point |
/// | colour | `eIDT_BGRU8` | |
///
/// Beside them an array of a `MultipleQualities` for each pixel, where it was asked for.
///
/// The record owns its images. They are null before `Initialize` and where memory was short. A const record gives
/// images that can be written: it fixes which images there are, not their pixels. Images may be resized or retyped
/// from outside; an operation that needs them as they were made then refuses or leaves out what does not fit.
///
/// A record belongs to one thread at a time.
class ORX_EXPORT LxSScanData
{
public:
    LxSScanData();
    LxSScanData(const LxSScanData&) = delete;
    LxSScanData& operator=(const LxSScanData&) = delete;

    // The virtual functions stand in the order of their slots, which modules built earlier rely on.

    virtual ~LxSScanData();

    /// Makes all images anew, with all bytes 0, and sets the numbers of the record to 0. Metadata are kept.
    /// @param width, height    pixels of every image
    /// @param width2, height2  pixels of the further images of descendants
    /// @param withQualities    whether there is an array of qualities, of default ones then
    /// @return false for a negative size and where memory is short. The image that could not be made is null then, and
    ///         so are those that would have followed
    virtual bool Initialize(int width, int height, int width2, int height2, bool withQualities);

    /// The same with the size of an image for both sizes. @return also false for null
    virtual bool Initialize(CCTImage* image, bool withQualities);

    /// Sets all bytes of all images to 0. @return false, with nothing changed, if one of them is null
    virtual bool Clear();

    /// Makes all qualities default ones. @return false if there is no array of them
    bool ClearQualityData();

    /// The median depth of a sample of the points, for a quick look at how far the scene is away.
    ///
    /// Looks at every tenth pixel of every tenth row, a twentieth of the image left out on each side, and skips those
    /// whose Z is 0. The first 200 fill a reservoir; each further one replaces an entry that is drawn, by a generator
    /// that starts anew with each call, so that the same image has the same median. The lower median of the reservoir
    /// is the result. A Z that is not a number is taken like any other; the result may be any of the depths then.
    /// @param out  receives the depth in the unit of Z; 0 where there is none
    /// @return false if `out` is null or fewer than 200 pixels count
    bool ComputeMedianDepth(double* out) const;

    /// Maps the points of all pixels, also of those that hold none, by `t`'s forward matrix. The normals are left in
    /// the frame in which they were: compute them anew where they are needed.
    /// @param t computes in double, and the result is rounded to float
    /// @return false if `t` is null
    bool TrafoScanData(const LxCCoordSysTrans* t);

    /// Writes the 3D points to a file, see the form with images.
    bool Write3DFile(const std::string& fileName) const;

    /// Writes points as 132 bytes of header and three floats a pixel; docs/formats.md tells the format.
    ///
    /// A pixel whose mask is not 1 is set to (0, 0, 0) in `points` first, and so in the file. The image stays so
    /// also where the file cannot be written.
    /// @param points `eIDT_FLOAT32_3`
    /// @param mask one byte a pixel, of the same size
    /// @param fileName path text of the file, which is replaced
    /// @return false without a message where the file cannot be made; false with a line in the log for images that
    ///         are null or do not fit, with nothing changed, and where the disk does not take all, with no file left
    static bool Write3DFile(CCTImage* points, CCTImage* mask, const std::string& fileName);

    /// Clears the record and reads the 3D points of a file.
    ///
    /// The 3D image takes the size in the file. It is filled up to the number of bytes that it had before: make the
    /// record with the size of the file. The masks stay cleared; who reads knows which points to take as valid.
    /// @return false for a file that cannot be opened, that is shorter than its header tells, or whose points have
    ///         not three channels, for points that memory is too short for, and for a record without a 3D image; the
    ///         record is cleared in each case, and its images have the sizes that they had
    bool Read3DFile(const std::string& fileName);

    CCTImage* Get3DPoints() const { return m_p3DPoints.get(); }
    CCTImage* GetValidMask() const { return m_pValidMask.get(); }
    CCTImage* GetNormalMask() const { return m_pNormalMask.get(); }
    CCTImage* GetNormals() const { return m_pNormals.get(); }
    CCTImage* GetFloatPlane() const { return m_pFloatPlane.get(); }
    CCTImage* GetUInt16Plane() const { return m_pUInt16Plane.get(); }
    CCTImage* GetColor() const { return m_pColor.get(); }

    /// The qualities of all pixels, row by row. The data are null if they were not asked for.
    std::span<MultipleQualities> GetQualities() const { return {m_pQualities.get(), m_uiNumQualities}; }

    /// A number that is free for the host; 0 after `Initialize`.
    int GetHostValue() const { return m_iHostValue; }
    void SetHostValue(int value) { m_iHostValue = value; }

    /// The number of pixels with a point, as the last one who counted them has stored it; 0 after `Initialize`.
    int GetNumValidPoints() const { return m_iNumValidPoints; }

    /// Stores the number. Works on a const record, like writing into its images.
    void SetNumValidPoints(int count) const { m_iNumValidPoints = count; }

    LxSFrameGrabberMetaData& GetMetaData() { return m_MetaData; }
    const LxSFrameGrabberMetaData& GetMetaData() const { return m_MetaData; }

protected:
    using ImagePtr = std::unique_ptr<CCTImage>;

    /// Frees what `*slot` holds and makes an image of zeros.
    /// @return false for null; false with `*slot` null for a negative size and where memory is short
    static bool CreateAndClear(CCTImage** slot, int width, int height, CCTImage::EImageDataType type);

    /// A place for an image, and what to make there.
    struct SSlot
    {
        ImagePtr& image;
        int width;  ///< pixels
        int height; ///< pixels
        CCTImage::EImageDataType type;
    };

    /// Frees what the slots hold and makes images of zeros in their order, up to the first one that cannot be made.
    /// That slot and those behind it are null then, so that no image of an earlier size is left.
    static bool CreateImages(std::initializer_list<SSlot> slots);

    /// Clears images. @return false, with nothing changed, if one of them is null
    static bool ClearImages(std::span<CCTImage* const> images);

private:
    bool CreateQualities(int width, int height);

    ImagePtr m_p3DPoints;
    ImagePtr m_pValidMask;
    ImagePtr m_pNormalMask;
    ImagePtr m_pNormals;
    ImagePtr m_pFloatPlane;
    ImagePtr m_pUInt16Plane;
    ImagePtr m_pColor;
    std::unique_ptr<MultipleQualities[]> m_pQualities; ///< one a pixel; null where not asked for
    std::size_t m_uiNumQualities = 0;
    int m_iHostValue = 0;
    mutable int m_iNumValidPoints = 0; ///< counted by those who write the masks of a const record
    LxSFrameGrabberMetaData m_MetaData;
};

} // namespace LxCV
