#include "scanner/app/htmlreport.h"

#include "orx/platform/imagecodec.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace app {
namespace {

constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// By a table that is searched, unlike the encoder's shifts.
std::vector<std::uint8_t> FromBase64(const std::string& text)
{
    const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::vector<bool> bits;
    for (const char letter : text.substr(0, text.find('='))) {
        const std::size_t value = digits.find(letter);
        EXPECT_NE(value, std::string::npos) << letter;
        for (int bit = 5; bit >= 0; --bit) {
            bits.push_back((value >> bit & 1U) != 0);
        }
    }
    std::vector<std::uint8_t> bytes(bits.size() / 8);
    for (std::size_t i = 0; i < 8 * bytes.size(); ++i) {
        bytes[i / 8] = static_cast<std::uint8_t>(bytes[i / 8] * 2 + (bits[i] ? 1 : 0));
    }
    return bytes;
}

std::vector<int> Words(const std::string& base64)
{
    const std::vector<std::uint8_t> bytes = FromBase64(base64);
    std::vector<int> words;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        words.push_back(bytes[i] + 256 * bytes[i + 1]);
    }
    return words;
}

nlohmann::json DataOf(const std::string& page)
{
    const std::string begin = "<script type=\"application/json\" id=\"scan\">";
    const std::size_t at = page.find(begin);
    EXPECT_NE(at, std::string::npos);
    const std::size_t from = at + begin.size();
    return nlohmann::json::parse(page.substr(from, page.find("</script>", from) - from));
}

nlohmann::json DataOf(const ScanReport& report)
{
    return DataOf(HtmlReport(report));
}

std::size_t Count(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

std::vector<CloudPoint> RandomPoints(std::size_t count)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<double> side(-9.0, 11.0);
    std::uniform_real_distribution<double> depth(29.0, 41.0);
    std::uniform_int_distribution<int> level(0, 255);
    const auto channel = [&] { return static_cast<std::uint8_t>(level(random)); };
    std::vector<CloudPoint> points;
    for (std::size_t i = 0; i < count; ++i) {
        const double x = side(random);
        const double y = side(random);
        const double z = depth(random);
        points.push_back({{x, y, z}, 0, 0.0, {channel(), channel(), channel()}});
    }
    return points;
}

TEST(HtmlReport, PositionsComeBackToWithinHalfAStep)
{
    ScanReport report;
    report.points = RandomPoints(3001);
    const nlohmann::json cloud = DataOf(report).at("cloud");
    const std::vector<int> steps = Words(cloud.at("positions"));
    ASSERT_EQ(cloud.at("count"), 3001);
    ASSERT_EQ(steps.size(), 3U * 3001U);
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const std::size_t axis = i % 3;
        const double step = cloud.at("step_mm").at(axis);
        EXPECT_LT(step, 20.0 / 65534.0);
        const double value = cloud.at("origin_mm").at(axis).get<double>() + steps[i] * step;
        const double tolerance = 0.5 * step + 1e-12; // mm; the second term for rounding of doubles near 40 mm
        ASSERT_NEAR(value, report.points[i / 3].position[axis], tolerance) << i;
    }
}

TEST(HtmlReport, ColoursComeBackExactly)
{
    for (const std::size_t count : {1U, 2U, 3U, 100U}) { // all three lengths of a last group
        ScanReport report;
        report.points = RandomPoints(count);
        const std::vector<std::uint8_t> colours = FromBase64(DataOf(report).at("cloud").at("colours"));
        ASSERT_EQ(colours.size(), 3 * count);
        for (std::size_t i = 0; i < colours.size(); ++i) {
            EXPECT_EQ(colours[i], report.points[i / 3].colour[i % 3]);
        }
    }
}

TEST(HtmlReport, TextsOfAnyLengthAreEncodedAsTheStandardTells)
{
    // RFC 4648, section 10, by three colour bytes a point: "foobar" is the only one of its vectors that fits.
    ScanReport report;
    report.points = {{{0, 0, 1}, 0, 0.0, {'f', 'o', 'o'}}, {{0, 0, 1}, 0, 0.0, {'b', 'a', 'r'}}};
    EXPECT_EQ(DataOf(report).at("cloud").at("colours"), "Zm9vYmFy");
    // Two points at one place have the positions 0: six and twelve zero bytes.
    EXPECT_EQ(DataOf(report).at("cloud").at("positions"), "AAAAAAAAAAAAAAAA");
    report.points.pop_back();
    EXPECT_EQ(DataOf(report).at("cloud").at("positions"), "AAAAAAAA");
    report.errorsMm = {0.0}; // two zero bytes
    EXPECT_EQ(DataOf(report).at("cloud").at("errors"), "AAA=");
}

TEST(HtmlReport, ErrorsComeBackToWithinHalfAStepAndUnknownOnesAsSuch)
{
    ScanReport report;
    report.points = RandomPoints(1000);
    std::mt19937 random(3);
    std::exponential_distribution<double> error(100.0);
    for (std::size_t i = 0; i < 1000; ++i) {
        report.errorsMm.push_back(i % 10 == 0 ? kNoNumber : error(random));
    }
    const nlohmann::json cloud = DataOf(report).at("cloud");
    const double step = cloud.at("error_step_um").get<double>() / 1000.0;
    const std::vector<int> steps = Words(cloud.at("errors"));
    ASSERT_EQ(steps.size(), 1000U);
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (i % 10 == 0) {
            EXPECT_EQ(steps[i], 65535);
        } else {
            EXPECT_LT(steps[i], 65535);
            ASSERT_NEAR(steps[i] * step, report.errorsMm[i], 0.5 * step + 1e-12) << i;
        }
    }
}

TEST(HtmlReport, WithoutErrorsThereIsNothingOfThem)
{
    ScanReport report;
    report.points = RandomPoints(10);
    const nlohmann::json data = DataOf(report);
    EXPECT_FALSE(data.contains("histogram"));
    EXPECT_FALSE(data.at("cloud").contains("errors"));
}

TEST(HtmlReport, PointsThatAreNowhereAreLeftOutWithTheirErrors)
{
    ScanReport report;
    report.points = RandomPoints(7);
    report.points[1].position[0] = kNoNumber;
    report.points[2].position[1] = -kInfinity;
    report.points[4].position[2] = 1e300;
    report.points[5].position[2] = 10001.0;
    report.errorsMm = {0.0, 0.001, 0.001, 0.002, 0.001, 0.001, 0.004};
    const nlohmann::json cloud = DataOf(report).at("cloud");
    EXPECT_EQ(cloud.at("count"), 3);
    EXPECT_EQ(Words(cloud.at("positions")).size(), 9U);
    EXPECT_EQ(Words(cloud.at("errors")), (std::vector<int>{0, 32767, 65534}));
}

TEST(HtmlReport, RefusesErrorsThatAreNotOneForEachPoint)
{
    ScanReport report;
    report.points = RandomPoints(2);
    report.errorsMm = {0.1};
    EXPECT_THROW(HtmlReport(report), std::invalid_argument);
}

TEST(HtmlReport, HostileTextsStayWithinTheData)
{
    const std::string hostile =
        "</script><script>alert('1')</script>\"<!-- --> &amp; \\ \n\r\t\x01 \u2028 \u00b5 @DATA@ )page\"";
    ScanReport plain;
    plain.figures = {{"a", "a", "a", 0, "a"}};
    plain.images = {{"a", ColourImage(1, 1)}};
    plain.stages = {{"a", {{"a", 1.0}}}};
    ScanReport report = plain;
    report.title = report.subtitle = hostile;
    report.figures = {{hostile, hostile, hostile, 0, hostile}};
    report.images[0].title = hostile;
    report.stages = {{hostile, {{hostile, 1.0}}}};
    const std::string page = HtmlReport(report);
    for (const char* part : {"<", ">", "&"}) {
        EXPECT_EQ(Count(page, part), Count(HtmlReport(plain), part)) << part;
    }
    const nlohmann::json data = DataOf(page);
    EXPECT_EQ(data.at("title"), hostile);
    EXPECT_EQ(data.at("subtitle"), hostile);
    EXPECT_EQ(data.at("images").at(0).at("title"), hostile);
    EXPECT_EQ(data.at("stages").at(0).at("title"), hostile);
    EXPECT_EQ(data.at("stages").at(0).at("stages").at(0).at("name"), hostile);
    for (const char* key : {"key", "label", "value", "unit"}) {
        EXPECT_EQ(data.at("figures").at(0).at(key), hostile) << key;
    }
}

TEST(HtmlReport, BytesThatAreNoTextBecomeReplacementCharacters)
{
    ScanReport report;
    report.title = "a\xff\xc3z";
    EXPECT_EQ(DataOf(report).at("title"), "a\ufffd\ufffdz");
}

TEST(HtmlReport, NumbersThatAreNoneBecomeNull)
{
    ScanReport report;
    report.figures = {{"a", "", kNoNumber, 2, ""},
                      {"b", "", -kInfinity, 2, ""},
                      {"c", "", 0.1, 2, ""},
                      {"d", "", "x", 0, ""}};
    report.stages = {{"group", {{"stage", kInfinity}}}};
    const nlohmann::json data = DataOf(report);
    EXPECT_TRUE(data.at("figures").at(0).at("value").is_null());
    EXPECT_TRUE(data.at("figures").at(1).at("value").is_null());
    EXPECT_EQ(data.at("figures").at(2).at("value"), 0.1);
    EXPECT_EQ(data.at("figures").at(2).at("decimals"), 2);
    EXPECT_EQ(data.at("figures").at(3).at("value"), "x");
    EXPECT_TRUE(data.at("stages").at(0).at("stages").at(0).at("ms").is_null());
}

TEST(HtmlReport, ImagesAreEmbeddedPixelByPixel)
{
    ColourImage picture(5, 3);
    for (int i = 0; i < 15; ++i) {
        picture.At(i % 5, i / 5) = {static_cast<std::uint8_t>(17 * i), static_cast<std::uint8_t>(255 - i), 3};
    }
    ScanReport report;
    report.images = {{"seen", picture}};
    const nlohmann::json image = DataOf(report).at("images").at(0);
    EXPECT_EQ(image.at("width"), 5);
    EXPECT_EQ(image.at("height"), 3);
    const std::vector<std::uint8_t> file = FromBase64(image.at("png"));
    platform::CPixels pixels;
    std::string description;
    ASSERT_EQ(platform::ReadImage(std::as_bytes(std::span(file)), pixels, description),
              platform::EImageFileResult::eOk);
    ASSERT_EQ(pixels.bytes.size(), 45U);
    for (int i = 0; i < 45; ++i) {
        const Rgb& colour = picture.At(i / 3 % 5, i / 15);
        EXPECT_EQ(std::to_integer<int>(pixels.bytes[static_cast<std::size_t>(i)]),
                  colour[static_cast<std::size_t>(2 - i % 3)]); // blue first
    }
}

TEST(HtmlReport, RefusesAPictureWithoutPixels)
{
    ScanReport report;
    report.images = {{"nothing", ColourImage(0, 0)}};
    EXPECT_THROW(HtmlReport(report), std::runtime_error);
}

TEST(HtmlReport, RefersToNothingOutside)
{
    const std::string page = HtmlReport({});
    EXPECT_TRUE(page.starts_with("<!DOCTYPE html>"));
    EXPECT_TRUE(page.ends_with("</html>\n"));
    EXPECT_EQ(Count(page, "://"), 1U);
    EXPECT_EQ(Count(page, "\"http://www.w3.org/2000/svg\""), 1U) << "the name of a name space";
    for (const char* reference : {"<link", "<img", "<iframe", "src=", "href=", "@import", "url("}) {
        EXPECT_EQ(Count(page, reference), 0U) << reference;
    }
    for (const char* mark : {"@DATA@", "@STYLE@", "@SCRIPT@"}) {
        EXPECT_EQ(Count(page, mark), 0U) << mark;
    }
}

TEST(HtmlReport, SixtyThousandPointsTakeLessThanTwoMegabytes)
{
    ScanReport report;
    report.points = RandomPoints(60000);
    report.errorsMm.assign(60000, 0.01);
    EXPECT_LT(HtmlReport(report).size(), 2'000'000U);
}

TEST(HtmlReport, TellsTheDepthsOfTheColourScale)
{
    ScanReport report;
    report.points = RandomPoints(1000);
    const auto [nearest, farthest] = DepthRange(report.points);
    const nlohmann::json range = DataOf(report).at("cloud").at("depth_range_mm");
    EXPECT_EQ(range.at(0), nearest);
    EXPECT_EQ(range.at(1), farthest);
}

TEST(HtmlReport, IsWrittenAsAWhole)
{
    const TestSupport::CTemporaryFolder folder;
    const std::string file = folder / "report.html";
    ScanReport report;
    report.title = "one";
    WriteHtmlReport(report, file);
    EXPECT_TRUE(TestSupport::ReadFile(file) == HtmlReport(report));
}

TEST(HtmlReport, NamesTheFileThatCannotBeWritten)
{
    try {
        WriteHtmlReport({}, "/no/such/folder/report.html");
        FAIL() << "nothing is thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_TRUE(std::string(error.what()).starts_with("cannot write '/no/such/folder/report.html': "))
            << error.what();
    }
}

TEST(ErrorHistogram, CountsAsATableTells)
{
    // The limit of 1 micrometre in 50 bins of 0.02: 98 percent of 5 errors are at or below the largest one.
    const ErrorHistogram histogram = CountErrors({0.0, 0.00001, 0.00003, 0.00099, 0.00099});
    EXPECT_EQ(histogram.limitMm, 0.001);
    std::vector<std::size_t> expected(50);
    expected[0] = 2;
    expected[1] = 1;
    expected[49] = 2;
    EXPECT_EQ(histogram.counts, expected);
    EXPECT_EQ(histogram.beyond, 0U);
}

TEST(ErrorHistogram, LimitIsTheNextRoundLength)
{
    const std::vector<std::pair<double, double>> table = {
        {0.0, 0.001},   {0.001, 0.001}, {0.0011, 0.002}, {0.0021, 0.005},  {0.0051, 0.01},  {0.0199, 0.02},
        {0.0201, 0.05}, {0.3, 0.5},     {7.0, 10.0},     {1234.0, 2000.0}, {1e300, 10000.0}};
    for (const auto& [error, limit] : table) {
        EXPECT_NEAR(CountErrors(std::vector<double>(100, error)).limitMm, limit, 1e-12 * limit) << error;
    }
}

TEST(ErrorHistogram, CountsEveryKnownErrorOnce)
{
    std::mt19937 random(11);
    for (int trial = 0; trial < 300; ++trial) {
        std::exponential_distribution<double> error(std::pow(10.0, trial % 7 - 1));
        std::vector<double> errors(static_cast<std::size_t>(1 + trial * 7));
        std::ranges::generate(errors, [&] { return error(random); });
        const ErrorHistogram histogram = CountErrors(errors);
        const auto isWithin = [&](double value) { return value < histogram.limitMm; };
        EXPECT_GE(std::ranges::count_if(errors, isWithin),
                  static_cast<std::ptrdiff_t>(0.97 * static_cast<double>(errors.size()) - 1));
        for (std::size_t bin = 0; bin < histogram.counts.size(); ++bin) {
            // Brute force by the bin's ends, widened and narrowed by the rounding of the quotient.
            const double width = histogram.limitMm / static_cast<double>(histogram.counts.size());
            const auto between = [&](double slack) {
                return static_cast<std::size_t>(std::ranges::count_if(errors, [&](double value) {
                    return value >= width * (static_cast<double>(bin) - slack) &&
                           value < width * (static_cast<double>(bin + 1) + slack);
                }));
            };
            ASSERT_GE(histogram.counts[bin], between(-1e-9)) << trial;
            ASSERT_LE(histogram.counts[bin], between(1e-9)) << trial;
        }
        EXPECT_EQ(histogram.beyond,
                  errors.size() - static_cast<std::size_t>(std::ranges::count_if(errors, isWithin)));
    }
}

TEST(ErrorHistogram, TakesWhatIsNoNumberAndWhatIsInfinite)
{
    const ErrorHistogram histogram = CountErrors({kNoNumber, kInfinity, 0.0, kNoNumber});
    EXPECT_EQ(histogram.beyond, 1U);
    EXPECT_EQ(histogram.counts[0], 1U);
    EXPECT_EQ(CountErrors({}).limitMm, 0.001);
    EXPECT_EQ(CountErrors({kNoNumber}).counts, std::vector<std::size_t>(50));
}

} // namespace
} // namespace app
