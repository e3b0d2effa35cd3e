#include "scanner/decoder/decoder.h"

#include "lxcframegrabberreqs.h"
#include "lxcimagedata.h"
#include "lxclxcvlibsettings.h"
#include "lxcpinholeframework.h"
#include "lxcstripepattern.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/scanner/algorithmtext.h"
#include "tests/scanner/testmodel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

namespace decoder {
namespace {

using LxCV::CCTImage;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNotANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float kLargest = std::numeric_limits<float>::max();

/// The default device with a strip of some columns cut out of its image.
device::DeviceParameters Strip(int width)
{
    constexpr int kFirstColumn = 280;
    device::DeviceParameters parameters;
    parameters.camera.width = width;
    parameters.camera.centreX -= kFirstColumn;
    return parameters;
}

CCTImage Wrap(device::ImageF& image)
{
    return {image.width, image.height, CCTImage::eIDT_FLOAT32_3, false, image.data.data()};
}

/// Measures the image up to its borders and delivers every point: what is looked at here is how they come about.
DecoderConfig AllOfTheImage()
{
    using Settings = LxCV::LxCLxCVLibSettings;
    DecoderConfig config;
    config.algorithm.GetActiveAlgorithmConfig().m_Roi.Set(0, 0, Settings::c_iWidth, Settings::c_iHeight);
    config.algorithm.GetActiveAlgorithmConfig().m_bClean3DData = false;
    return config;
}

void Decode(Decoder& decoder, const CCTImage& reference, const CCTImage& pattern)
{
    decoder.ComputeSignal(reference, pattern);
    decoder.FindEdges();
    decoder.ReadCodeWords();
    decoder.TraceEdges();
    decoder.Triangulate();
}

/// One noise-free pair of the molar and its model.
class DecoderOnADevice : public ::testing::Test
{
protected:
    static constexpr int kWidth = 40;

    static void SetUpTestSuite()
    {
        s_device = new device::VirtualDevice(Strip(kWidth));
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

    /// The points of the pair by a decoder that has not worked before.
    std::vector<MeasuredPoint> Measure(device::ImageF reference = s_pair->reference,
                                       device::ImageF pattern = s_pair->pattern,
                                       const DecoderConfig& config = AllOfTheImage()) const
    {
        Decoder decoder(*m_model, config);
        Decode(decoder, Wrap(reference), Wrap(pattern));
        return decoder.GetPoints();
    }

    static device::VirtualDevice* s_device;
    static device::Scene* s_scene;
    static device::RenderedPair* s_pair;

    std::unique_ptr<LxCV::LxCPinholeFramework> m_model = scannertest::LoadModel(*s_device);
};

device::VirtualDevice* DecoderOnADevice::s_device = nullptr;
device::Scene* DecoderOnADevice::s_scene = nullptr;
device::RenderedPair* DecoderOnADevice::s_pair = nullptr;

bool AreSame(const std::vector<MeasuredPoint>& a, const std::vector<MeasuredPoint>& b)
{
    const auto same = [](const MeasuredPoint& p, const MeasuredPoint& q) {
        return p.edge.column == q.edge.column && p.edge.row == q.edge.row &&
               p.edge.stripeEdge == q.edge.stripeEdge && p.position.x == q.position.x &&
               p.position.y == q.position.y && p.position.z == q.position.z;
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), same);
}

TEST_F(DecoderOnADevice, FindsTheTrueEdgeAndPointOfNearlyEveryCrossing)
{
    constexpr double kRowTolerance = 0.06;   // pixels; blur merges the steps of neighbouring edges a little
    constexpr double kPointTolerance = 0.02; // mm; a stripe is 5 rows and at most 1 mm of depth: 0.2 mm a row
    constexpr double kRmsTolerance = 0.003;  // mm
    const auto points = Measure();
    double squares = 0.0;
    for (const MeasuredPoint& point : points) {
        const device::Vec2 image{static_cast<double>(point.edge.column), point.edge.row};
        const auto crossing = s_device->CrossingNear(*s_scene, image, point.edge.stripeEdge, kRowTolerance);
        ASSERT_TRUE(crossing.has_value()) << image.x << " " << image.y;
        const device::Vec3 measured{point.position.x, point.position.y, point.position.z};
        const double error = device::Length(measured - *s_device->TruePointAt(*s_scene, image));
        ASSERT_LT(error, kPointTolerance) << image.x << " " << image.y;
        squares += error * error;
    }
    EXPECT_LT(std::sqrt(squares / static_cast<double>(points.size())), kRmsTolerance);
    EXPECT_GT(static_cast<double>(points.size()),
              0.97 * static_cast<double>(s_pair->truth.CountSeenCrossings()));
}

TEST_F(DecoderOnADevice, PointsLieOnTheRayAndOnTheEdgeThatTheyAreNamedFor)
{
    constexpr double kPixels = 1e-6; // the library undistorts by iteration
    constexpr double kUnits =
        0.02; // slide units; the light sheet of an edge is taken as flat across two columns
    const auto points = Measure();
    ASSERT_FALSE(points.empty());
    for (const MeasuredPoint& point : points) {
        const device::Vec3 position{point.position.x, point.position.y, point.position.z};
        const device::Vec2 image = s_device->ImageFromPoint(position);
        ASSERT_NEAR(image.x, point.edge.column, kPixels);
        ASSERT_NEAR(image.y, point.edge.row, kPixels);
        ASSERT_NEAR(s_device->SlideFromPoint(position).y, s_device->EdgePosition(point.edge.stripeEdge),
                    kUnits);
    }
}

TEST_F(DecoderOnADevice, WorkingBuffersKeepNothingOfThePairBefore)
{
    const auto expected = Measure();
    Decoder decoder(*m_model, AllOfTheImage());
    CCTImage large(kWidth + 7, 600, CCTImage::eIDT_FLOAT32_3, 200.0F);
    Decode(decoder, large, large);
    for (int run = 0; run < 2; ++run) {
        Decode(decoder, Wrap(s_pair->reference), Wrap(s_pair->pattern));
        EXPECT_TRUE(AreSame(decoder.GetPoints(), expected));
    }
    CCTImage small(3, 3, CCTImage::eIDT_FLOAT32_3, 200.0F);
    Decode(decoder, small, small);
    EXPECT_TRUE(decoder.GetPoints().empty());
    EXPECT_EQ(decoder.GetEdgeWords().GetWidth(), 3);
}

TEST_F(DecoderOnADevice, BuffersMadeBeforehandChangeNothing)
{
    const auto expected = Measure();
    const int height = s_pair->pattern.height;
    for (const auto& [width, rows] : {std::pair{kWidth, height}, {kWidth + 9, height - 9}, {1, 1}}) {
        Decoder decoder(*m_model, AllOfTheImage());
        decoder.Init(width, rows);
        EXPECT_TRUE(decoder.GetEdgePixels().empty());
        EXPECT_TRUE(decoder.GetPoints().empty());
        Decode(decoder, Wrap(s_pair->reference), Wrap(s_pair->pattern));
        EXPECT_TRUE(AreSame(decoder.GetPoints(), expected)) << width;
        decoder.Init(width, rows);
        EXPECT_TRUE(decoder.GetPoints().empty());
    }
}

TEST_F(DecoderOnADevice, LooksUpPointsNearTheComputedOnes)
{
    constexpr double kDeviation = 0.0001; // mm, curvature of lens and light within a cell of the table
    DecoderConfig config = AllOfTheImage();
    config.useTable = true;
    Decoder decoder(*m_model, config);
    EXPECT_THROW(decoder.Triangulate(), std::logic_error);
    decoder.Init(s_pair->reference.width, s_pair->reference.height);
    Decode(decoder, Wrap(s_pair->reference), Wrap(s_pair->pattern));
    const auto computed = Measure();
    ASSERT_EQ(decoder.GetPoints().size(), computed.size());
    auto expected = computed.begin();
    for (const MeasuredPoint& point : decoder.GetPoints()) {
        expected = std::find_if(expected, computed.end(),
                                [&](const MeasuredPoint& other) { return other.edge == point.edge; });
        ASSERT_NE(expected, computed.end());
        ASSERT_NEAR(point.position.x, expected->position.x, kDeviation);
        ASSERT_NEAR(point.position.y, expected->position.y, kDeviation);
        ASSERT_NEAR(point.position.z, expected->position.z, kDeviation);
    }
}

/// How often memory is taken from a source's raw images, of 8 bits a channel, to the record, once all buffers are made.
std::size_t AllocationsOf(Decoder& decoder, device::ImageF& reference, device::ImageF& pattern)
{
    const int width = reference.width;
    const int height = reference.height;
    CCTImage rawReference(width, height, CCTImage::eIDT_BGRU8, true, nullptr);
    CCTImage rawPattern(width, height, CCTImage::eIDT_BGRU8, true, nullptr);
    LxCV::LxCImageData images;
    if (Wrap(reference).ConvertToBGRU8(&rawReference, false) != 0 ||
        Wrap(pattern).ConvertToBGRU8(&rawPattern, false) != 0 ||
        !images.Init(width, height, width, height, nullptr, CCTImage::eIDT_BGRU8)) {
        throw std::runtime_error("there are no raw images");
    }
    LxCV::LxCFrameGrabberReqs requirements;
    requirements.SetMirrorChannelsSettings(true, CCTImage::eMM_None, CCTImage::eMM_None, CCTImage::eMM_None);
    requirements.ConvertImage(&rawPattern, images.GetPatImg()); // a source does so for its test image
    decoder.Init(width, height);

    const LxCV::AllocationCount allocations;
    EXPECT_TRUE(images.SetRawImages(&rawPattern, &rawReference));
    requirements.ConvertImage(images.GetRawPatImg(), images.GetPatImg());
    requirements.ConvertImage(images.GetRawRefImg(), images.GetRefImg());
    Decode(decoder, *images.GetRefImg(), *images.GetPatImg());
    decoder.Deliver(*images.GetRefImg());
    return allocations.Get();
}

TEST_F(DecoderOnADevice, AMeasurementTakesNoMemory)
{
    DecoderConfig config;
    config.useTable = true;
    ASSERT_TRUE(config.algorithm.GetActiveAlgorithmConfig().m_bClean3DData);
    Decoder decoder(*m_model, config);
    EXPECT_EQ(AllocationsOf(decoder, s_pair->reference, s_pair->pattern), 0U);
    EXPECT_GT(decoder.GetRecord().GetNumValidPoints(), 500);
}

/// Everything that a preset or a configuration can switch on.
DecoderConfig EverythingOn()
{
    DecoderConfig config;
    config.useTable = true;
    config.withQualities = true;
    config.Edges().m_iRepairEdgesMaxNumGaps = 10;
    config.algorithm.SetExitWindow(0.0F, 0.0F, 1.0F, 20.0F);
    scannertest::LoadDepthCulling(config.algorithm, 33.0F, 10.0F);
    LxCV::LxCAlgorithmConfig& preset = config.algorithm.GetActiveAlgorithmConfig();
    preset.m_Roi = AllOfTheImage().algorithm.GetActiveAlgorithmConfig().m_Roi;
    preset.m_bClean3DData = true;
    preset.m_bOrderingConstraint = true;
    preset.m_bCheckOtherSymbols = true;
    preset.m_bDepthCulling = true;
    preset.m_bExitWindowCulling = true;
    preset.m_bSmoothReducedData = true;
    preset.m_eReduceData = LxCV::LxCLxCVLibSettings::eRD_Reduction1;
    preset.m_bUseReferenceShift = true;
    preset.m_iBoundaryShiftedRefImg = 10;
    preset.m_bRepairEdges = true;
    preset.m_bUseCompSceneColor = false;
    return config;
}

std::size_t CountColumn(const Decoder& decoder, int column)
{
    return static_cast<std::size_t>(std::ranges::count_if(
        decoder.GetPoints(), [column](const MeasuredPoint& point) { return point.edge.column == column; }));
}

TEST(DecoderWithEverythingOn, TakesNoMemoryWhereItShiftsAndRepairs)
{
    constexpr int kWidth = 120;
    constexpr int kMoved = 3;  // columns by which the scene lies farther left in the reference image
    constexpr int kBlack = 60; // a column without light; its neighbours have nothing to compare with
    const device::VirtualDevice device(Strip(kWidth));
    const auto scene = device::MakeTextured(device::MakeScene("molar"), 0.5);
    device::RenderOptions options;
    options.noise = 0.0;
    device::RenderedPair pair = device.RenderPair(*scene, options);
    for (int row = 0; row < pair.reference.height; ++row) {
        for (int channel = 0; channel < device::ImageF::channels; ++channel) {
            pair.reference.At(kBlack, row, channel) = 0.0F;
            pair.pattern.At(kBlack, row, channel) = 0.0F;
        }
    }
    std::rotate(pair.reference.data.begin(), pair.reference.data.begin() + kMoved * device::ImageF::channels,
                pair.reference.data.end());

    const auto model = scannertest::LoadModel(device);
    Decoder decoder(*model, EverythingOn());
    EXPECT_EQ(AllocationsOf(decoder, pair.reference, pair.pattern), 0U);
    EXPECT_GT(decoder.GetRecord().GetNumValidPoints(), 1000);
    EXPECT_GT(CountColumn(decoder, kBlack), 50U) << "edges were repaired";
    EXPECT_EQ(CountColumn(decoder, kMoved - 1), 0U) << "black came in where the reference was shifted";
    EXPECT_GT(CountColumn(decoder, kMoved + 2), 50U);
}

TEST_F(DecoderOnADevice, CleansItsPointsWhereTheActivePresetWantsIt)
{
    DecoderConfig config = AllOfTheImage();
    std::vector<MeasuredPoint> expected = Measure();
    PointCleaning(config.algorithm).Clean(kWidth, s_pair->pattern.height, 130, expected);
    ASSERT_FALSE(expected.empty());
    config.algorithm.GetActiveAlgorithmConfig().m_bClean3DData = true;
    EXPECT_TRUE(AreSame(Measure(s_pair->reference, s_pair->pattern, config), expected));
}

TEST_F(DecoderOnADevice, ReducesItsRecordAsTheActivePresetTells)
{
    using Settings = LxCV::LxCLxCVLibSettings;
    for (const auto reduction : {Settings::eRD_None, Settings::eRD_Reduction1, Settings::eRD_Reduction2}) {
        DecoderConfig config = AllOfTheImage();
        config.useTable =
            reduction == Settings::eRD_Reduction2; // the table's initialisation makes a record too
        config.algorithm.SetReduceDataInMeasurement(reduction);
        Decoder decoder(*m_model, config);
        decoder.Init(kWidth, s_pair->reference.height);
        Decode(decoder, Wrap(s_pair->reference), Wrap(s_pair->pattern));
        decoder.Deliver(Wrap(s_pair->reference));
        const LxCV::LxSScanDataCCT& record = decoder.GetRecord();
        EXPECT_EQ(record.GetFull3DPoints()->GetWidth(), kWidth);
        EXPECT_EQ(record.Get3DPoints()->GetWidth(), reduction == Settings::eRD_None ? kWidth : kWidth / 3);
        EXPECT_EQ(record.Get3DPoints()->GetHeight(), record.GetFull3DPoints()->GetHeight());
        EXPECT_GT(record.GetNumValidPoints(), 1000);
        EXPECT_TRUE(record.GetQualities().empty());
    }
}

TEST_F(DecoderOnADevice, GivesQualitiesWhereTheConfigurationAsksForThem)
{
    DecoderConfig config = AllOfTheImage();
    config.withQualities = true;
    Decoder decoder(*m_model, config);
    Decode(decoder, Wrap(s_pair->reference), Wrap(s_pair->pattern));
    decoder.Deliver(Wrap(s_pair->reference));
    const auto qualities = decoder.GetRecord().GetQualities();
    ASSERT_EQ(qualities.size(),
              static_cast<std::size_t>(decoder.GetRecord().Get3DPoints()->GetSizeInPixels()));
    ASSERT_FALSE(decoder.GetPoints().empty());
    for (const MeasuredPoint& point : decoder.GetPoints()) {
        const float quality =
            qualities[static_cast<std::size_t>(point.edge.stripeEdge * kWidth + point.edge.column)]
                .GetFloatQuality();
        ASSERT_GE(quality, config.minGradient) << "no edge is found by less";
        ASSERT_LE(quality, 1.0F);
    }
}

TEST_F(DecoderOnADevice, DeliversColoursOfFloatImagesOnly)
{
    Decoder decoder(*m_model);
    Decode(decoder, Wrap(s_pair->reference), Wrap(s_pair->pattern));
    const int width = s_pair->reference.width;
    const int height = s_pair->reference.height;
    const CCTImage bytes(width, height, CCTImage::eIDT_BGRU8, true, nullptr);
    const CCTImage hollow(width, height, CCTImage::eIDT_FLOAT32_3, false, nullptr);
    EXPECT_THROW(decoder.Deliver(bytes), std::invalid_argument);
    EXPECT_THROW(decoder.Deliver(hollow), std::invalid_argument);
}

TEST_F(DecoderOnADevice, DropsEdgesOutOfOrderWhereThePresetWantsIt)
{
    // The lower part of the image stands above the upper one: the numbers fall once in each column.
    device::ImageF reference = s_pair->reference;
    device::ImageF pattern = s_pair->pattern;
    for (device::ImageF* const image : {&reference, &pattern}) {
        const std::ptrdiff_t rows = image->height / 3;
        std::rotate(image->data.begin(), image->data.begin() + rows * image->width * 3, image->data.end());
    }
    std::array<std::size_t, 2> disordered{};
    for (const bool isWanted : {false, true}) {
        DecoderConfig config;
        config.algorithm.GetActiveAlgorithmConfig().m_bOrderingConstraint = isWanted;
        Decoder decoder(*m_model, config);
        Decode(decoder, Wrap(reference), Wrap(pattern));
        std::map<int, int> lowest;
        for (const EdgePixel& edge : decoder.GetEdgePixels()) {
            int& last = lowest[edge.column];
            disordered[isWanted ? 1 : 0] += edge.stripeEdge <= last ? 1 : 0;
            last = edge.stripeEdge;
        }
        EXPECT_GT(decoder.GetEdgePixels().size(), 1000U);
    }
    EXPECT_GT(disordered[0], 0U);
    EXPECT_EQ(disordered[1], 0U);
}

TEST_F(DecoderOnADevice, DeliversEachPointInItsRecord)
{
    Decoder decoder(*m_model, AllOfTheImage());
    Decode(decoder, Wrap(s_pair->reference), Wrap(s_pair->pattern));
    decoder.Deliver(Wrap(s_pair->reference));
    const LxCV::LxSScanDataCCT& record = decoder.GetRecord();
    EXPECT_EQ(record.GetFull3DPoints()->GetWidth(), kWidth);
    EXPECT_EQ(record.GetFull3DPoints()->GetHeight(), m_model->GetCLPattern()->GetNrOfStripeEdges());
    ASSERT_FALSE(decoder.GetPoints().empty());
    for (const MeasuredPoint& point : decoder.GetPoints()) {
        ASSERT_EQ(record.GetFullValidMask()->GetBytePixelFast(point.edge.column, point.edge.stripeEdge), 1);
        LxCV::LxCFloat3 position;
        record.GetFull3DPoints()->GetPixelFast(point.edge.column, point.edge.stripeEdge, &position);
        ASSERT_EQ(position.get(2), static_cast<float>(point.position.z));
    }
    EXPECT_EQ(record.GetNumValidPoints(), static_cast<int>(decoder.GetPoints().size()));
}

TEST_F(DecoderOnADevice, MakesNoBuffersForImpossibleSizes)
{
    constexpr int kMost = std::numeric_limits<int>::max();
    Decoder decoder(*m_model, AllOfTheImage());
    EXPECT_THROW(decoder.Init(0, 1), std::invalid_argument);
    EXPECT_THROW(decoder.Init(1, -1), std::invalid_argument);
    EXPECT_THROW(decoder.Init(kMost, kMost), std::bad_alloc);
    EXPECT_THROW(decoder.Init(kMost, 1), std::bad_alloc);
}

TEST_F(DecoderOnADevice, BrokenPixelsCostTheirNeighbourhoodAlone)
{
    const auto expected = Measure();
    // A bad pixel reaches one column to either side, and by code words a few edges up and down.
    constexpr int kBadColumn = 20;
    constexpr int kBadRow = 240;
    constexpr int kReach = 1;
    for (const float bad : {kInfinity, -kInfinity, kNotANumber, kLargest, -kLargest}) {
        device::ImageF pattern = s_pair->pattern;
        device::ImageF reference = s_pair->reference;
        for (int channel = 0; channel < device::ImageF::channels; ++channel) {
            pattern.At(kBadColumn, kBadRow, channel) = bad;
            reference.At(kBadColumn, kBadRow + 10, channel) = bad;
        }
        const auto far = [](const MeasuredPoint& point) {
            return std::abs(point.edge.column - kBadColumn) > kReach;
        };
        std::vector<MeasuredPoint> untouched;
        std::vector<MeasuredPoint> found;
        std::copy_if(expected.begin(), expected.end(), std::back_inserter(untouched), far);
        const auto points = Measure(reference, pattern);
        std::copy_if(points.begin(), points.end(), std::back_inserter(found), far);
        EXPECT_TRUE(AreSame(found, untouched)) << bad;
        EXPECT_GT(points.size() + 60, expected.size()) << bad;
    }
}

TEST_F(DecoderOnADevice, AnUncalibratedModelGivesNoPoints)
{
    const LxCV::LxCPinholeFramework empty;
    Decoder decoder(empty);
    Decode(decoder, Wrap(s_pair->reference), Wrap(s_pair->pattern));
    EXPECT_TRUE(decoder.GetEdgePixels().empty());
    EXPECT_TRUE(decoder.GetPoints().empty());
}

TEST_F(DecoderOnADevice, APatternWithoutIdsNamesNothing)
{
    m_model->GetCLPattern()->SetPatternString(""); // the tables are those of the pattern before
    ASSERT_EQ(m_model->GetCLPattern()->GetNrOfUniqueStripeIds(), 0);
    EXPECT_TRUE(Measure().empty());
}

TEST_F(DecoderOnADevice, CodeWordsOfAnotherLengthNameNothing)
{
    for (const int length : {1, 2, 3, 5, 6}) {
        m_model->GetCLPattern()->SetCodewordLen(length);
        m_model->GetCLPattern()->ConstructLUTs();
        EXPECT_TRUE(Measure().empty()) << length;
    }
    m_model->GetCLPattern()->SetCodewordLen(4);
    m_model->GetCLPattern()->ConstructLUTs();
    EXPECT_FALSE(Measure().empty());
}

TEST_F(DecoderOnADevice, TheAnswerForNoPointIsNoPointOfAWorkingRangeThatHoldsZero)
{
    m_model->SetWorkingSpace(-1.0, 41.0, true);
    m_model->GetCamera()->GetCalibState()->ResetCalibState(); // every edge is answered by (0, 0, 0)
    Decoder decoder(*m_model, AllOfTheImage());
    Decode(decoder, Wrap(s_pair->reference), Wrap(s_pair->pattern));
    EXPECT_FALSE(decoder.GetEdgePixels().empty());
    EXPECT_TRUE(decoder.GetPoints().empty());
}

TEST_F(DecoderOnADevice, PointsOutsideTheWorkingRangeAreLeftOut)
{
    const auto all = Measure();
    double nearest = all.front().position.z;
    double farthest = nearest;
    for (const MeasuredPoint& point : all) {
        nearest = std::min(nearest, point.position.z);
        farthest = std::max(farthest, point.position.z);
    }
    const double limit = 0.5 * (nearest + farthest);
    m_model->SetWorkingSpace(25.0, limit, true);
    const auto front = Measure();
    ASSERT_FALSE(front.empty());
    EXPECT_LT(front.size(), all.size());
    for (const MeasuredPoint& point : front) {
        ASSERT_LE(point.position.z, limit);
    }
}

/// Those of `points` that fulfil a condition.
template <typename Condition>
std::vector<MeasuredPoint> Where(const std::vector<MeasuredPoint>& points, Condition condition)
{
    std::vector<MeasuredPoint> chosen;
    std::copy_if(points.begin(), points.end(), std::back_inserter(chosen), condition);
    return chosen;
}

TEST_F(DecoderOnADevice, MeasuresInTheRegionOfTheActivePreset)
{
    const auto all = Measure();
    DecoderConfig config = AllOfTheImage();
    // Of the columns the last 658 - 5 - 640 = 13 are left out, those from 27 on; of the rows all but 100 to 299.
    config.algorithm.GetActiveAlgorithmConfig().m_Roi.Set(5, 100, 640, 200);
    const auto expected = Where(all, [](const MeasuredPoint& point) {
        const double pixelRow = std::floor(point.edge.row + 0.5);
        return point.edge.column >= 5 && point.edge.column <= 26 && pixelRow >= 100 && pixelRow <= 299;
    });
    ASSERT_GT(expected.size(), 500U);
    EXPECT_TRUE(AreSame(Measure(s_pair->reference, s_pair->pattern, config), expected));
    config.algorithm.ActivateAlgorithmSettings(LxCV::LxCAlgorithmConfig::eS_Preset3);
    EXPECT_FALSE(AreSame(Measure(s_pair->reference, s_pair->pattern, config), expected));
}

TEST_F(DecoderOnADevice, LeavesOutTheBorderOfTheSettingsByDefault)
{
    // data/settings.lua: Boundary3DDataAllRound is 10, Boundary3DData is 0.
    const auto points = Measure(s_pair->reference, s_pair->pattern, {});
    ASSERT_FALSE(points.empty());
    for (const MeasuredPoint& point : points) {
        ASSERT_TRUE(point.edge.column >= 10 && point.edge.column < kWidth - 10);
        ASSERT_TRUE(point.edge.row >= 9.5 && point.edge.row < 494 - 10.5);
    }
    Decoder decoder(*m_model);
    decoder.Init(658, 494);
    EXPECT_EQ(decoder.GetRegion().GetLeftCol(), 10);
    EXPECT_EQ(decoder.GetRegion().GetTopRow(), 10);
    EXPECT_EQ(decoder.GetRegion().GetRightCol(), 647);
    EXPECT_EQ(decoder.GetRegion().GetBottomRow(), 483);
}

TEST_F(DecoderOnADevice, DropsPointsBeyondTheDepthOfTheConfiguration)
{
    constexpr double kLimit = 33.0; // mm; the molar reaches from some 30 to 35
    const auto all = Measure();
    DecoderConfig config = AllOfTheImage();
    scannertest::LoadDepthCulling(config.algorithm, 30.0F, 3.0F);
    EXPECT_TRUE(AreSame(Measure(s_pair->reference, s_pair->pattern, config), all));
    config.algorithm.GetActiveAlgorithmConfig().m_bDepthCulling = true;
    const auto expected = Where(all, [](const MeasuredPoint& point) { return point.position.z <= kLimit; });
    ASSERT_FALSE(expected.empty());
    ASSERT_LT(expected.size(), all.size());
    EXPECT_TRUE(AreSame(Measure(s_pair->reference, s_pair->pattern, config), expected));
}

TEST_F(DecoderOnADevice, DropsPointsBeforeTheExitWindow)
{
    const auto all = Measure();
    DecoderConfig config = AllOfTheImage();
    config.algorithm.SetExitWindow(0.0F, 0.0F, 1.0F, 33.0F);
    EXPECT_TRUE(AreSame(Measure(s_pair->reference, s_pair->pattern, config), all));
    config.algorithm.GetActiveAlgorithmConfig().m_bExitWindowCulling = true;
    const auto expected = Where(all, [](const MeasuredPoint& point) { return point.position.z >= 33.0; });
    ASSERT_FALSE(expected.empty());
    ASSERT_LT(expected.size(), all.size());
    EXPECT_TRUE(AreSame(Measure(s_pair->reference, s_pair->pattern, config), expected));
    config.algorithm.SetExitWindow(0.0F, 0.0F, -1.0F, -33.0F); // the same plane
    EXPECT_TRUE(AreSame(Measure(s_pair->reference, s_pair->pattern, config), expected));
}

TEST_F(DecoderOnADevice, StepsWithoutAnImageFindNothing)
{
    Decoder decoder(*m_model, AllOfTheImage());
    decoder.ReadCodeWords();
    decoder.TraceEdges();
    decoder.Triangulate();
    EXPECT_TRUE(decoder.GetPoints().empty());
    decoder.FindEdges();
    decoder.ReadCodeWords();
    decoder.TraceEdges();
    decoder.Triangulate();
    EXPECT_TRUE(decoder.GetPoints().empty());
}

TEST_F(DecoderOnADevice, RefusesImagesWithoutPixels)
{
    const CCTImage good(kWidth, 494, CCTImage::eIDT_FLOAT32_3, 100.0F);
    const CCTImage hollow(kWidth, 494, CCTImage::eIDT_FLOAT32_3, false, nullptr);
    Decoder decoder(*m_model, AllOfTheImage());
    EXPECT_THROW(decoder.ComputeSignal(good, hollow), std::invalid_argument);
    EXPECT_THROW(decoder.ComputeSignal(hollow, good), std::invalid_argument);
}

TEST_F(DecoderOnADevice, UniformImagesOfAnySizeAndValueGiveNoPoints)
{
    const std::vector<float> values = {0.0F,  255.0F,    1e-45F,     kLargest,   -kLargest,
                                       -1.0F, kInfinity, -kInfinity, kNotANumber};
    for (const auto& [width, height] :
         {std::pair{1, 1}, {1, 40}, {40, 1}, {2, 2}, {3, 3}, {4, 5}, {17, 33}}) {
        for (const float white : values) {
            for (const float striped : values) {
                const CCTImage reference(width, height, CCTImage::eIDT_FLOAT32_3, white);
                const CCTImage pattern(width, height, CCTImage::eIDT_FLOAT32_3, striped);
                Decoder decoder(*m_model, AllOfTheImage());
                Decode(decoder, reference, pattern);
                ASSERT_TRUE(decoder.GetPoints().empty())
                    << width << " x " << height << ", " << white << " and " << striped;
            }
        }
    }
}

/// Pixels that are mostly grey levels and here and there any bit pattern of a float.
device::ImageF HostileImage(std::mt19937& random, int width, int height)
{
    device::ImageF image(width, height);
    for (float& pixel : image.data) {
        const std::uint32_t bits = random();
        pixel = bits % 5 == 0 ? std::bit_cast<float>(static_cast<std::uint32_t>(random()))
                              : static_cast<float>(bits % 256);
    }
    return image;
}

TEST_F(DecoderOnADevice, PixelsOfAnyBitsGivePointsWithinImageAndRangeOrNone)
{
    constexpr int kTrials = 300;
    std::mt19937 random(20240607);
    for (int trial = 0; trial < kTrials; ++trial) {
        const int width = 1 + static_cast<int>(random() % 24);
        const int height = 1 + static_cast<int>(random() % 80);
        device::ImageF reference = HostileImage(random, width, height);
        device::ImageF pattern = HostileImage(random, width, height);
        DecoderConfig greedy = AllOfTheImage();
        greedy.minReference = trial % 2 == 0 ? greedy.minReference : -kInfinity;
        greedy.minGradient = trial % 3 == 0 ? greedy.minGradient : -1.0F;
        greedy.maxChannelSpread = trial % 5 == 0 ? kInfinity : greedy.maxChannelSpread;
        for (int* limit : {&greedy.traceRadius, &greedy.Edges().m_iMaxCodeLetterDist,
                           &greedy.Edges().m_iMaxGapWithinStripeBoundary, &greedy.Edges().m_iIncrement,
                           &greedy.Edges().m_iTraceStepLimit, &greedy.Edges().m_iMinStripeLengthContFlag,
                           &greedy.Edges().m_iThrowAwayPixAtStripeBegEnd}) {
            const int limits[] = {std::numeric_limits<int>::min(), -1, 0, 1, 7,
                                  std::numeric_limits<int>::max()};
            *limit = random() % 3 == 0 ? limits[random() % std::size(limits)] : *limit;
        }
        greedy.Edges().m_bManuallyAssignLseId = trial % 7 == 0;
        greedy.Edges().m_iSmoothingMode = trial % 3;
        Decoder decoder(*m_model, greedy);
        Decode(decoder, Wrap(reference), Wrap(pattern));
        for (const MeasuredPoint& point : decoder.GetPoints()) {
            ASSERT_TRUE(point.edge.column >= 0 && point.edge.column < width) << trial;
            ASSERT_TRUE(point.edge.row >= 0.0 && point.edge.row <= height - 1.0) << trial;
            ASSERT_TRUE(std::isfinite(point.position.x) && std::isfinite(point.position.y)) << trial;
            ASSERT_TRUE(point.position.z >= m_model->GetMinZc() && point.position.z <= m_model->GetMaxZc())
                << trial;
        }
    }
}

} // namespace
} // namespace decoder
