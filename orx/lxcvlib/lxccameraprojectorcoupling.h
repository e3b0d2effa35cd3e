// How the projector's colours reach the camera's colour channels.
#pragma once

#include "lxccolorvaluefloat.h"
#include "orx/base/export.h"

#include <array>
#include <string>

namespace LxCV {

class LxCCCTSerializer;

/// A linear map of colours. Of the nine coefficients A, the first letter names the channel that a coefficient takes
/// from and the second one the channel that it adds to:
///
///     red'   = Arr * red + Agr * green + Abr * blue
///     green' = Arg * red + Agg * green + Abg * blue
///     blue'  = Arb * red + Agb * green + Abb * blue
///
/// Stored in the order Arr, Arg, Arb, Agr, Agg, Agb, Abr, Abg, Abb. The default is the identity. Deliberately, the
/// destructor is not virtual: no coupling is deleted through a base.
class ORX_EXPORT LxCCameraProjectorCoupling
{
public:
    void SetValues(float arr, float arg, float arb, float agr, float agg, float agb, float abr, float abg,
                   float abb);
    void GetValues(float& arr, float& arg, float& arb, float& agr, float& agg, float& agb, float& abr,
                   float& abg, float& abb) const;

    /// Maps a colour. `out` may be `in`.
    void TransformColor(const LxCColorValueFloat& in, LxCColorValueFloat& out) const;

    /// The coupling whose `TransformColor` undoes this one. The identity, with a debug message, if there is none, or
    /// none that floats can hold.
    LxCCameraProjectorCoupling GetInverse() const;

    /// Keys: the names of the coefficients, in stored order.
    virtual void Serialize(LxCCCTSerializer& serializer, const std::string& section);

private:
    static constexpr std::size_t sc_iChannels = 3; ///< red, green, blue

    float& At(std::size_t from, std::size_t to) { return m_afCoupling[from * sc_iChannels + to]; }
    float At(std::size_t from, std::size_t to) const { return m_afCoupling[from * sc_iChannels + to]; }

    std::array<float, sc_iChannels * sc_iChannels> m_afCoupling{1.0F, 0.0F, 0.0F, 0.0F, 1.0F,
                                                                0.0F, 0.0F, 0.0F, 1.0F};
};

} // namespace LxCV
