// A scan that a confocal scanner recorded.
#pragma once

#include "lxsscandata.h"
#include "orx/base/export.h"

#include <cstdint>
#include <memory>

namespace LxCV {

/// Five numbers of the confocal scanner, as a surface file has them; their meaning lies with the scanner.
struct LxSConfocalScanInfo
{
    std::int32_t m_iA = 0;
    std::int32_t m_iB = 0;
    std::uint8_t m_uiByte = 0;
    double m_dC = 0.0;
    double m_dD = 0.0;
};

/// A scan with two further images of a size of their own, and with what the scanner tells of itself. Images, their
/// owner and who may use them are as told for the base.
class ORX_EXPORT LxSScanDataQCC : public LxSScanData
{
public:
    LxSScanDataQCC();
    ~LxSScanDataQCC() override;

    using LxSScanData::Initialize;

    /// @param width, height    pixels of the images of the base, for a surface file its columns and rows
    /// @param width2, height2  pixels of the ARGB and the float image
    bool Initialize(int width, int height, int width2, int height2, bool withQualities) override;

    /// Clears the images of the base and its own. @return false if one of them is null; the images of base and of this
    /// class are cleared each only where none of their own is null
    bool Clear() override;

    CCTImage* GetARGBImage() const { return m_pARGBImage.get(); }   ///< `eIDT_ARGB8`
    CCTImage* GetFloatImage() const { return m_pFloatImage.get(); } ///< `eIDT_FLOAT32`

    /// Never null; the same object as long as the record lives, and longer for those who share it.
    const std::shared_ptr<LxSConfocalScanInfo>& GetScanInfo() const { return m_pScanInfo; }

private:
    ImagePtr m_pARGBImage;
    ImagePtr m_pFloatImage;
    std::shared_ptr<LxSConfocalScanInfo> m_pScanInfo = std::make_shared<LxSConfocalScanInfo>();
};

} // namespace LxCV
