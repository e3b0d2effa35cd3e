// Writes the data of the projector's slides from what tells them apart.
#include "standardslides.h"

#include "integerlist.h"
#include "lxccalibbody.h"
#include "lxccctserializer.h"

#include <array>
#include <cstddef>
#include <iterator>
#include <sstream>
#include <utility>
#include <vector>

namespace LxCV {

namespace {

constexpr int c_iStripeWidth = 50;                     // slide units
constexpr int c_iHalfMarkLength = 50;                  // slide units
constexpr std::array c_aiRowCenters{5250, 3500, 1750}; // slide units, in the order of ids

struct SSlide
{
    std::vector<int> markPos; ///< numbers of the stripes that bear marks
    int markerTyp;
    int decimals; ///< of the coordinates
};

class CSlideText : public LxCCCTSerializer
{
public:
    CSlideText() { Init(true, true); }

    void WriteTexts(const std::string& section, const std::vector<std::pair<const char*, std::string>>& texts)
    {
        WriteSection(section);
        for (const auto& [key, text] : texts) {
            Write<std::string>(key, text, {}, c_iFormatDecimal);
        }
    }

    void WritePoint(int u, int v, int decimals)
    {
        GetStream().precision(decimals);
        GetStream() << double(u) << '\t' << double(v) << '\n';
    }

    std::string GetText() { return GetStream().str(); }
};

/// Numbers with a fraction are texts: they stand as files of this kind have always told them, to 17 digits.
void WriteThresholds(CSlideText& text, const SSlide& slide)
{
    text.WriteTexts("::Thres",
                    {{"MinLocExtAmount", "50"},
                     {"MinTotalExtAmount", "80"},
                     {"NrOfRows", std::to_string(c_aiRowCenters.size())},
                     {"NrOfCols", std::to_string(slide.markPos.size())},
                     {"CalibMarkPos", JoinIntegers(slide.markPos)},
                     {"BlankOutMarkerPos", JoinIntegers({c_aiRowCenters.rbegin(), c_aiRowCenters.rend()})},
                     {"BlankOutMarkerWidth", "100"},
                     {"MaxPolyFitQuad", "0.00005000000000000000"},
                     {"MaxDiffFitLinear", "0.02500000000000000100"},
                     {"FixedNrVisibleRows", "3"},
                     {"MarkerTyp", std::to_string(slide.markerTyp)}});
    // The last two keys are there for other readers of such files.
    text.WriteTexts("::Thres::Base", {{"ImgMargin", "3"},
                                      {"SmoothingMode", "1"},
                                      {"KernelSizeX", "3"},
                                      {"KernelSizeY", "3"},
                                      {"MarginPercent", "0.01499999999999999900"},
                                      {"FishEyeLens", "0"},
                                      {"PseudoKappa2Tsai", "0.00000000000000000000"},
                                      {"RequestedType", "CProjISlideCalibBody"},
                                      {"FixedOrienation", "0"}});
}

/// The corners of each mark: larger u before smaller, and of these smaller v before larger.
void WriteCorners(CSlideText& text, const SSlide& slide)
{
    text.WriteSection("::Coords");
    for (const int center : c_aiRowCenters) {
        for (const int stripe : slide.markPos) {
            const int end = c_iStripeWidth * stripe;
            for (const int u : {center + c_iHalfMarkLength, center - c_iHalfMarkLength}) {
                text.WritePoint(u, end - c_iStripeWidth, slide.decimals);
                text.WritePoint(u, end, slide.decimals);
            }
        }
    }
}

std::string WriteSlide(const SSlide& slide)
{
    CSlideText text;
    WriteThresholds(text, slide);
    WriteCorners(text, slide);
    return text.GetText();
}

} // namespace

std::string GetStandardSlide(const std::string& name)
{
    if (name == LxCCalibBody::sc_StandardParammsDiaA2) {
        return WriteSlide({{10, 20, 28, 38, 50, 58, 74, 84, 92, 102, 114, 122, 138}, 1, 6});
    }
    if (name == LxCCalibBody::sc_StandardParammsDiaC) {
        return WriteSlide({{8, 24, 32, 40, 56, 64, 72, 88, 96, 104, 120}, 2, 0});
    }
    return {};
}

} // namespace LxCV
