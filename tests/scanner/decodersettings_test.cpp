// What settings of the active preset do to a pair that goes through all of the decoder.
#include "lxclxcvlibsettings.h"
#include "lxsscandatacct.h"
#include "tests/scanner/pairdecoding.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

namespace decoder {
namespace {

using LxCV::LxCFloat3;
using LxCV::LxCLxCVLibSettings;
using scannertest::Wrap;

constexpr int kWidth = 42;      ///< of the images, columns; a multiple of the reduction
constexpr int kFirstBlack = 20; ///< of the columns without light

/// Measures the image up to its borders, keeps every point and repairs nothing.
DecoderConfig PlainConfig()
{
    DecoderConfig config;
    LxCV::LxCAlgorithmConfig& preset = config.algorithm.GetActiveAlgorithmConfig();
    preset.m_Roi.Set(0, 0, LxCLxCVLibSettings::c_iWidth, LxCLxCVLibSettings::c_iHeight);
    preset.m_bClean3DData = false;
    preset.m_bRepairEdges = false;
    return config;
}

/// @param ofEdges, ofPreset longest gaps, columns
DecoderConfig RepairingConfig(int ofEdges, int ofPreset)
{
    DecoderConfig config = PlainConfig();
    config.Edges().m_iRepairEdgesMaxNumGaps = ofEdges;
    config.algorithm.GetActiveAlgorithmConfig().m_iMaxIpolGap = ofPreset;
    config.algorithm.GetActiveAlgorithmConfig().m_bRepairEdges = true;
    return config;
}

void Blacken(device::ImageF& image, int firstColumn, int columns)
{
    for (int row = 0; row < image.height; ++row) {
        for (int column = firstColumn; column < firstColumn + columns; ++column) {
            for (int channel = 0; channel < device::ImageF::channels; ++channel) {
                image.At(column, row, channel) = 0.0F;
            }
        }
    }
}

/// A strip of a noise-free pair of the molar.
class DecoderSettings : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        device::DeviceParameters parameters;
        parameters.camera.width = kWidth;
        parameters.camera.centreX -= 280;
        s_device = new device::VirtualDevice(parameters);
        s_scene = device::MakeScene("molar").release();
        device::RenderOptions options;
        options.noise = 0.0;
        s_pair = new device::RenderedPair(s_device->RenderPair(*s_scene, options));
    }

    static void TearDownTestSuite()
    {
        delete s_pair;
        delete s_scene;
        delete s_device;
    }

    /// @param black columns from `kFirstBlack` on that both images show black
    std::unique_ptr<Decoder> Measure(const DecoderConfig& config, int black) const
    {
        device::ImageF reference = s_pair->reference;
        device::ImageF pattern = s_pair->pattern;
        Blacken(reference, kFirstBlack, black);
        Blacken(pattern, kFirstBlack, black);
        auto decoder = std::make_unique<Decoder>(*m_model, config);
        scannertest::DecodePair(*decoder, Wrap(reference), Wrap(pattern));
        decoder->Deliver(Wrap(reference));
        return decoder;
    }

    static device::VirtualDevice* s_device;
    static device::Scene* s_scene;
    static device::RenderedPair* s_pair;

    std::unique_ptr<LxCV::LxCPinholeFramework> m_model = scannertest::LoadModel(*s_device);
};

device::VirtualDevice* DecoderSettings::s_device = nullptr;
device::Scene* DecoderSettings::s_scene = nullptr;
device::RenderedPair* DecoderSettings::s_pair = nullptr;

/// Columns and stripe edges of points.
using Places = std::set<std::pair<int, int>>;

Places PlacesOf(const std::vector<MeasuredPoint>& points)
{
    Places places;
    for (const MeasuredPoint& point : points) {
        places.emplace(point.edge.column, point.edge.stripeEdge);
    }
    return places;
}

/// Those that are not in a gap: the black columns and one to either side, which has nothing to compare with.
Places OutsideOfGap(Places places, int black)
{
    std::erase_if(places, [black](const std::pair<int, int>& place) {
        return place.first >= kFirstBlack - 1 && place.first <= kFirstBlack + black;
    });
    return places;
}

TEST_F(DecoderSettings, RepairBringsBackTheEdgesOfColumnsWithoutLight)
{
    const Places whole = PlacesOf(Measure(PlainConfig(), 0)->GetPoints());
    ASSERT_GT(whole.size(), 90U * kWidth);
    for (int black = 1; black <= 3; ++black) {
        EXPECT_EQ(PlacesOf(Measure(PlainConfig(), black)->GetPoints()), OutsideOfGap(whole, black)) << black;
        EXPECT_EQ(PlacesOf(Measure(RepairingConfig(10, 10), black)->GetPoints()), whole) << black;
    }
}

TEST_F(DecoderSettings, RepairedPointsLieNearTheTruth)
{
    // A gap of five columns is bridged by six steps, at most 0.17 mm. There a surface with a radius of 0.2 mm bends away
    // from its chord by 0.17^2 / (8 * 0.2) mm.
    constexpr double kBend = 0.018; // mm
    const auto decoder = Measure(RepairingConfig(10, 10), 3);
    int bridged = 0;
    for (const MeasuredPoint& point : decoder->GetPoints()) {
        if (point.edge.column < kFirstBlack - 1 || point.edge.column > kFirstBlack + 3) {
            continue;
        }
        const device::Vec2 image{static_cast<double>(point.edge.column), point.edge.row};
        const auto truth = s_device->TruePointAt(*s_scene, image);
        ASSERT_TRUE(truth.has_value()) << image.x << " " << image.y;
        const device::Vec3 measured{point.position.x, point.position.y, point.position.z};
        ASSERT_LT(device::Length(measured - *truth), kBend) << image.x << " " << image.y;
        ++bridged;
    }
    EXPECT_GT(bridged, 5 * 90);
}

TEST_F(DecoderSettings, GapsLongerThanEitherLimitStayOpen)
{
    constexpr int kBlack = 2; // a gap of four columns
    const Places whole = PlacesOf(Measure(PlainConfig(), 0)->GetPoints());
    const Places open = OutsideOfGap(whole, kBlack);
    ASSERT_LT(open.size(), whole.size());
    for (const auto& [ofEdges, ofPreset, isClosed] :
         {std::tuple{10, 3, false}, {10, 4, true}, {3, 10, false}, {4, 10, true}, {10, 0, false}}) {
        const auto decoder = Measure(RepairingConfig(ofEdges, ofPreset), kBlack);
        EXPECT_EQ(PlacesOf(decoder->GetPoints()), isClosed ? whole : open) << ofEdges << " " << ofPreset;
    }
}

/// A measured point of one image column.
struct ColumnPoint
{
    device::Vec3 position; ///< mm, camera frame
    float quality = 0.0F;
};

/// The points of one stripe edge in three columns, where there are some.
using Triple = std::array<std::optional<ColumnPoint>, kReduction>;

/// Position and quality are each on their own mean and least.
std::optional<ColumnPoint> MeanAndLeastOf(const Triple& triple)
{
    ColumnPoint sum{{}, std::numeric_limits<float>::infinity()};
    int count = 0;
    for (const std::optional<ColumnPoint>& point : triple) {
        if (point) {
            sum = {sum.position + point->position, std::min(sum.quality, point->quality)};
            ++count;
        }
    }
    return count > 0 ? std::optional(ColumnPoint{1.0 / count * sum.position, sum.quality}) : std::nullopt;
}

std::optional<ColumnPoint> MiddleOf(const Triple& triple)
{
    return triple[1];
}

/// The record of a pair with columns without points, 19 to 24: of the triples from 18, 21 and 24 on the first has a point in
/// its first column alone, the next one has none, and the one behind it lacks the first. Elsewhere all three columns have
/// points, all near enough to each other to lie on one surface.
class ReducedRecord : public DecoderSettings
{
protected:
    static constexpr int kBlack = 4;

    std::unique_ptr<Decoder> MeasureReduced(LxCLxCVLibSettings::EReduceData reduction, bool isSmoothed) const
    {
        DecoderConfig config = PlainConfig();
        config.withQualities = true;
        config.algorithm.GetActiveAlgorithmConfig().m_eReduceData = reduction;
        config.algorithm.GetActiveAlgorithmConfig().m_bSmoothReducedData = isSmoothed;
        return Measure(config, kBlack);
    }

    /// The points by stripe edge and column; their qualities are those of a record that is not reduced.
    std::map<std::pair<int, int>, ColumnPoint> MeasurePoints() const
    {
        const auto decoder = MeasureReduced(LxCLxCVLibSettings::eRD_None, false);
        const auto qualities = decoder->GetRecord().GetQualities();
        std::map<std::pair<int, int>, ColumnPoint> points;
        for (const auto& [edge, position] : decoder->GetPoints()) {
            const auto place = static_cast<std::size_t>(edge.stripeEdge * kWidth + edge.column);
            points[{edge.stripeEdge, edge.column}] = {{position.x, position.y, position.z},
                                                      qualities[place].GetFloatQuality()};
        }
        return points;
    }

    /// @param expectedOf what each three columns give
    void ExpectThatOf(const Decoder& decoder, std::optional<ColumnPoint> (*expectedOf)(const Triple&)) const
    {
        constexpr double kTolerance = 1e-5; // mm; coordinates of up to 40 mm, rounded to floats a few times
        const std::map<std::pair<int, int>, ColumnPoint> points = MeasurePoints();
        const LxCV::LxSScanDataCCT& record = decoder.GetRecord();
        ASSERT_EQ(record.Get3DPoints()->GetWidth(), kWidth / kReduction);
        int count = 0;
        for (int edge = 0; edge < record.Get3DPoints()->GetHeight(); ++edge) {
            for (int column = 0; column < record.Get3DPoints()->GetWidth(); ++column) {
                Triple triple;
                for (int i = 0; i < kReduction; ++i) {
                    const auto point = points.find({edge, kReduction * column + i});
                    triple[static_cast<std::size_t>(i)] =
                        point != points.end() ? std::optional(point->second) : std::nullopt;
                }
                const std::optional<ColumnPoint> expected = expectedOf(triple);
                ASSERT_EQ(record.GetValidMask()->GetBytePixelFast(column, edge), expected ? 1 : 0)
                    << column << " " << edge;
                if (!expected) {
                    continue;
                }
                LxCFloat3 position;
                record.Get3DPoints()->GetPixelFast(column, edge, &position);
                const device::Vec3 measured{position.get(0), position.get(1), position.get(2)};
                ASSERT_LT(device::Length(measured - expected->position), kTolerance) << column << " " << edge;
                const auto place = static_cast<std::size_t>(edge * (kWidth / kReduction) + column);
                ASSERT_EQ(record.GetQualities()[place].GetFloatQuality(), expected->quality)
                    << column << " " << edge;
                ++count;
            }
        }
        EXPECT_GT(count, 1000);
    }
};

TEST_F(ReducedRecord, HoldsTheMeansOfThreeColumnsWhereItIsSmoothed)
{
    const auto decoder = MeasureReduced(LxCLxCVLibSettings::eRD_Reduction1, true);
    ExpectThatOf(*decoder, &MeanAndLeastOf);
}

TEST_F(ReducedRecord, HoldsTheMiddleOneOfThreeColumnsWhereItIsNotSmoothed)
{
    const auto decoder = MeasureReduced(LxCLxCVLibSettings::eRD_Reduction1, false);
    ExpectThatOf(*decoder, &MiddleOf);
}

} // namespace
} // namespace decoder
