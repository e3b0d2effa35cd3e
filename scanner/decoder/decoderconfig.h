// Tuning of the decoding stage.
#pragma once

namespace decoder {

/// Limits of the decoding stage. The signal of a colour channel is the pattern image over the reference image:
/// about 1 where the stripe carries the colour, near 0 where it does not.
struct DecoderConfig
{
    /// A pixel whose reference image is darker than this in any channel is not decoded; grey levels of 255.
    float minReference = 12.0F;

    /// An extremum must exceed this signal step across two rows; signal units.
    float minGradient = 0.18F;

    /// Extrema of different channels belong to one stripe edge while each lies at most this far below the one
    /// above it; rows.
    float maxChannelSpread = 1.6F;

    /// Neighbouring edges further apart than this are not read as successive; rows.
    float maxStripeHeight = 14.0F;
};

} // namespace decoder
