// Application, inversion and section text of the colour coupling.
#include "lxccameraprojectorcoupling.h"

#include "lxcpropertybag.h"
#include "matrixroutines.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCameraProjectorCoupling");

constexpr std::array<const char*, 9> c_asKeys{"Arr", "Arg", "Arb", "Agr", "Agg", "Agb", "Abr", "Abg", "Abb"};

bool FitsFloat(double value)
{
    return std::abs(value) <= static_cast<double>(std::numeric_limits<float>::max());
}

} // namespace

void LxCCameraProjectorCoupling::SetValues(float arr, float arg, float arb, float agr, float agg, float agb,
                                           float abr, float abg, float abb)
{
    m_afCoupling = {arr, arg, arb, agr, agg, agb, abr, abg, abb};
}

void LxCCameraProjectorCoupling::GetValues(float& arr, float& arg, float& arb, float& agr, float& agg,
                                           float& agb, float& abr, float& abg, float& abb) const
{
    const std::array<float*, c_asKeys.size()> outputs{&arr, &arg, &arb, &agr, &agg, &agb, &abr, &abg, &abb};
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        *outputs[i] = m_afCoupling[i];
    }
}

void LxCCameraProjectorCoupling::TransformColor(const LxCColorValueFloat& in, LxCColorValueFloat& out) const
{
    const auto sum = [this, red = in.GetRed(), green = in.GetGreen(), blue = in.GetBlue()](std::size_t to) {
        return At(0, to) * red + At(1, to) * green + At(2, to) * blue;
    };
    out.SetRGB(sum(0), sum(1), sum(2));
}

LxCCameraProjectorCoupling LxCCameraProjectorCoupling::GetInverse() const
{
    // Row: the channel that is added to; column: the one that is taken from.
    std::array<double, c_asKeys.size()> matrix{};
    for (std::size_t to = 0; to < sc_iChannels; ++to) {
        for (std::size_t from = 0; from < sc_iChannels; ++from) {
            matrix[to * sc_iChannels + from] = static_cast<double>(At(from, to));
        }
    }
    if (!InvertGaussJordan(matrix.data(), sc_iChannels) ||
        !std::all_of(matrix.begin(), matrix.end(), FitsFloat)) {
        s_Logger.Debug(L"LxCCameraProjectorCoupling error: inversion failed!\n");
        return {};
    }
    LxCCameraProjectorCoupling inverse;
    for (std::size_t to = 0; to < sc_iChannels; ++to) {
        for (std::size_t from = 0; from < sc_iChannels; ++from) {
            inverse.At(from, to) = static_cast<float>(matrix[to * sc_iChannels + from]);
        }
    }
    return inverse;
}

void LxCCameraProjectorCoupling::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    LxCPropertyBag bag;
    for (std::size_t i = 0; i < c_asKeys.size(); ++i) {
        bag.addScalar(m_afCoupling[i], c_asKeys[i]);
    }
    bag.serialize(serializer, section, true);
}

} // namespace LxCV
