// Reference images whose colours do not count.
#pragma once

#include "cctimage.h"
#include "scanner/decoder/stripesignal.h"

#include <array>
#include <optional>

namespace decoder {

/// Takes the colours out of a reference image, where the active preset wants the colours of the scene uncompensated
/// (`m_bUseCompSceneColor` off): then all channels of a pixel are divided by one brightness, not each by its own. A red
/// scene stays red in the signal, but its channels have the noise of a bright one.
///
/// The brightness is the mean of the three channels, as the camera would take it of a grey scene. Where projector and
/// camera are coupled that is the mean of the unmixed light, and the image is coupled again, so that the unmixing of the
/// signal gives the brightness in all channels.
class GreyScene
{
public:
    /// @param unmixing what `UnmixingOf` gave for the configuration
    GreyScene(const DecoderConfig& config, const std::optional<ColourMatrix>& unmixing);

    /// Whether the active preset wants it.
    bool IsWanted() const { return m_isWanted; }

    /// Makes the working image.
    /// @throws std::bad_alloc
    void Init(int width, int height);

    /// The image without colours, which this object keeps; or the reference itself, if it is no float colour image.
    /// @param reference type FLOAT32_3, any size
    /// @throws std::bad_alloc
    const LxCV::CCTImage& Of(const LxCV::CCTImage& reference);

private:
    bool m_isWanted;
    std::array<float, kChannels> m_shares{}; ///< of the channels in the brightness
    std::array<float, kChannels> m_grey{};   ///< what the channels take of grey light of the brightness 1
    LxCV::CCTImage m_image;                  ///< FLOAT32_3
};

} // namespace decoder
