#include "lxc3ddata.h"

#include "lxcframegrabberreqs.h"
#include "lxclxcvlibsettings.h"
#include "lxctriangulationlut.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/lxcvlib/frameworkprobe.h"
#include "tests/lxcvlib/refusingcontext.h"
#include "tests/support/computecontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::CCameraModel;
using TestSupport::CFrameworkProbe;
using TestSupport::CRefusingContext;
using TestSupport::CXYZ;
using TestSupport::EdgeXYZ;
using Settings = LxCLxCVLibSettings;

// An image that is large enough for some cells.
constexpr int c_iWidth = 40;
constexpr int c_iHeight = 24;
constexpr int c_iGridWidth = c_iWidth / 8 + 2;
constexpr int c_iGridHeight = c_iHeight / 4 + 2;
constexpr int c_iEdges = 140; // of the model

int Errors(const Logging::CCapture& log, const std::wstring& text)
{
    return log.Count(Logging::ELevel::eError, L"ORX.Lumorad.LxC3DData", text);
}

CCameraModel LensModel(bool useTsai, unsigned int seed)
{
    std::mt19937_64 random(seed);
    return TestSupport::RandomModel(random, useTsai);
}

/// Restores the settings that decide sizes.
class LxC3DDataTest : public testing::Test
{
protected:
    LxC3DDataTest() { Settings::Invalidate(); }
    ~LxC3DDataTest() override { Settings::Invalidate(); }

    bool Init(const std::shared_ptr<GPGPU::IContext>& context = nullptr)
    {
        return m_data.Init(c_iWidth, c_iHeight, 50, 30, 30, 20, CCTImage::eIDT_BGRU8, &m_framework, context);
    }

    CFrameworkProbe m_framework{TestSupport::PlainModel()};
    LxC3DData m_data;
};

// --- The table

void ExpectTableOfPoints(const LxC3DData& data, const LxCPinholeFramework& framework)
{
    const auto table = data.GetTriangulationLUT();
    ASSERT_NE(table, nullptr);
    ASSERT_EQ(table->GetNrEntries(), c_iEdges);
    int points = 0;
    for (int edge = 0; edge < c_iEdges; ++edge) {
        const CCTImage& grid = *table->GetLUTEntry(edge);
        ASSERT_EQ(grid.GetWidth(), c_iGridWidth);
        ASSERT_EQ(grid.GetHeight(), c_iGridHeight);
        for (int y = 0; y < c_iGridHeight; ++y) {
            for (int x = 0; x < c_iGridWidth; ++x) {
                const CXYZ expected = EdgeXYZ(framework, 8.0 * x, 4.0 * y, edge, true, true);
                const LxCFloat3& found = grid.GetFloat3Fast(x, y);
                ASSERT_EQ(found.get(0), static_cast<float>(expected.x)) << x << " " << y << " " << edge;
                ASSERT_EQ(found.get(1), static_cast<float>(expected.y)) << x << " " << y << " " << edge;
                ASSERT_EQ(found.get(2), static_cast<float>(expected.z)) << x << " " << y << " " << edge;
                points += found.get(2) != 0.0F ? 1 : 0;
            }
        }
    }
    EXPECT_GT(points, c_iEdges * c_iGridWidth * c_iGridHeight / 2);
}

TEST(TriangulationTable, HoldsThePointsOfTheModelAsFloats)
{
    for (const bool useTsai : {false, true}) {
        for (const unsigned int seed : {1U, 2U}) {
            const CFrameworkProbe framework(LensModel(useTsai, seed));
            LxC3DData data;
            ASSERT_TRUE(data.InitTriangulationLUT(c_iWidth, c_iHeight, &framework, nullptr));
            ExpectTableOfPoints(data, framework);
            EXPECT_EQ(data.GetTriangulationLUTGPU(), nullptr);
            EXPECT_FALSE(data.IsInitialized()) << "there is a table, but no images";
        }
    }
}

TEST(TriangulationTable, LeavesOutEdgesNearMarks)
{
    CFrameworkProbe framework(TestSupport::PlainModel());
    framework.GetProjCalibThres()->m_viCalibMarkPos = {60};
    framework.GetProjCalibThres()->m_viBlankOutMarkerPos = {3500};
    framework.GetProjCalibThres()->m_iBlankOutMarkerWidth = 10000; // the whole edge
    LxC3DData data;
    ASSERT_TRUE(data.InitTriangulationLUT(c_iWidth, c_iHeight, &framework, nullptr));
    const LxCTriangulationLUT& table = *data.GetTriangulationLUT();
    float xyz[3];
    for (const int edge : {59, 60, 61, 62}) {
        unsigned char valid = 2;
        table.LookUpXYZ(20.0F, 10.0F, edge, xyz, &valid);
        EXPECT_EQ(valid, edge == 60 || edge == 61 ? 0 : 1) << edge;
    }
}

TEST(TriangulationTable, PointsThatAreNotFiniteCountAsNone)
{
    // Slide columns without width: the two points of a local plane are one, and there is no plane.
    CCameraModel model = TestSupport::PlainModel();
    model.projector.pitchX = 0.0;
    const Logging::CCapture quiet;
    const CFrameworkProbe framework(model);
    const CXYZ point = EdgeXYZ(framework, 8.0, 4.0, 70, true, true);
    ASSERT_FALSE(std::isfinite(static_cast<float>(point.z)));
    LxC3DData data;
    ASSERT_TRUE(data.InitTriangulationLUT(c_iWidth, c_iHeight, &framework, nullptr));
    const LxCTriangulationLUT& table = *data.GetTriangulationLUT();
    EXPECT_TRUE(std::all_of(table.GetBlock(), table.GetBlock() + table.GetNrElements(),
                            [](float value) { return value == 0.0F; }));
}

TEST(TriangulationTable, UncalibratedModelGivesATableWithoutPoints)
{
    CCameraModel model = TestSupport::PlainModel();
    model.camera.calibrated = false;
    const CFrameworkProbe framework(model);
    LxC3DData data;
    ASSERT_TRUE(data.InitTriangulationLUT(c_iWidth, c_iHeight, &framework, nullptr));
    EXPECT_EQ(data.GetTriangulationLUT()->LookUpZ(20.0F, 10.0F, 70), 0.0F);
}

TEST(TriangulationTable, NeedsAModelWithAValidPattern)
{
    CFrameworkProbe framework(TestSupport::PlainModel());
    LxC3DData data;
    ASSERT_TRUE(data.InitTriangulationLUT(c_iWidth, c_iHeight, &framework, nullptr));
    const auto shared = data.GetTriangulationLUT();
    framework.GetCLPattern()->SetPatternString("");
    const Logging::CCapture log;
    EXPECT_FALSE(data.InitTriangulationLUT(c_iWidth, c_iHeight, &framework, nullptr));
    EXPECT_EQ(data.GetTriangulationLUT(), nullptr) << "the earlier table is of another model";
    EXPECT_GT(shared->LookUpZ(20.0F, 10.0F, 70), 0.0F) << "but whoever shares it keeps it";
    EXPECT_FALSE(data.InitTriangulationLUT(c_iWidth, c_iHeight, nullptr, nullptr));
    EXPECT_EQ(Errors(log, L"LxC3DData::InitTriangulationLUT: no model, or its pattern is not valid"), 2);
    EXPECT_FALSE(data.InitTriangulationLUT(-1, c_iHeight, &framework, nullptr));
}

TEST(TriangulationTable, PatternWithoutEdgesGivesATableWithoutEntries)
{
    CFrameworkProbe framework(TestSupport::PlainModel());
    framework.GetCLPattern()->SetPrimitiveSize(-100'000); // 7000 / -100000 of an edge, rounded up
    ASSERT_TRUE(framework.GetCLPattern()->IsValid());
    LxC3DData data;
    for (const std::shared_ptr<GPGPU::IContext>& context :
         {std::shared_ptr<GPGPU::IContext>(),
          std::shared_ptr<GPGPU::IContext>(std::make_shared<CRefusingContext>(INT_MAX))}) {
        const Logging::CCapture log;
        EXPECT_TRUE(data.InitTriangulationLUT(c_iWidth, c_iHeight, &framework, context));
        ASSERT_NE(data.GetTriangulationLUT(), nullptr);
        EXPECT_EQ(data.GetTriangulationLUT()->GetNrEntries(), 0);
        EXPECT_EQ(data.GetTriangulationLUTGPU(), nullptr);
        EXPECT_TRUE(log.GetRecords().empty());
    }
}

TEST(TriangulationTable, RoomOnTheGPUIsTakenBeforePointsAreComputed)
{
    CFrameworkProbe framework(TestSupport::PlainModel());
    const auto context = std::make_shared<CRefusingContext>(3);
    context->SetOnCreate([&framework] {
        framework.GetProjCalibThres()->m_viCalibMarkPos = {60};
        framework.GetProjCalibThres()->m_viBlankOutMarkerPos = {3500};
        framework.GetProjCalibThres()->m_iBlankOutMarkerWidth = 10000; // the whole edge
    });
    LxC3DData data;
    ASSERT_TRUE(data.InitTriangulationLUT(c_iWidth, c_iHeight, &framework, context));
    EXPECT_EQ(data.GetTriangulationLUT()->LookUpZ(20.0F, 10.0F, 60 + 1), 0.0F) << "the mark came in time";
    EXPECT_GT(data.GetTriangulationLUT()->LookUpZ(20.0F, 10.0F, 70 + 1), 0.0F);
}

TEST(TriangulationTable, CopyThatBreaksLeavesNoTable)
{
    const CFrameworkProbe framework(TestSupport::PlainModel());
    for (const int whole : {0, 1, 2}) {
        LxC3DData data;
        const Logging::CCapture log;
        EXPECT_FALSE(data.InitTriangulationLUT(
            c_iWidth, c_iHeight, &framework,
            std::make_shared<CRefusingContext>(whole, CRefusingContext::EFailure::eBreak)));
        EXPECT_EQ(Errors(log, L"LxCCCLAlgoData::Init: Exception device lost"), 1);
        EXPECT_EQ(data.GetTriangulationLUT(), nullptr);
        EXPECT_EQ(data.GetTriangulationLUTGPU(), nullptr);
    }
}

TEST(TriangulationTable, PatternOfMoreEdgesThanThereAreNumbersIsRefused)
{
    CFrameworkProbe framework(TestSupport::PlainModel());
    framework.GetCLPattern()->SetPrimitiveSize(1); // 7000 edges
    LxC3DData data;
    const Logging::CCapture log;
    EXPECT_FALSE(data.InitTriangulationLUT(c_iWidth, c_iHeight, &framework, nullptr));
    EXPECT_EQ(Errors(log, L"LxC3DData::InitTriangulationLUT: 7000 stripe edges are too many"), 1);
    EXPECT_EQ(data.GetTriangulationLUT(), nullptr);
}

TEST(TriangulationTable, SizeThatTheMemoryDoesNotHoldIsRefused)
{
    const CFrameworkProbe framework(TestSupport::PlainModel());
    LxC3DData data;
    const Logging::CCapture quiet;
    EXPECT_FALSE(data.InitTriangulationLUT(INT_MAX, INT_MAX, &framework, nullptr));
    EXPECT_FALSE(data.InitTriangulationLUT(c_iWidth, -1, &framework, nullptr));
    EXPECT_EQ(data.GetTriangulationLUT(), nullptr);
}

// --- Lookups beside the model

/// Largest magnitude of a second derivative over a cell, mm/pixel², by differences at nine places of the cell.
double Curvature(const LxCPinholeFramework& framework, int edge, double col0, double row0, bool alongCols,
                 int axis)
{
    constexpr double c_step = 2.0; // pixels
    const double dc = alongCols ? c_step : 0.0;
    const double dr = alongCols ? 0.0 : c_step;
    const auto value = [&](double col, double row) {
        const CXYZ p = EdgeXYZ(framework, col, row, edge, true);
        return axis == 0 ? p.x : axis == 1 ? p.y : p.z;
    };
    double largest = 0.0;
    for (const double row : {row0, row0 + 2.0, row0 + 4.0}) {
        for (const double col : {col0, col0 + 4.0, col0 + 8.0}) {
            const double difference =
                value(col + dc, row + dr) - 2.0 * value(col, row) + value(col - dc, row - dr);
            largest = std::max(largest, std::abs(difference) / (c_step * c_step));
        }
    }
    return largest;
}

/// Bilinear interpolation on a cell of hx by hy errs by at most (hx² max|f_xx| + hy² max|f_yy|) / 8.
double InterpolationBound(const LxCPinholeFramework& framework, int edge, double col0, double row0, int axis)
{
    constexpr double c_sampling = 1.1; // the maxima are sampled at nine places
    const double cols = Curvature(framework, edge, col0, row0, true, axis);
    const double rows = Curvature(framework, edge, col0, row0, false, axis);
    return c_sampling * (64.0 * cols + 16.0 * rows) / 8.0;
}

/// In the upper left part of the image, whose corner the lens distorts most.
TEST(TriangulationTable, LookupsErrLessThanTheCurvatureAllows)
{
    // Coordinates are below 64 mm, so that rounding to float costs 1.9e-6 mm; the corners are rounded once, and
    // the seven operations between them and the result once each.
    constexpr double c_rounding = 8 * 1.9e-6; // mm
    constexpr int c_width = 160;
    constexpr int c_height = 96;
    for (const bool useTsai : {false, true}) {
        CCameraModel model = LensModel(useTsai, 5);
        model.numPatches = model.numPatchesDepth = 0; // patches make steps, which have no derivative
        model.rows.clear();
        const CFrameworkProbe framework(model);
        LxC3DData data;
        ASSERT_TRUE(data.InitTriangulationLUT(c_width, c_height, &framework, nullptr));
        const LxCTriangulationLUT& table = *data.GetTriangulationLUT();
        std::mt19937 random(6);
        int compared = 0;
        double worst = 0.0;
        for (int trial = 0; trial < 6000; ++trial) {
            const auto col =
                static_cast<float>(std::uniform_real_distribution<double>(0.0, c_width - 1.0)(random));
            const auto row =
                static_cast<float>(std::uniform_real_distribution<double>(0.0, c_height - 1.0)(random));
            const auto edge = static_cast<int>(random() % c_iEdges);
            float xyz[3];
            unsigned char valid = 0;
            table.LookUpXYZ(col, row, edge, xyz, &valid);
            if (valid == 0 || xyz[2] < 20.0F || xyz[2] > 45.0F) {
                continue; // near a mark, or out of the working range
            }
            ++compared;
            const CXYZ exact = EdgeXYZ(framework, col, row, edge, true);
            const double expected[3] = {exact.x, exact.y, exact.z};
            for (int axis = 0; axis < 3; ++axis) {
                const double bound =
                    c_rounding + InterpolationBound(framework, edge, 8.0 * std::floor(col / 8.0F),
                                                    4.0 * std::floor(row / 4.0F), axis);
                const double error = std::abs(xyz[axis] - expected[axis]);
                ASSERT_LE(error, bound) << col << " " << row << " " << edge << " " << axis;
                ASSERT_LT(bound, 0.02) << "mm; a bound that says something";
                worst = std::max(worst, error);
            }
            ASSERT_EQ(table.LookUpZ(col, row, edge + 1), xyz[2]);
        }
        EXPECT_GT(compared, 500);
        EXPECT_LT(worst, 0.01);
        RecordProperty(useTsai ? "worstTsaiMicrometres" : "worstTauMicrometres",
                       std::to_string(1000.0 * worst));
    }
}

// --- Images

TEST_F(LxC3DDataTest, NewOneIsEmpty)
{
    EXPECT_FALSE(m_data.IsInitialized());
    EXPECT_EQ(m_data.GetTriangulationLUT(), nullptr);
    EXPECT_EQ(m_data.GetTriangulationLUTGPU(), nullptr);
    EXPECT_EQ(m_data.GetScanData().Get3DPoints(), nullptr);
    EXPECT_FALSE(m_data.GetWordImage().IsValid());
    EXPECT_TRUE(m_data.GetReducedGPUBuffers().empty());
    EXPECT_TRUE(m_data.GetFullGPUBuffers().empty());
    EXPECT_EQ(m_data.GetTempBuffer(), nullptr);
}

std::array<int, 3> ShapeOf(const CCTImage& image)
{
    return {image.GetWidth(), image.GetHeight(), static_cast<int>(image.GetDataType())};
}

TEST_F(LxC3DDataTest, InitMakesTableRecordAndImages)
{
    Settings::SetReduceData(static_cast<Settings::EReduceData>(0));
    const bool reduced = Settings::IsReduced(Settings::GetReduceData());
    ASSERT_TRUE(Init());
    EXPECT_TRUE(m_data.IsInitialized());
    ExpectTableOfPoints(m_data, m_framework);
    const LxSScanDataCCT& record = m_data.GetScanData();
    EXPECT_EQ(ShapeOf(*record.GetFull3DPoints()), (std::array{30, 20, 11}));
    EXPECT_EQ(ShapeOf(*record.Get3DPoints()), (std::array{reduced ? 10 : 30, 20, 11}));
    EXPECT_EQ(ShapeOf(*record.GetARGBImage()), (std::array{c_iWidth, c_iHeight, 1}));
    EXPECT_EQ(record.GetQualities().data(), nullptr);
    EXPECT_EQ(ShapeOf(m_data.GetWordImage()), (std::array{c_iWidth, c_iHeight, 4}));
    EXPECT_EQ(ShapeOf(m_data.GetReducedUInt16Image()), (std::array{10, 20, 5}));
    EXPECT_EQ(ShapeOf(m_data.GetUInt16Image()), (std::array{c_iWidth, 20, 5}));
    EXPECT_TRUE(m_data.GetReducedGPUBuffers().empty());
}

TEST_F(LxC3DDataTest, SecondInitMakesANewTableOnly)
{
    ASSERT_TRUE(Init());
    const auto before = m_data.GetTriangulationLUT();
    const CCTImage* const points = m_data.GetScanData().GetFull3DPoints();
    ASSERT_TRUE(m_data.Init(16, 8, 50, 30, 12, 10, CCTImage::eIDT_BGRU8, &m_framework,
                            std::make_shared<CRefusingContext>(3)));
    EXPECT_NE(m_data.GetTriangulationLUT(), before);
    EXPECT_EQ(m_data.GetTriangulationLUT()->GetLUTEntry(0)->GetWidth(), 4);
    EXPECT_NE(m_data.GetTriangulationLUTGPU(), nullptr);
    EXPECT_EQ(m_data.GetScanData().GetFull3DPoints(), points);
    EXPECT_EQ(points->GetWidth(), 30);
    EXPECT_EQ(m_data.GetWordImage().GetWidth(), c_iWidth);
    EXPECT_TRUE(m_data.GetFullGPUBuffers().empty());
}

TEST_F(LxC3DDataTest, RecordThatHasImagesKeepsThem)
{
    ASSERT_TRUE(m_data.GetScanData().Initialize(21, 9, 3, 2, true));
    const CCTImage* const points = m_data.GetScanData().GetFull3DPoints();
    ASSERT_TRUE(Init());
    EXPECT_EQ(m_data.GetScanData().GetFull3DPoints(), points);
    EXPECT_EQ(ShapeOf(m_data.GetReducedUInt16Image()), (std::array{7, 20, 5}));
    EXPECT_NE(m_data.GetScanData().GetQualities().data(), nullptr);
}

TEST_F(LxC3DDataTest, RequirementsTellSizesAndTheModelTheRows)
{
    const auto requirements = std::make_shared<LxCFrameGrabberReqs>();
    requirements->setWidth(c_iWidth);
    requirements->setHeight(c_iHeight);
    ASSERT_TRUE(m_data.Init(requirements, &m_framework, nullptr));
    EXPECT_EQ(ShapeOf(*m_data.GetScanData().GetFull3DPoints()), (std::array{c_iWidth, c_iEdges, 11}));
    EXPECT_EQ(ShapeOf(*m_data.GetScanData().GetARGBImage()), (std::array{c_iWidth, c_iHeight, 1}));
    EXPECT_EQ(ShapeOf(m_data.GetWordImage()), (std::array{c_iWidth, c_iHeight, 4}));
    EXPECT_EQ(ShapeOf(m_data.GetReducedUInt16Image()), (std::array{c_iWidth / 3, c_iEdges, 5}));
    EXPECT_EQ(ShapeOf(m_data.GetUInt16Image()), (std::array{c_iWidth, c_iEdges, 5}));

    LxC3DData other;
    const Logging::CCapture log;
    EXPECT_FALSE(other.Init(nullptr, &m_framework, nullptr));
    EXPECT_FALSE(other.Init(requirements, nullptr, nullptr));
    EXPECT_EQ(Errors(log, L"LxC3DData::Init: no requirements or no model"), 2);
    EXPECT_FALSE(other.IsInitialized());
}

TEST_F(LxC3DDataTest, SizesAndModelsThatCannotBeAreRefused)
{
    const std::array<std::array<int, 4>, 6> cases{{{0, 24, 30, 20},
                                                   {40, -1, 30, 20},
                                                   {40, 24, 0, 20},
                                                   {40, 24, 30, INT_MIN},
                                                   {-1, -1, -1, -1},
                                                   {1, 1, 1, 0}}};
    for (const auto& size : cases) {
        const Logging::CCapture log;
        EXPECT_FALSE(m_data.Init(size[0], size[1], 1, 1, size[2], size[3], CCTImage::eIDT_BGRU8, &m_framework,
                                 nullptr));
        EXPECT_EQ(Errors(log, L"LxC3DData::Init: no images of " + std::to_wstring(size[0]) + L" by " +
                                  std::to_wstring(size[1]) + L" and " + std::to_wstring(size[2]) + L" by " +
                                  std::to_wstring(size[3]) + L" pixels"),
                  1);
    }
    const Logging::CCapture log;
    EXPECT_FALSE(m_data.Init(40, 24, 1, 1, 30, 20, CCTImage::eIDT_BGRU8, nullptr, nullptr));
    EXPECT_FALSE(m_data.Init(40, 24, 1, 1, INT_MAX, INT_MAX, CCTImage::eIDT_BGRU8, &m_framework, nullptr));
    EXPECT_EQ(Errors(log, L"LxC3DData::Init: out of memory"), 1);
    EXPECT_FALSE(m_data.IsInitialized());
    EXPECT_TRUE(Init()) << "is possible afterwards";
}

TEST_F(LxC3DDataTest, MeasurementTakesNoMemory)
{
    ASSERT_TRUE(Init());
    const auto table = m_data.GetTriangulationLUT();
    CCTImage& points = *m_data.GetScanData().GetFull3DPoints();
    const AllocationCount allocations;
    EXPECT_TRUE(m_data.GetScanData().Clear());
    for (int edge = 0; edge < 20; ++edge) {
        for (int col = 0; col < 30; ++col) {
            float xyz[3];
            unsigned char valid = 0;
            table->LookUpXYZ(static_cast<float>(col), 10.0F, edge + 60, xyz, &valid);
            points.SetFloat3PixelFast(col, edge, LxCFloat3(xyz[0], xyz[1], xyz[2]));
            m_data.GetScanData().GetFullValidMask()->SetBytePixelFast(col, edge,
                                                                      static_cast<signed char>(valid));
        }
    }
    EXPECT_EQ(allocations.Get(), 0U);
}

// --- On the GPU

class ThreeDDataOnGPU : public ::TestSupport::CEachTechnology
{};

INSTANTIATE_TEST_SUITE_P(On, ThreeDDataOnGPU, ::TestSupport::c_allTechnologies,
                         ::TestSupport::NameOfTechnology);

TEST_P(ThreeDDataOnGPU, TableLiesInAPlaneForEachCoordinate)
{
    const CFrameworkProbe framework(TestSupport::PlainModel());
    LxC3DData data;
    ASSERT_TRUE(data.InitTriangulationLUT(c_iWidth, c_iHeight, &framework, CreateContext()));
    const LxCTriangulationLUT& table = *data.GetTriangulationLUT();
    const auto copy = data.GetTriangulationLUTGPU();
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->getNrChannels(), 3U);
    EXPECT_EQ(copy->GetPixelType(), eGPT_Float32);
    const auto points = static_cast<std::size_t>(table.GetNrElements()) / 3;
    ASSERT_EQ(copy->getSizeInPixels(), points);
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const std::vector<std::byte> bytes = ::TestSupport::BytesOf(*copy->getBufferHandle(channel));
        std::vector<float> values(points);
        ASSERT_EQ(bytes.size(), points * sizeof(float));
        std::memcpy(values.data(), bytes.data(), bytes.size());
        for (std::size_t i = 0; i < points; ++i) {
            ASSERT_EQ(values[i], table.GetBlock()[3 * i + channel]) << i << " " << channel;
        }
    }
}

TEST_P(ThreeDDataOnGPU, RecordHasBuffersBesideItsImages)
{
    const CFrameworkProbe framework(TestSupport::PlainModel());
    LxC3DData data;
    ASSERT_TRUE(
        data.Init(c_iWidth, c_iHeight, 1, 1, 30, 20, CCTImage::eIDT_BGRU8, &framework, CreateContext()));
    ASSERT_NE(data.GetTempBuffer(), nullptr);
    EXPECT_EQ(data.GetTempBuffer()->GetSize(), static_cast<std::size_t>(c_iWidth) * c_iHeight * 12);
    const auto expectBuffers = [](const LxC3DData::GPUBuffers& buffers, int width) {
        const EGPUPixelType types[] = {eGPT_Float32, eGPT_UInt8, eGPT_Float32, eGPT_UInt16, eGPT_UInt8};
        const std::size_t channels[] = {3, 1, 3, 1, 3};
        ASSERT_EQ(buffers.size(), 5U);
        for (std::size_t i = 0; i < 5; ++i) {
            EXPECT_EQ(buffers[i]->GetWidth(), static_cast<unsigned int>(width));
            EXPECT_EQ(buffers[i]->GetHeight(), 20U);
            EXPECT_EQ(buffers[i]->GetPixelType(), types[i]) << i;
            EXPECT_EQ(buffers[i]->getNrChannels(), channels[i]) << i;
        }
    };
    expectBuffers(data.GetReducedGPUBuffers(), data.GetScanData().Get3DPoints()->GetWidth());
    expectBuffers(data.GetFullGPUBuffers(), 30);
}

TEST_F(LxC3DDataTest, GPUThatRefusesOrFailsIsLoggedAndLeavesItNotInitialised)
{
    constexpr int c_buffers = 3 + 1 + 2 * 11; // the table, the temporary one, planes of both sets
    for (int room = 0; room < c_buffers; ++room) {
        LxC3DData data;
        const auto init = [&](CRefusingContext::EFailure failure) {
            return data.Init(8, 4, 1, 1, 6, 5, CCTImage::eIDT_BGRU8, &m_framework,
                             std::make_shared<CRefusingContext>(room, failure));
        };
        {
            const Logging::CCapture log;
            EXPECT_FALSE(init(CRefusingContext::EFailure::eRefuse));
            EXPECT_EQ(Errors(log, L"LxCCCLAlgoData::Init: Exception Could not create buffer!"), 1);
            EXPECT_EQ(data.GetTriangulationLUT() != nullptr, room >= 3) << "a table without its copy is none";
        }
        const Logging::CCapture log;
        EXPECT_FALSE(init(CRefusingContext::EFailure::eThrow));
        EXPECT_EQ(Errors(log, L"LxCCCLAlgoData::Init: Exception device lost"), 1);
        EXPECT_FALSE(data.IsInitialized());
    }
    EXPECT_TRUE(Init(std::make_shared<CRefusingContext>(c_buffers)));
}

TEST_F(LxC3DDataTest, BuffersOfAFailedAttemptAreDropped)
{
    constexpr int c_room = 3 + 1 + 11; // the table, the temporary one, planes of the first set
    {
        const Logging::CCapture quiet;
        EXPECT_FALSE(Init(std::make_shared<CRefusingContext>(c_room)));
    }
    ASSERT_TRUE(Init());
    EXPECT_TRUE(m_data.GetReducedGPUBuffers().empty());
    EXPECT_TRUE(m_data.GetFullGPUBuffers().empty());
}

} // namespace
} // namespace LxCV
