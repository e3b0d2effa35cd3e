// The unevenness of the lighting, as an image that section text can hold.
#pragma once

#include "orx/base/export.h"

#include <memory>
#include <string>

namespace LxCV {

class CCTImage;
class LxCCCTSerializer;

/// A colour image of the lighting's unevenness, for correcting the brightness of textures, and whether to apply it.
///
/// In section text the image is a text a row of blocks: the red channel of all blocks, then green, then blue, each
/// value v a character of code
///
///     trunc((v - MinVal) / (MaxVal - MinVal) * 74 + 48 + 0.5)
///
/// where MinVal and MaxVal are the least and the greatest value of all blocks and channels. So values come back as
/// one of 75 levels. Blocks are squares of pixels from the top left corner on; those at the right and lower edge may
/// be cut off by it. The writer makes each pixel a block.
///
/// Owns its image; copies are deep. Many threads may read, a writer must have the object alone.
class ORX_EXPORT LxCShadingCorrection
{
public:
    static constexpr int c_iMinAsciiCode = 48;  ///< the character '0', which codes MinVal
    static constexpr int c_iMaxAsciiCode = 122; ///< the character 'z', which codes MaxVal

    /// No image, not applied.
    LxCShadingCorrection();
    LxCShadingCorrection(const LxCShadingCorrection& other);
    LxCShadingCorrection(LxCShadingCorrection&& other) noexcept;
    LxCShadingCorrection& operator=(const LxCShadingCorrection& other);
    LxCShadingCorrection& operator=(LxCShadingCorrection&& other) noexcept;
    ~LxCShadingCorrection();

    bool GetApplyShadingCorrection() const { return m_bApplyShadingCorrection; }
    void SetApplyShadingCorrection(bool apply) { m_bApplyShadingCorrection = apply; }

    /// The image, of type `eIDT_BGRU8`, or null. This object keeps it, and frees it as `Init` and `Release` do.
    CCTImage* GetShadingCorrectionImage() { return m_pImage.get(); }
    const CCTImage* GetShadingCorrectionImage() const { return m_pImage.get(); }

    /// The largest channel value of the image when it was last set or loaded, 0 to 255; 0 before.
    float GetRangeScaleFactor() const { return m_fRangeScaleFactor; }

    /// Frees the image and makes one of neutral grey, all bytes 128. A negative size counts as 0.
    /// Throws std::exception "image allocation failed"; there is no image then.
    void Init(int width, int height);

    /// Frees the image.
    void Release();

    /// Stores a copy of `image`, as `CCTImage::ConvertToBGRU8` converts it. A null image is ignored; one that cannot
    /// be converted leaves what is stored, of another size neutral grey. Both write a line to the log. Throws as
    /// `Init` does where an image of another size cannot be made.
    /// @param image must not wrap the memory of the stored image
    void SetShadingCorrectionImage(CCTImage* image);

    /// Writes or reads the section. Nothing is written while the correction is not applied.
    ///
    /// Reading starts with a neutral grey image of the size told. Keys that are missing count as 0 (`BlockSize` as
    /// 1), so a missing section gives an image without pixels. An image of more than 16 MiB is refused before it is
    /// made unless the section has as many bytes. Values beyond 0 to 255, as odd limits and characters outside the
    /// scale give them, become the nearest of these. Faults write a line to the log.
    /// @return false if there is no image to write; if the text's image is refused or cannot be made, and is null
    ///         then; and for a block size below 1 or a row that is too short: blocks read until then stay. Whatever
    ///         goes wrong, nothing is thrown
    bool Serialize(LxCCCTSerializer& serializer, const std::string& sectionName);

protected:
    bool SerializeConfig(LxCCCTSerializer& serializer, const std::string& sectionName);

    /// Throws std::out_of_range "invalid string position" for a row that is too short, and std::exception for what
    /// else is wrong with a text.
    bool DeserializeConfig(LxCCCTSerializer& serializer, const std::string& sectionName);

    /// The means of a block's channels, (sum + 0.5) / count truncated, over the pixels that lie in the image.
    /// @param bx, by block column and row
    /// Throws std::out_of_range "pixel index (%i, %i) outside (%i, %i)", with the block's first pixel and the size
    /// of the image, for a block that has no pixel there.
    void GetBlock(int blockSize, int bx, int by, int& red, int& green, int& blue) const;

    /// Fills the part of a block that lies in the image; values are clamped to 0 to 255. Throws as `GetBlock` does.
    void SetBlock(int blockSize, int bx, int by, int red, int green, int blue);

    /// The linear map that leads inMin to outMin and inMax to outMax: trunc((outMax - outMin) * t + outMin + 0.5)
    /// with t = (value - inMin) / (inMax - inMin), or without the division if inMin equals inMax. What no int can
    /// hold becomes the nearest int.
    static int MapTo(int value, int inMin, int inMax, int outMin, int outMax);

    void ComputeRangeScaleFactor();

private:
    struct SBlock;
    SBlock PixelsOfBlock(int blockSize, int bx, int by) const;
    bool HasColorImage() const;
    void FindValueRange(int columns, int rows, int& minVal, int& maxVal) const;
    std::string CodeRow(int by, int columns, int minVal, int maxVal) const;
    void InitForText(int width, int height, const LxCCCTSerializer& serializer);
    void DecodeRow(const std::string& text, int blockSize, int by, int columns, int minVal, int maxVal);

    bool m_bApplyShadingCorrection = false;
    std::unique_ptr<CCTImage> m_pImage; ///< `eIDT_BGRU8`, may be null
    float m_fRangeScaleFactor = 0.0F;   ///< largest channel value of the image
};

} // namespace LxCV
