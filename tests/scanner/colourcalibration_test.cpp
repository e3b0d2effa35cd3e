#include "scanner/calibration/colourcalibration.h"

#include "matrixroutines.h"
#include "orx/platform/unicode.h"
#include "scanner/calibration/imageview.h"
#include "tests/scanner/smalldevice.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace calibration {
namespace {

using LxCV::CCTImage;
using Record = LxCV::LxCColorCalibrationData;

/// A small window of the default device.
ColourExperiment SmallExperiment(double noise)
{
    ColourExperiment experiment;
    experiment.device = device::SmallDevice(160, 120);
    experiment.noise = noise;
    experiment.images = 4;
    return experiment;
}

/// The matrix by the device's equations: the sensor's channel c takes sum_k X_ck L_k a_k from an albedo a, with the light
/// L = light + ambient. Divided by the same of white, that is P a with rows of the sum 1, and the matrix is its inverse.
std::array<double, 9> MatrixByEquations(const device::OpticsParameters& optics)
{
    std::array<double, 9> matrix{};
    for (std::size_t c = 0; c < 3; ++c) {
        double sum = 0.0;
        for (std::size_t k = 0; k < 3; ++k) {
            matrix[3 * c + k] = optics.crosstalk[c][k] * (optics.light[k] + optics.ambient[k]);
            sum += matrix[3 * c + k];
        }
        for (std::size_t k = 0; k < 3; ++k) {
            matrix[3 * c + k] /= sum;
        }
    }
    EXPECT_TRUE(LxCV::InvertGaussJordan(matrix.data(), 3));
    return matrix;
}

std::vector<float> LevelsOf(const CCTImage& image)
{
    const auto* const levels = static_cast<const float*>(image.GetBuffer());
    return {levels, levels + 3 * image.GetSizeInPixels()};
}

void ExpectMatrix(const Record& record, const std::array<double, 9>& expected, double tolerance)
{
    const Record::Matrix& matrix = record.GetColorCalibrationMatrix();
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            EXPECT_NEAR(matrix[4 * row + column], expected[3 * row + column], tolerance)
                << row << ", " << column;
        }
        EXPECT_EQ(matrix[4 * row + 3], 0.0F);
    }
}

TEST(CalibrateColours, FindsTheMatrixOfTheDevicesEquations)
{
    const ColourExperiment experiment = SmallExperiment(0.0);
    Record record;
    CalibrateColours(experiment, record);
    // The light falls to some 0.8 of the nominal one, by which the ambient 2 percent of it count more; their colour
    // differs by 2 percent from the light's, so that shares change by 0.0001.
    constexpr double c_changeOfShares = 3e-4;
    ExpectMatrix(record, MatrixByEquations(experiment.device.optics), c_changeOfShares);
    EXPECT_TRUE(record.IsColorCalibrationDataValid());
    EXPECT_FALSE(record.IsColorCalibrationDataExpired());
    EXPECT_EQ(record.GetReferenceDepth(), static_cast<float>(experiment.depth));
}

TEST(CalibrateColours, FindsTheIdentityForASensorWithoutCrosstalk)
{
    ColourExperiment experiment = SmallExperiment(0.0);
    experiment.device.optics.crosstalk = {device::Colour{0.9, 0.0, 0.0}, device::Colour{0.0, 0.7, 0.0},
                                          device::Colour{0.0, 0.0, 0.8}};
    Record record;
    CalibrateColours(experiment, record);
    constexpr double c_rounding =
        3e-4; // of white, by 0.5 of 190 levels, in the mean of a hundred pixels or more
    ExpectMatrix(record, {1, 0, 0, 0, 1, 0, 0, 0, 1}, c_rounding);
}

TEST(CalibrateColours, BringsPatchesBackToTheirColours)
{
    const ColourExperiment experiment = SmallExperiment(0.0);
    Record record;
    CalibrateColours(experiment, record);
    // Grey levels: the change of shares above, times 200, and the rounding of white, 0.5 of 190 levels, of which a third
    // may be left where a patch is as bright as few levels.
    constexpr double c_tolerance = 0.06 + 0.17;
    for (const device::ColourChart& chart : {FittedChart(experiment), DrawChart(experiment, 77)}) {
        const std::vector<PatchLevels> patches = MeasureChart(experiment, chart, record);
        EXPECT_EQ(patches.size(), chart.albedos.size());
        EXPECT_LE(CorrectedError(patches).largest, c_tolerance);
        EXPECT_GE(MeasuredError(patches).rms, 5.0) << "what there is to correct";
    }
}

TEST(CalibrateColours, BringsPatchesBackAlsoWithNoiseAndFromItsFiles)
{
    const ColourExperiment experiment = SmallExperiment(1.0);
    const TestSupport::CTemporaryFolder folder;
    const std::wstring place = platform::WidenUtf8(folder.GetPath().string()) + L"/";
    Record made, record;
    CalibrateColours(experiment, made);
    ASSERT_TRUE(made.SerializeToFile(place, L"virtual"));
    ASSERT_TRUE(record.SerializeFromFile(place, L"virtual"));
    EXPECT_EQ(LevelsOf(*record.GetWhiteBalanceImg()), LevelsOf(*made.GetWhiteBalanceImg()));
    // A level of a pixel has a noise of 3 at most (2.55 by reading, 1.6 by its photons); in a patch of 200 pixels, 4
    // images of it and of white and a matrix of 1.2 that is 0.18, four times which none of 72 levels reaches. That white
    // is rounded adds less.
    constexpr double c_tolerance = 0.8;
    constexpr double c_factor = 20.0;
    const std::vector<PatchLevels> patches = MeasureChart(experiment, DrawChart(experiment, 78), record);
    EXPECT_EQ(patches.size(), 24U);
    EXPECT_LE(CorrectedError(patches).largest, c_tolerance);
    EXPECT_LE(c_factor * CorrectedError(patches).rms, MeasuredError(patches).rms);
}

TEST(CalibrateColours, ExposesWhiteToItsLevel)
{
    ColourExperiment experiment = SmallExperiment(0.0);
    for (const double exposure : {0.25, 1.0, 6.0}) { // the last one clips all of white
        experiment.device.optics.exposure = exposure;
        Record record;
        CalibrateColours(experiment, record);
        const CCTImage& white = *record.GetWhiteBalanceImg();
        ASSERT_EQ(white.GetDataType(), CCTImage::eIDT_FLOAT32_3);
        const auto* const levels = static_cast<const float*>(white.GetBuffer());
        double sum = 0.0;
        for (int row = 30; row < 90; ++row) {
            for (int i = 3 * 40; i < 3 * 120; ++i) {
                sum += levels[3 * 160 * row + i];
            }
        }
        EXPECT_NEAR(sum / (60 * 3 * 80), 200.0, 0.5) << exposure;
        EXPECT_NEAR(record.GetColorCalibrationShutterTime(),
                    exposure * record.GetShutterTimeCorrectionFactor(), 1e-6)
            << exposure;
    }
}

TEST(CalibrateColours, IsTheSameForTheSameSeed)
{
    ColourExperiment experiment = SmallExperiment(1.0);
    experiment.images = 1;
    Record one, same, other;
    CalibrateColours(experiment, one);
    CalibrateColours(experiment, same);
    ColourExperiment reseeded = experiment;
    reseeded.seed = 2;
    CalibrateColours(reseeded, other);
    EXPECT_EQ(one.GetColorCalibrationMatrix(), same.GetColorCalibrationMatrix());
    EXPECT_NE(one.GetColorCalibrationMatrix(), other.GetColorCalibrationMatrix());
}

TEST(CalibrateColours, RefusesWhatIsOutOfRange)
{
    const auto refused = [](auto change) {
        ColourExperiment experiment = SmallExperiment(0.0);
        change(experiment);
        Record record;
        EXPECT_THROW(CalibrateColours(experiment, record), std::invalid_argument);
        EXPECT_THROW(FittedChart(experiment), std::invalid_argument);
        EXPECT_FALSE(record.IsColorCalibrationMatrixSet());
    };
    refused([](ColourExperiment& experiment) { experiment.depth = 0.0; });
    refused([](ColourExperiment& experiment) { experiment.depth = std::nan(""); });
    refused([](ColourExperiment& experiment) { experiment.white = 0.0; });
    refused([](ColourExperiment& experiment) { experiment.white = 1.5; });
    refused([](ColourExperiment& experiment) { experiment.images = 0; });
    refused([](ColourExperiment& experiment) { experiment.noise = -1.0; });
}

TEST(CalibrateColours, TellsWhereWhiteCannotBeExposed)
{
    ColourExperiment experiment = SmallExperiment(0.0);
    experiment.device.optics.light = {0.0, 0.0, 0.0};
    experiment.device.optics.ambient = {0.0, 0.0, 0.0};
    Record record;
    EXPECT_THROW(CalibrateColours(experiment, record), std::runtime_error);
    EXPECT_FALSE(record.IsColorCalibrationMatrixSet());
}

/// What a calibration complains about; empty if it does not.
std::string Complaint(const ColourExperiment& experiment)
{
    Record record;
    try {
        CalibrateColours(experiment, record);
    } catch (const std::runtime_error& error) {
        EXPECT_FALSE(record.IsColorCalibrationMatrixSet());
        return error.what();
    }
    return {};
}

TEST(CalibrateColours, TellsThatTooFewPatchesAreSeen)
{
    ColourExperiment experiment = SmallExperiment(0.0);
    experiment.device = device::SmallDevice(40, 30); // 1200 pixels for 18 patches, each of which wants 100
    EXPECT_EQ(Complaint(experiment),
              "0 patches of the colour chart are seen well lit, too few to fit a matrix; "
              "take a depth that the projector's light reaches");
}

TEST(CalibrateColours, TellsThatColoursAreNotIndependent)
{
    ColourExperiment experiment = SmallExperiment(0.0);
    experiment.device.optics.crosstalk.fill({0.25, 0.5, 0.25}); // a sensor that sees greys alone
    EXPECT_EQ(Complaint(experiment),
              "the camera sees the patches of the colour chart in fewer than three independent colours");
}

// --------------------------------------------------------------------------------------------------- correction

/// White of four pixels, the third of which is too dark in one channel; shutter time 2.
void FillRecord(Record& record)
{
    CCTImage white(4, 1, CCTImage::eIDT_FLOAT32_3, 100.0F);
    const float second[3] = {50.0F, 200.0F, 80.0F}, third[3] = {100.0F, 9.99F, 100.0F};
    white.SetPixel(1, 0, second);
    white.SetPixel(2, 0, third);
    record.SetWhiteBalanceImg(&white);
    record.SetColorCalibrationMatrix(
        {2.0F, 0.5F, 0.0F, 1.0F, 0.0F, 1.0F, -1.0F, 0.0F, 0.0F, 0.0F, 0.25F, -8.0F});
    record.SetColorCalibrationShutterTime(2.0F);
}

TEST(CorrectColours, DividesByWhiteAndMultipliesByTheMatrix)
{
    Record record;
    FillRecord(record);
    CCTImage image(4, 1, CCTImage::eIDT_FLOAT32_3, 0.0F);
    const float colour[3] = {10.0F, 20.0F, 40.0F};
    for (int x = 0; x < 4; ++x) {
        image.SetPixel(x, 0, colour);
    }
    // First and last: white 100 makes it (20, 40, 80), the matrix (40 + 20 + 1, 40 - 80, 20 - 8).
    // Second: (10 / 50, 20 / 200, 40 / 80) * 200 = (40, 20, 100), the matrix (80 + 10 + 1, 20 - 100, 25 - 8).
    EXPECT_EQ(LevelsOf(CorrectColours(image, record, 2.0)),
              (std::vector<float>{61, -40, 12, 91, -80, 17, 0, 0, 0, 61, -40, 12}));
    // Half the shutter time has seen half the light: (40, 80, 160), then (80 + 40 + 1, 80 - 160, 40 - 8).
    const CCTImage brighter = CorrectColours(image, record, 1.0);
    EXPECT_EQ(brighter.GetDataType(), CCTImage::eIDT_FLOAT32_3);
    EXPECT_EQ(LevelsOf(brighter)[0], 121.0F);
    EXPECT_EQ(LevelsOf(brighter)[1], -80.0F);
    EXPECT_EQ(LevelsOf(brighter)[2], 32.0F);
}

TEST(CorrectColours, TakesBytes)
{
    Record record;
    FillRecord(record);
    CCTImage image(4, 1, CCTImage::eIDT_BGRU8, true, nullptr);
    const std::uint8_t colour[3] = {10, 20, 40};
    for (int x = 0; x < 4; ++x) {
        image.SetPixel(x, 0, colour);
    }
    EXPECT_EQ(LevelsOf(CorrectColours(image, record, 2.0)),
              (std::vector<float>{61, -40, 12, 91, -80, 17, 0, 0, 0, 61, -40, 12}));
}

TEST(CorrectColours, KeepsWhatIsNoNumberAndBoundsWhatIsTooLarge)
{
    Record record;
    FillRecord(record);
    record.SetColorCalibrationMatrix({1e38F, 0, 0, 0, 0, -1e38F, 0, 0, 0, 0, 1, 0});
    CCTImage image(4, 1, CCTImage::eIDT_FLOAT32_3, 255.0F);
    const float colour[3] = {255.0F, 255.0F, std::numeric_limits<float>::quiet_NaN()};
    image.SetPixel(0, 0, colour);
    constexpr float c_largest = std::numeric_limits<float>::max();
    const std::vector<float> levels = LevelsOf(CorrectColours(image, record, 2.0));
    EXPECT_TRUE(std::isnan(levels[2]));
    EXPECT_EQ(levels[3], c_largest);
    EXPECT_EQ(levels[4], -c_largest);
    EXPECT_EQ(levels[11], 510.0F);
}

TEST(CorrectColours, RefusesWhatDoesNotFit)
{
    Record record;
    const CCTImage image(4, 1, CCTImage::eIDT_FLOAT32_3, 0.0F);
    EXPECT_THROW(CorrectColours(image, record, 2.0), std::invalid_argument) << "no record";
    FillRecord(record);
    EXPECT_NO_THROW(CorrectColours(image, record, 2.0));
    const CCTImage larger(4, 2, CCTImage::eIDT_FLOAT32_3, 0.0F), empty;
    const CCTImage grey(4, 1, CCTImage::eIDT_UINT8, true, nullptr);
    for (const CCTImage* other : {&larger, &empty, &grey}) {
        EXPECT_THROW(CorrectColours(*other, record, 2.0), std::invalid_argument);
    }
    for (const double shutterTime : {0.0, -1.0, std::nan(""), HUGE_VAL}) {
        EXPECT_THROW(CorrectColours(image, record, shutterTime), std::invalid_argument) << shutterTime;
    }
    record.SetColorCalibrationShutterTime(0.0F);
    EXPECT_THROW(CorrectColours(image, record, 2.0), std::invalid_argument);
}

} // namespace
} // namespace calibration
