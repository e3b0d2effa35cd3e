#include "scanner/app/infocommand.h"

#include "cctimage.h"
#include "lxccalibrationtargetwriter.h"
#include "orx/platform/archive.h"
#include "orx/platform/imagecodec.h"
#include "scanner/app/filefacts.h"
#include "scanner/app/modelfile.h"
#include "scanner/device/virtualdevice.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/scanner/commandrun.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace app {
namespace {

using Json = nlohmann::json;

template <typename Number>
std::string Bytes(const std::vector<Number>& numbers)
{
    std::string bytes(numbers.size() * sizeof(Number), '\0');
    if (!numbers.empty()) {
        std::memcpy(bytes.data(), numbers.data(), bytes.size());
    }
    return bytes;
}

/// What is told of a content, with its kind.
Json Facts(const std::string& content, const std::string& name = "file")
{
    const FileFacts told = TellContent({name, content});
    Json json = Json::parse(told.facts.dump());
    json["kind"] = told.kind;
    return json;
}

/// Why a content is not told; empty if it is.
std::string Complaint(const std::string& content, const std::string& name = "file")
{
    try {
        TellContent({name, content});
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return {};
}

TEST(TellImage, TellsSizeTypeAndRange)
{
    const std::string pgm = std::string("P5 3 2 255\n") + "\x07\x02\x09\x03\x04\x05";
    EXPECT_EQ(Facts(pgm), (Json{{"kind", "image"},
                                {"width", 3},
                                {"height", 2},
                                {"type", "8-bit grey PGM with a maxval of 255"},
                                {"least", 2},
                                {"greatest", 9}}));
}

TEST(TellImage, NumbersThatAreNotFiniteAreCounted)
{
    const std::vector<float> levels{1.5F, std::numeric_limits<float>::quiet_NaN(), -2.0F,
                                    std::numeric_limits<float>::infinity()};
    const Json facts = Facts("Pf\n2 2\n-1.0\n" + Bytes(levels));
    EXPECT_EQ(facts.at("least"), -2.0);
    EXPECT_EQ(facts.at("greatest"), 1.5);
    EXPECT_EQ(facts.at("not_finite"), 2);
}

TEST(TellImage, ADamagedImageIsOne)
{
    EXPECT_EQ(Complaint("P5 3 2 255\nab"),
              "it is a damaged image: PGM cut short: 13 bytes, needs at least 17");
    EXPECT_EQ(Complaint("\xFF\xD8\xFF"), "it is a damaged image: JPEG: Premature end of JPEG file");
}

TEST(TellImage, AnImageThatIsNotReadIsNamedByItsKind)
{
    EXPECT_EQ(Complaint("P5 16777217 1 255\nabc"),
              "it is an image that is not read: PGM of 16777217 by 1 pixels, which is too large");
}

TEST(TellImage, ImagesAsTextAreTold)
{
    EXPECT_EQ(Facts("# int16\n1,-2,3\n4,5,6\n"), (Json{{"kind", "image as text"},
                                                       {"width", 3},
                                                       {"height", 2},
                                                       {"type", "16-bit signed grey"},
                                                       {"least", -2},
                                                       {"greatest", 6}}));
    EXPECT_EQ(Facts("1,2\n3,4.5\n", "a.csv").at("type"), "32-bit float grey");
    EXPECT_TRUE(Complaint("# uint8\n1,2\n3\n").starts_with("it is no image as text: "));
}

TEST(TellImage, ImagesInAnArchiveAreCounted)
{
    std::ostringstream stream;
    platform::CArchive archive(stream);
    LxCV::CCTImage image(4, 2, LxCV::CCTImage::eIDT_UINT8, true, nullptr);
    std::memset(image.GetBuffer(), 9, 8);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(image.Serialize(archive), LxCV::CCTImage::eRC_OK);
    }
    EXPECT_EQ(Facts(stream.str()), (Json{{"kind", "images in an archive"},
                                         {"images", 3},
                                         {"width", 4},
                                         {"height", 2},
                                         {"type", "8-bit grey"},
                                         {"least", 9},
                                         {"greatest", 9}}));
    EXPECT_EQ(Complaint(stream.str().substr(0, stream.str().size() - 1)),
              "it is an archive of images that is damaged in its image 3");
}

TEST(TellMesh, TellsTrianglesAndExtent)
{
    const std::string obj = "# a comment\nv 0 0 30\nv 2 0 30\nv 0 1 31.5\nf 1 2 3\n";
    EXPECT_EQ(Facts(obj), (Json{{"kind", "OBJ mesh"},
                                {"triangles", 1},
                                {"vertices", 3},
                                {"normals", false},
                                {"colours", false},
                                {"least_mm", {0, 0, 30}},
                                {"greatest_mm", {2, 1, 31.5}}}));
    const std::string stl =
        "solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 1\nvertex 1 0 1\nvertex 0 1 1\n"
        "endloop\nendfacet\nendsolid a\n";
    EXPECT_EQ(Facts(stl).at("kind"), "STL mesh");
    EXPECT_EQ(Facts(stl).at("triangles"), 1);
}

TEST(TellMesh, PointsAndEmptyMeshesAreTold)
{
    const std::string header = "ply\nformat ascii 1.0\nelement vertex 2\nproperty float x\nproperty float y\n"
                               "property float z\nend_header\n";
    const Json points = Facts(header + "1 2 3\n-1 5 4\n");
    EXPECT_EQ(points.at("kind"), "PLY points");
    EXPECT_EQ(points.at("vertices"), 2);
    EXPECT_EQ(points.at("least_mm"), (Json{-1, 2, 3}));
    EXPECT_EQ(points.at("greatest_mm"), (Json{1, 5, 4}));
    const Json normals = Facts("ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\n"
                               "property float z\nproperty float nx\nproperty float ny\nproperty float nz\n"
                               "end_header\n1 2 3 0 0 -1\n");
    EXPECT_EQ(normals.at("normals"), true);
    EXPECT_EQ(normals.at("colours"), false);
    EXPECT_EQ(Facts(std::string(84, '\0')), (Json{{"kind", "STL mesh"},
                                                  {"triangles", 0},
                                                  {"vertices", 0},
                                                  {"normals", false},
                                                  {"colours", false}}));
}

TEST(TellMesh, DamagedOnesAreNamed)
{
    EXPECT_TRUE(
        Complaint("ply\nformat ascii 1.0\n").starts_with("it is no PLY file that can be read: line "));
    EXPECT_TRUE(Complaint("abc", "a.STL").starts_with("it is no STL file that can be read:"));
}

/// A 3D file of these points.
std::string Grid(std::int32_t width, std::int32_t height, std::int32_t channels,
                 const std::vector<float>& points)
{
    return Bytes(std::vector<double>{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0}) +
           Bytes(std::vector<std::int32_t>{width, height, channels}) + Bytes(points);
}

TEST(TellRecord, PointsOf3DFilesAreCounted)
{
    EXPECT_EQ(Facts(Grid(3, 1, 3, {1, 2, 30, 0, 0, 0, -1, 4, 31})), (Json{{"kind", "3D file"},
                                                                          {"width", 3},
                                                                          {"height", 1},
                                                                          {"points", 2},
                                                                          {"least_mm", {-1, 2, 30}},
                                                                          {"greatest_mm", {1, 4, 31}}}));
    EXPECT_EQ(Facts(Grid(0, 0, 3, {})).at("points"), 0);
}

TEST(TellRecord, PointsThatAreNowhereDoNotSpoilTheExtent)
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const Json facts = Facts(Grid(5, 1, 3, {1, 2, 30, kNan, 2, 30, 0, 0, 0, -1, kInfinity, 31, 4, 5, -6}));
    EXPECT_EQ(facts, (Json{{"kind", "3D file"},
                           {"width", 5},
                           {"height", 1},
                           {"points", 2},
                           {"least_mm", {1, 2, -6}},
                           {"greatest_mm", {4, 5, 30}},
                           {"not_finite", 2}}));
    EXPECT_EQ(Facts(Grid(1, 1, 3, {kNan, kNan, kNan})),
              (Json{{"kind", "3D file"}, {"width", 1}, {"height", 1}, {"points", 0}, {"not_finite", 1}}));
}

TEST(TellRecord, Damaged3DFilesAreNamed)
{
    EXPECT_EQ(Complaint(Grid(2, 1, 3, {1, 2, 3})), "it is a 3D file that ends before its 2 by 1 points do");
    EXPECT_EQ(Complaint(Grid(2147483647, 2147483647, 3, {1, 2, 3})),
              "it is a 3D file that ends before its 2147483647 by 2147483647 points do");
    EXPECT_EQ(Complaint(Grid(-1, 1, 3, {})),
              "it is no 3D file of points: its header tells -1 by 1 pixels of 3 channels");
    EXPECT_EQ(Complaint(Grid(1, 1, 4, {1, 2, 3, 4})),
              "it is no 3D file of points: its header tells 1 by 1 pixels of 4 channels");
    EXPECT_EQ(Complaint("abc", "a.3d"), "it is no 3D file: it is shorter than its header of 132 bytes");
}

TEST(TellRecord, SurfaceFilesAreTold)
{
    // Version 12, twelve flags and two bytes that are not used, none set; then rows, columns and no motor positions,
    // 61 bytes of other numbers, and the points.
    const std::string header = Bytes(std::vector<float>{12.0F}) + std::string(14, '\0') +
                               Bytes(std::vector<std::uint32_t>{1, 2, 0}) + std::string(65, '\0');
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Json facts = Facts(header + Bytes(std::vector<float>{2, 1, -30, nan, 1, 1}));
    EXPECT_EQ(facts, (Json{{"kind", "surface file"},
                           {"version", 12.0},
                           {"width", 2},
                           {"height", 1},
                           {"points", 1},
                           {"least_mm", {1, 2, 30}},
                           {"greatest_mm", {1, 2, 30}}}));
    EXPECT_TRUE(Complaint(header + Bytes(std::vector<float>{2, 1, -30})).starts_with("it is of no kind"));
    const float infinity = std::numeric_limits<float>::infinity();
    const Json infinite = Facts(header + Bytes(std::vector<float>{2, 1, -30, 1, infinity, 1}));
    EXPECT_EQ(infinite.at("points"), 1);
    EXPECT_EQ(infinite.at("not_finite"), 1);
    EXPECT_EQ(infinite.at("greatest_mm"), (Json{1, 2, 30}));
}

/// The data file of a colour calibration.
std::string ColourData(std::int32_t version, float depth, std::int32_t month)
{
    std::vector<float> numbers{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1.25F, 500, depth};
    return Bytes(std::vector{version}) + Bytes(numbers) +
           Bytes(std::vector<std::int32_t>{2024, month, 29, 7, 5, 9, 10});
}

TEST(TellRecord, ColourCalibrationsAreTold)
{
    EXPECT_EQ(Facts(ColourData(3, 33.5F, 2)), (Json{{"kind", "colour calibration"},
                                                    {"version", 3},
                                                    {"date", "2024-02-29 07:05:09 UTC"},
                                                    {"matrix", {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}},
                                                    {"shutter_factor", 1.25},
                                                    {"shutter_time", 500},
                                                    {"reference_depth", 33.5}}));
    const std::string name = "ColorCalibrationData_C.dat";
    EXPECT_EQ(Complaint(ColourData(2, 33.5F, 2), name),
              "it is a record of a colour calibration of version 2; 3 and later ones are read");
    EXPECT_EQ(Complaint(ColourData(3, 33.5F, 13)),
              "it is a record of a colour calibration whose date is none");
    EXPECT_EQ(Complaint(ColourData(3, std::numeric_limits<float>::infinity(), 2)),
              "it is a record of a colour calibration with numbers that are not finite");
    EXPECT_EQ(Complaint("abc", name), "it is a record of a colour calibration that ends early");
}

TEST(TellSections, ModelsAreToldWithTheirState)
{
    const std::string text = device::VirtualDevice().ParameterText("::A");
    const Json facts = Facts(text);
    EXPECT_EQ(facts.at("kind"), "model");
    EXPECT_EQ(facts.at("root"), "::A");
    EXPECT_EQ(facts.at("calibrated"), true);
    EXPECT_EQ(facts.at("calibration_time"), "01.03.2024 09:00");
    EXPECT_EQ(facts.at("width"), 658);
    EXPECT_EQ(facts.at("height"), 494);
    EXPECT_EQ(facts.at("nearest_mm"), 25);
    EXPECT_EQ(facts.at("farthest_mm"), 41);
    std::string raw = text;
    raw.replace(raw.find("Calibrated=1"), 12, "Calibrated=0");
    EXPECT_EQ(Facts(raw).at("calibrated"), false);
}

TEST(TellSections, TargetsShadingAndOthersAreToldApart)
{
    EXPECT_EQ(
        Facts("# a target\n::Thres\nTargetId=12345607\nLabelType=IMT\n::Coords\n0 0 1\n# no point\n1 2\n"),
        (Json{{"kind", "data file of a target"}, {"target", "12345607"}, {"label", "IMT"}, {"points", 2}}));
    EXPECT_EQ(Complaint("::Coords\nabc\n"), "it is a data file of a target without coordinates, or with a "
                                            "line behind '::Coords' that is no point");
    EXPECT_EQ(Facts("::S\nUseShadingCorrection=1\n").at("kind"), "shading correction");
    EXPECT_EQ(Facts("::S\nFocalDistance_mm=1\n").at("kind"), "algorithm configuration");
    EXPECT_EQ(Facts("\n::S\na=1\n::T\n"),
              (Json{{"kind", "section text"}, {"sections", 2}, {"names", {"::S", "::T"}}}));
    EXPECT_EQ(Facts("::123456\n0 0 1\t1 1 1\n"),
              (Json{{"kind", "text of an archive of targets"}, {"targets", 1}, {"points", 2}}));
    EXPECT_TRUE(Complaint("::123456\nabc\n").starts_with("it is a text of targets that is wrong in line"));
    EXPECT_EQ(Complaint("::S\n" + std::string(std::size_t{2} << 20, '#')),
              "it is a section text of more than 2 MiB, which is not read");
}

class InfoCommand : public testing::Test
{
protected:
    InfoCommand() { setenv("LXCV_KEY_FILE", (m_folder / "key").c_str(), 1); }
    ~InfoCommand() override { unsetenv("LXCV_KEY_FILE"); }

    std::string Write(const std::string& name, const std::string& content) const
    {
        TestSupport::WriteFile(m_folder / name, content);
        return m_folder / name;
    }

    TestSupport::CTemporaryFolder m_folder;
};

TEST_F(InfoCommand, BytesAreThoseThatWereRead)
{
    // The size of a pipe is not on the disk.
    const std::string pipe = m_folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread writer([&pipe] { TestSupport::WriteFile(pipe, "::S\na=1\n"); });
    const Json told = Json::parse(RunCommand({"info", "--json", pipe}));
    writer.join();
    EXPECT_EQ(told.at(0).at("bytes"), 8);
}

TEST_F(InfoCommand, ContainersAndMemoriesTellTheirText)
{
    const std::string text = "::S\na=1\n";
    for (const auto& [form, kind] : {std::pair{ModelForm::eContainer, "encrypted container"},
                                     {ModelForm::eMemory, "memory of a device"}}) {
        WriteModelFile(m_folder / "a.dat", form, text);
        const std::string content = TestSupport::ReadFile(m_folder / "a.dat");
        EXPECT_EQ(Facts(content), (Json{{"kind", kind},
                                        {"text_bytes", text.size()},
                                        {"content", "section text"},
                                        {"sections", 1},
                                        {"names", Json::array({"::S"})}}));
        std::filesystem::rename(m_folder / "key", m_folder / "other");
        EXPECT_EQ(Facts(content).at("content"),
                  "not known: it is encrypted, and there is no key file '" + (m_folder / "key") +
                      "': let LXCV_KEY_FILE name the one that it was made with");
        std::filesystem::rename(m_folder / "other", m_folder / "key");
    }
    EXPECT_EQ(Facts(std::string(65563, '\xFF')).at("kind"), "memory of a device, without a text");
}

TEST_F(InfoCommand, ArchivesOfTargetsAreTold)
{
    std::istringstream text("::123456\n0 0 1\t1 1 1\n::234567\n0 0 1\n");
    std::ostringstream archive;
    ASSERT_TRUE(LxCV::LxCCalibrationTargetWriter::compress(text, archive));
    EXPECT_EQ(Facts(archive.str()), (Json{{"kind", "archive of targets"}, {"targets", 2}, {"points", 3}}));
    std::string changed = archive.str();
    changed.back() = static_cast<char>(changed.back() ^ 1);
    EXPECT_EQ(Complaint(changed), "it is a container or an archive of targets that was cut or changed");
}

TEST(TellText, NumbersAreToldByTheNameOfTheirFile)
{
    const std::string text = "1 2 3\n-1 2.5 3\n";
    EXPECT_EQ(Facts(text), (Json{{"kind", "points as text"},
                                 {"lines", 2},
                                 {"numbers_a_line", 3},
                                 {"least", {-1, 2, 3}},
                                 {"greatest", {1, 2.5, 3}}}));
    EXPECT_EQ(Facts("1 2\n").at("kind"), "numbers as text");
    const Json marks = Facts("1 2 3 4 5\n", "CamCalib_5DArray_000.xyz");
    EXPECT_EQ(marks.at("kind"), "marks of the camera's calibration");
    EXPECT_EQ(marks.at("numbers"), "x y z u v");
    EXPECT_EQ(Facts("1 2\n", "ProjCalib_SensorCoords_001.xyz").at("kind"),
              "marks of the projector's calibration");
    EXPECT_EQ(Complaint("1 2 3\n1 2\n", "a.xyz"), "it is no text of as many numbers in each line");
    EXPECT_EQ(Complaint("1 2 3\n1 x 3\n", "a.xyz"), "it is no text of as many numbers in each line");
}

TEST(TellText, RangesAreThoseOfTheFiniteLines)
{
    const std::string text = "nan 9 9\n1 2 3\n-inf 9 9\n-1 2.5 3\n5 inf 3\n";
    EXPECT_EQ(Facts(text), (Json{{"kind", "points as text"},
                                 {"lines", 5},
                                 {"numbers_a_line", 3},
                                 {"least", {-1, 2, 3}},
                                 {"greatest", {1, 2.5, 3}},
                                 {"not_finite", 3}}));
    EXPECT_EQ(Facts("nan inf\n"),
              (Json{{"kind", "numbers as text"}, {"lines", 1}, {"numbers_a_line", 2}, {"not_finite", 1}}));
    EXPECT_EQ(Complaint("nan 1\n1 2 3\n", "a.xyz"), "it is no text of as many numbers in each line");
}

TEST(TellText, JsonPagesAndSettingsAreTold)
{
    EXPECT_EQ(Facts("{\"b\": {\"c\": 1}, \"a\": [1, 2]}"), (Json{{"kind", "JSON"}, {"keys", {"b", "a"}}}));
    EXPECT_EQ(Facts("[1, {\"a\": 2}]"), (Json{{"kind", "JSON"}, {"keys", Json::array()}}));
    EXPECT_EQ(Complaint("{\"b\": ", "a.json"), "it is no valid JSON");
    EXPECT_EQ(Facts("<!DOCTYPE html>\n<p>").at("kind"), "HTML page");
    EXPECT_EQ(Facts("<?xml version='1.0'?>").at("kind"), "XML");
    EXPECT_EQ(Facts("A = { b = 1, c = true }\nD = { e = 'f' }\n"),
              (Json{{"kind", "settings"}, {"groups", {"A", "D"}}, {"keys", 3}}));
    EXPECT_TRUE(Complaint("A = {", "a.lua").starts_with("it is no settings file: "));
}

TEST(TellContent, WhatIsOfNoKindIsRefused)
{
    const std::string refusal = "it is of no kind that is known here; docs/formats.md lists the kinds";
    EXPECT_EQ(Complaint("hello, world"), refusal);
    EXPECT_EQ(Complaint(std::string(100, '\0')), refusal);
    EXPECT_EQ(Complaint(std::string("\x02\x01", 2)), refusal);
}

TEST_F(InfoCommand, TellsFileByFile)
{
    const std::string grid = Write("a.3d", Grid(1, 1, 3, {1, 2, 30.5}));
    const std::string text = Write("text", "::S\na=1\n");
    EXPECT_EQ(RunCommand({"info", grid, text}), grid +
                                                    "\n  bytes             144\n  kind              3D file\n"
                                                    "  width             1\n  height            1\n"
                                                    "  points            1\n"
                                                    "  least mm          1.0 2.0 30.5\n"
                                                    "  greatest mm       1.0 2.0 30.5\n" +
                                                    text +
                                                    "\n  bytes             8\n"
                                                    "  kind              section text\n"
                                                    "  sections          1\n  names             ::S\n");
    const Json list = Json::parse(RunCommand({"info", grid, text, "--json"}));
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0].at("file"), grid);
    EXPECT_EQ(list[0].at("bytes"), 144);
    EXPECT_EQ(list[0].at("kind"), "3D file");
    EXPECT_EQ(list[1].at("names"), Json::array({"::S"}));
}

TEST_F(InfoCommand, FloatsHaveTheDigitsOfAFloat)
{
    const std::string grid = RunCommand({"info", Write("a.3d", Grid(1, 1, 3, {0.1F, -31.20072F, 1e30F}))});
    EXPECT_NE(grid.find("  least mm          0.1 -31.20072 1e+30\n"), std::string::npos) << grid;
    const std::string text = RunCommand({"info", Write("numbers", "0.1 1e300\n0.30000000000000004 2\n")});
    EXPECT_NE(text.find("  greatest          0.30000000000000004 1e+300\n"), std::string::npos) << text;
}

TEST_F(InfoCommand, AFileThatCannotBeToldLeavesTheOthers)
{
    const std::string unknown = Write("unknown", "hello, world");
    const std::string known = Write("known", "1 2 3\n");
    const std::string error =
        "'" + unknown + "': it is of no kind that is known here; docs/formats.md lists the kinds";
    const std::string report = RunCommand({"info", unknown, known}, EFailingReport::eAllowed);
    EXPECT_EQ(report.substr(0, unknown.size() + 21), unknown + "\n  error             ");
    EXPECT_NE(report.find("\n  kind              points as text\n"), std::string::npos);
    EXPECT_TRUE(report.ends_with(Failure(error))) << report;

    const std::string json = RunCommand({"info", unknown, known, "--json"}, EFailingReport::eAllowed);
    const Json list = Json::parse(json.substr(0, json.rfind('[')));
    EXPECT_EQ(list[0], (Json{{"file", unknown}, {"error", error}}));
    EXPECT_EQ(list[1].at("kind"), "points as text");
}

TEST_F(InfoCommand, ErrorsNameTheFile)
{
    const std::string missing = m_folder / "missing";
    EXPECT_EQ(RunCommand({"info", missing}, EFailingReport::eAllowed),
              missing + "\n  error             cannot open '" + missing + "': No such file or directory\n" +
                  Failure("cannot open '" + missing + "': No such file or directory"));
    const std::string folder = m_folder.GetPath().string();
    const std::string empty = Write("empty", "");
    const std::string report = RunCommand({"info", folder, empty}, EFailingReport::eAllowed);
    EXPECT_NE(report.find("cannot open '" + folder + "': Is a directory"), std::string::npos);
    EXPECT_NE(report.find("'" + empty + "': it is empty"), std::string::npos);
    EXPECT_TRUE(report.ends_with(Failure("2 of 2 files could not be told"))) << report;
}

/// Why a file is not told; empty if it is.
std::string FileComplaint(const std::string& file, std::size_t limit = kLongestFile)
{
    try {
        TellFile(file, limit);
    } catch (const std::exception& error) {
        return error.what();
    }
    return {};
}

TEST_F(InfoCommand, FilesAreToldUpToTheirLongestLength)
{
    static_assert(kLongestFile == 536870912); // 512 MiB
    const std::string file = Write("points.xyz", "1 2 3\n");
    EXPECT_EQ(TellFile(file, 6).bytes, 6U);
    EXPECT_EQ(FileComplaint(file, 5), "'" + file + "' is longer than the 5 bytes that 'lumorad info' holds");
}

TEST_F(InfoCommand, AFileOf512MiBAndAByteIsRefused)
{
    const std::string file = Write("long", "");
    std::filesystem::resize_file(file, kLongestFile + 1); // a hole, which takes no room on the disk
    EXPECT_EQ(FileComplaint(file),
              "'" + file + "' is longer than the 536870912 bytes that 'lumorad info' holds");
}

TEST_F(InfoCommand, AFileThatIsTooLargeForTheMemoryIsNamed)
{
    if (!LxCV::AllocationLimit::IsEffective()) {
        GTEST_SKIP() << "the thread sanitizer lets no allocation fail";
    }
    const std::string file = Write("points.xyz", std::string(100'000, '\n') + "1 2 3\n");
    const std::string image = Write("image.pgm", "P5 400 250 255\n" + std::string(100'000, '\7'));
    const auto complaint = [](const std::string& name, std::size_t allowed) {
        const LxCV::AllocationLimit limit(50'000, allowed);
        return FileComplaint(name);
    };
    EXPECT_EQ(complaint(file, 0), "'" + file + "': there is not enough memory for it") << "as it is read";
    std::size_t allowed = 0;
    for (; !complaint(image, allowed).empty(); ++allowed) {
        const std::string told = complaint(image, allowed);
        ASSERT_TRUE(told == "'" + image + "': there is not enough memory for it" ||
                    told ==
                        "'" + image +
                            "': it is an image that is not read: an image that memory does not suffice for")
            << told;
        ASSERT_LT(allowed, 100U);
    }
    EXPECT_GT(allowed, 2U) << "the content and the image";
}

TEST_F(InfoCommand, TellsWhatTheProgramWrites)
{
    ASSERT_NE(RunCommand({"render", "--scene", "plane", "--out", m_folder.GetPath().string()}).front(), '[');
    const Json list = Json::parse(RunCommand({"info", m_folder / "reference.png", m_folder / "model.txt",
                                              m_folder / "depth.pfm", m_folder / "truth.ply", "--json"}));
    EXPECT_EQ(list[0].at("kind"), "image");
    EXPECT_EQ(list[0].at("width"), 658);
    EXPECT_EQ(list[1].at("kind"), "model");
    EXPECT_EQ(list[2].at("type"), "32-bit float grey PFM");
    EXPECT_EQ(list[3].at("kind"), "PLY points");
}

} // namespace
} // namespace app
