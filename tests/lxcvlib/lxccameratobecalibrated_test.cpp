// Tests of the calibration marks that a camera collects.
#include "lxccameratobecalibrated.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/support/environment.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace LxCV {
namespace {

using Marks = std::vector<LxCCalibrationData*>;

constexpr wchar_t kChannel[] = L"ORX.Lumorad.LxCCameraToBeCalibrated";

/// `count` new records whose world x counts up from `first`.
Marks MakeMarks(int first, int count)
{
    Marks marks;
    for (int i = 0; i < count; ++i) {
        marks.push_back(new LxCCalibrationData(first + i, 0, 0, 1, 1, 1));
    }
    return marks;
}

void Add(LxCCameraToBeCalibrated& camera, int first, int count, bool newView)
{
    Marks marks = MakeMarks(first, count);
    EXPECT_EQ(camera.AddCalibData(&marks, newView), eCalibOk);
}

/// The world x of a view's records.
std::vector<int> Names(const LxCCameraToBeCalibrated& camera, int view)
{
    Marks marks;
    EXPECT_EQ(camera.GetCalibDataForView(&marks, view), eCalibOk);
    std::vector<int> names;
    for (const LxCCalibrationData* mark : marks) {
        names.push_back(static_cast<int>(mark->m_dXw));
    }
    return names;
}

LxCCalibrationData* MarkAt(const LxCCameraToBeCalibrated& camera, int view, std::size_t index)
{
    Marks marks;
    camera.GetCalibDataForView(&marks, view);
    return marks.at(index);
}

/// A folder of its own for a test, removed at the end.
class LxCCameraToBeCalibratedFiles : public testing::Test
{
protected:
    LxCCameraToBeCalibratedFiles()
    {
        std::filesystem::remove_all(m_Folder);
        std::filesystem::create_directories(m_Folder);
    }
    ~LxCCameraToBeCalibratedFiles() override { std::filesystem::remove_all(m_Folder); }

    std::string Path(const std::string& name) const { return (m_Folder / name).string(); }

    static std::string ReadFile(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        EXPECT_TRUE(file.is_open()) << path;
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string WriteFile(const std::string& name, const std::string& text) const
    {
        std::ofstream(Path(name), std::ios::binary) << text;
        return Path(name);
    }

private:
    std::filesystem::path m_Folder =
        std::filesystem::temp_directory_path() /
        (std::string("lxcv_marks_") + testing::UnitTest::GetInstance()->current_test_info()->name() + "_" +
         std::to_string(::getpid()));
};

TEST(LxCCameraToBeCalibrated, StartsWithoutMarks)
{
    const LxCCameraToBeCalibrated camera;
    EXPECT_EQ(camera.GetNrOfMarks(), 0);
    EXPECT_EQ(camera.GetNrOfViews(), 0);
    EXPECT_EQ(camera.GetTargetOrientation(), nullptr);
    EXPECT_TRUE(Names(camera, 0).empty());
    Marks marks;
    EXPECT_EQ(camera.GetCalibDataForView(&marks, 1), eCalibNotDone);
}

TEST(LxCCameraToBeCalibrated, FirstNewViewStartsNoOther)
{
    LxCCameraToBeCalibrated camera;
    Add(camera, 1, 2, true);
    EXPECT_EQ(camera.GetNrOfViews(), 1);
    Add(camera, 3, 3, true);
    EXPECT_EQ(camera.GetNrOfViews(), 2);
    EXPECT_EQ(camera.GetNrOfMarks(), 5);
    EXPECT_EQ(Names(camera, 0), (std::vector<int>{1, 2}));
    EXPECT_EQ(Names(camera, 1), (std::vector<int>{3, 4, 5}));
}

TEST(LxCCameraToBeCalibrated, WithoutNewViewMarksJoinTheLast)
{
    LxCCameraToBeCalibrated camera;
    Add(camera, 1, 1, true);
    Add(camera, 2, 1, true);
    Add(camera, 3, 2, false);
    EXPECT_EQ(camera.GetNrOfViews(), 2);
    EXPECT_EQ(Names(camera, 1), (std::vector<int>{2, 3, 4}));
}

TEST(LxCCameraToBeCalibrated, EmptyDataStillOpensAView)
{
    LxCCameraToBeCalibrated camera;
    Marks nothing;
    camera.AddCalibData(&nothing, true);
    EXPECT_EQ(camera.GetNrOfViews(), 0);
    Add(camera, 1, 1, true);
    EXPECT_EQ(camera.GetNrOfViews(), 1);
    camera.AddCalibData(&nothing, true);
    EXPECT_EQ(camera.AddCalibData(nullptr, true), eCalibOk);
    EXPECT_EQ(camera.GetNrOfViews(), 3);
    EXPECT_TRUE(Names(camera, 1).empty());
    EXPECT_TRUE(Names(camera, 2).empty());
    camera.AddCalibData(&nothing, false);
    EXPECT_EQ(camera.GetNrOfViews(), 3);
}

TEST(LxCCameraToBeCalibrated, CallersVectorStays)
{
    LxCCameraToBeCalibrated camera;
    Marks marks = MakeMarks(1, 2);
    camera.AddCalibData(&marks, true);
    ASSERT_EQ(marks.size(), 2U);
    EXPECT_EQ(MarkAt(camera, 0, 1), marks[1]);
}

TEST(LxCCameraToBeCalibrated, RecordsAreHeldOnceAndNotNull)
{
    LxCCameraToBeCalibrated camera;
    auto* const record = new LxCCalibrationData(1, 0, 0, 0, 0, 1);
    Marks marks = {record, nullptr, record};
    const Logging::CCapture capture;
    camera.AddCalibData(&marks, true);
    camera.AddCalibData(&marks, false);
    EXPECT_EQ(camera.GetNrOfMarks(), 1);
    EXPECT_EQ(capture.Count(Logging::ELevel::eWarning, kChannel,
                            L"AddCalibData: record is held already and is left out\n"),
              3);
}

TEST(LxCCameraToBeCalibrated, NothingIsTakenWhereMemoryRunsOut)
{
    bool isShort = true;
    for (std::size_t allowed = 0; isShort; ++allowed) {
        LxCCameraToBeCalibrated camera;
        Add(camera, 0, 3, true);
        Marks marks = MakeMarks(10, 5);
        isShort = false;
        try {
            const AllocationLimit limit(1, allowed);
            camera.AddCalibData(&marks, true);
        } catch (const std::bad_alloc&) {
            isShort = true;
        }
        ASSERT_EQ(camera.GetNrOfMarks(), isShort ? 3 : 8) << allowed;
        ASSERT_EQ(camera.GetNrOfViews(), isShort ? 1 : 2) << allowed;
        for (std::size_t i = 0; isShort && i < marks.size(); ++i) {
            ASSERT_EQ(marks[i]->m_dXw, 10.0 + static_cast<double>(i));
            delete marks[i]; // still the caller's
        }
    }
}

TEST(LxCCameraToBeCalibrated, BadViewLeavesTheOutput)
{
    LxCCameraToBeCalibrated camera;
    Add(camera, 1, 1, true);
    Add(camera, 2, 1, true);
    LxCCalibrationData other;
    Marks marks = {&other};
    for (const int view : {-1, 2, 3, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_EQ(camera.GetCalibDataForView(&marks, view), eCalibNotDone);
        EXPECT_EQ(marks, Marks{&other});
    }
    EXPECT_EQ(camera.GetCalibDataForView(nullptr, 0), eCalibNotDone);
    EXPECT_EQ(camera.GetCalibDataForView(&marks, 1), eCalibOk);
    EXPECT_EQ(marks.size(), 1U);
    EXPECT_NE(marks[0], &other);
}

TEST(LxCCameraToBeCalibrated, ZeroRecordsCount)
{
    LxCCameraToBeCalibrated camera;
    Marks marks = {new LxCCalibrationData(), new LxCCalibrationData()};
    camera.AddCalibData(&marks, true);
    EXPECT_EQ(camera.GetNrOfMarks(), 2);
}

TEST(LxCCameraToBeCalibrated, RemovalForgetsMarksAndViews)
{
    LxCCameraToBeCalibrated camera;
    Add(camera, 1, 2, true);
    Add(camera, 3, 2, true);
    EXPECT_EQ(camera.RemoveAllCalibData(true), eCalibOk);
    EXPECT_EQ(camera.GetNrOfMarks(), 0);
    EXPECT_EQ(camera.GetNrOfViews(), 0);
    Add(camera, 5, 1, true);
    EXPECT_EQ(camera.GetNrOfViews(), 1);
}

TEST(LxCCameraToBeCalibrated, RemovalCanHandTheRecordsOver)
{
    LxCCameraToBeCalibrated camera;
    Marks marks = MakeMarks(1, 3);
    camera.AddCalibData(&marks, true);
    EXPECT_EQ(camera.RemoveAllCalibData(false), eCalibOk);
    EXPECT_EQ(camera.GetNrOfMarks(), 0);
    for (LxCCalibrationData* mark : marks) {
        const std::unique_ptr<LxCCalibrationData> owned(mark);
        EXPECT_GT(owned->m_dXw, 0.0);
    }
}

TEST(LxCCameraToBeCalibrated, RemovedPointLeavesItsView)
{
    LxCCameraToBeCalibrated camera;
    Add(camera, 1, 3, true);
    Add(camera, 4, 2, true);
    EXPECT_EQ(camera.RemoveCalibPoint(MarkAt(camera, 0, 1)), eCalibOk);
    EXPECT_EQ(camera.GetNrOfMarks(), 4);
    EXPECT_EQ(Names(camera, 0), (std::vector<int>{1, 3}));
    EXPECT_EQ(Names(camera, 1), (std::vector<int>{4, 5}));
}

TEST(LxCCameraToBeCalibrated, FirstViewThatLosesItsLastMarkVanishes)
{
    LxCCameraToBeCalibrated camera;
    Add(camera, 1, 1, true);
    Add(camera, 2, 2, true);
    Add(camera, 4, 1, true);
    camera.RemoveCalibPoint(MarkAt(camera, 0, 0));
    EXPECT_EQ(camera.GetNrOfViews(), 2);
    EXPECT_EQ(Names(camera, 0), (std::vector<int>{2, 3}));
    EXPECT_EQ(Names(camera, 1), (std::vector<int>{4}));
}

TEST(LxCCameraToBeCalibrated, LaterViewThatLosesItsLastMarkStaysEmpty)
{
    LxCCameraToBeCalibrated camera;
    Add(camera, 1, 2, true);
    Add(camera, 3, 1, true);
    Add(camera, 4, 1, true);
    camera.RemoveCalibPoint(MarkAt(camera, 1, 0));
    EXPECT_EQ(camera.GetNrOfViews(), 3);
    EXPECT_TRUE(Names(camera, 1).empty());
    EXPECT_EQ(Names(camera, 2), (std::vector<int>{4}));
}

TEST(LxCCameraToBeCalibrated, LastMarkOfAllLeavesNoViews)
{
    LxCCameraToBeCalibrated camera;
    Add(camera, 1, 1, true);
    Marks nothing;
    camera.AddCalibData(&nothing, true);
    EXPECT_EQ(camera.GetNrOfViews(), 2);
    camera.RemoveCalibPoint(MarkAt(camera, 0, 0));
    EXPECT_EQ(camera.GetNrOfMarks(), 0);
    EXPECT_EQ(camera.GetNrOfViews(), 0);
    Marks marks;
    EXPECT_EQ(camera.GetCalibDataForView(&marks, 1), eCalibNotDone);
}

TEST(LxCCameraToBeCalibrated, UnknownPointChangesNothing)
{
    LxCCameraToBeCalibrated camera;
    Add(camera, 1, 2, true);
    Marks nothing;
    camera.AddCalibData(&nothing, true);
    Add(camera, 3, 1, true);
    LxCCalibrationData foreign;
    EXPECT_EQ(camera.RemoveCalibPoint(&foreign), eCalibOk);
    EXPECT_EQ(camera.RemoveCalibPoint(nullptr), eCalibOk);
    EXPECT_EQ(camera.GetNrOfViews(), 3);
    EXPECT_EQ(Names(camera, 0), (std::vector<int>{1, 2}));
    EXPECT_TRUE(Names(camera, 1).empty());
    EXPECT_EQ(Names(camera, 2), (std::vector<int>{3}));
}

/// Views as lists of names: an empty object has none, its first record begins one, and leading views that are
/// left empty vanish.
class CViewModel
{
public:
    void Add(int first, int count, bool newView)
    {
        if (m_Views.empty() && count > 0) {
            m_Views.emplace_back();
        } else if (!m_Views.empty() && newView) {
            m_Views.emplace_back();
        }
        for (int i = 0; i < count; ++i) {
            m_Views.back().push_back(first + i);
        }
    }
    void Remove(std::size_t view, std::size_t index)
    {
        m_Views[view].erase(m_Views[view].begin() + static_cast<std::ptrdiff_t>(index));
        while (!m_Views.empty() && m_Views.front().empty()) {
            m_Views.erase(m_Views.begin());
        }
    }
    const std::vector<std::vector<int>>& Get() const { return m_Views; }

private:
    std::vector<std::vector<int>> m_Views;
};

TEST(LxCCameraToBeCalibrated, ViewsFollowAnyOrderOfAddingAndRemoving)
{
    std::mt19937 random(36);
    LxCCameraToBeCalibrated camera;
    CViewModel model;
    int next = 1;
    for (int step = 0; step < 4000; ++step) {
        const std::size_t view = model.Get().empty() ? 0 : random() % model.Get().size();
        if (model.Get().empty() || random() % 4 == 0) {
            const int count = static_cast<int>(random() % 4);
            const bool newView = random() % 2 == 0;
            Add(camera, next, count, newView);
            model.Add(next, count, newView);
            next += count;
        } else if (!model.Get()[view].empty()) {
            const std::size_t index = random() % model.Get()[view].size();
            camera.RemoveCalibPoint(MarkAt(camera, static_cast<int>(view), index));
            model.Remove(view, index);
        }
        ASSERT_EQ(static_cast<std::size_t>(camera.GetNrOfViews()), model.Get().size()) << step;
        for (std::size_t i = 0; i < model.Get().size(); ++i) {
            ASSERT_EQ(Names(camera, static_cast<int>(i)), model.Get()[i]) << step;
        }
    }
}

TEST(LxCCameraToBeCalibrated, StatusCountsMarksAndViews)
{
    LxCCameraToBeCalibrated camera;
    std::string text = "before";
    camera.PrintStatus(text);
    EXPECT_EQ(text, "0 calibration marks from 0 points of view");
    Add(camera, 1, 3, true);
    Add(camera, 4, 2, true);
    camera.PrintStatus(text);
    EXPECT_EQ(text, "5 calibration marks from 2 points of view");
}

TEST_F(LxCCameraToBeCalibratedFiles, ExportWritesOneFileAView)
{
    LxCCameraToBeCalibrated camera;
    Marks first = {new LxCCalibrationData(1.5, -2, 1e-7, 320.123456, 240, 1), new LxCCalibrationData()};
    Marks second = {new LxCCalibrationData(1234567, 2, 3, 4, 5, 1)};
    camera.AddCalibData(&first, true);
    camera.AddCalibData(&second, true);
    EXPECT_TRUE(camera.ExportCalibData(Path("marks")));
    EXPECT_EQ(ReadFile(Path("marks_view00.txt")), "320.123\t240\t1.5\t-2\t1e-07\n0\t0\t0\t0\t0\n");
    EXPECT_EQ(ReadFile(Path("marks_view01.txt")), "4\t5\t1.23457e+06\t2\t3\n");
    EXPECT_FALSE(std::filesystem::exists(Path("marks_view02.txt")));
}

TEST_F(LxCCameraToBeCalibratedFiles, ExportWithoutMarksWritesAnEmptyFile)
{
    EXPECT_TRUE(LxCCameraToBeCalibrated().ExportCalibData(Path("none")));
    EXPECT_EQ(ReadFile(Path("none_view00.txt")), "");
    EXPECT_FALSE(std::filesystem::exists(Path("none_view01.txt")));
}

TEST_F(LxCCameraToBeCalibratedFiles, ViewNumbersHaveAtLeastTwoDigits)
{
    LxCCameraToBeCalibrated camera;
    for (int view = 0; view < 101; ++view) {
        Add(camera, view, 1, true);
    }
    EXPECT_TRUE(camera.ExportCalibData(Path("many")));
    EXPECT_TRUE(std::filesystem::exists(Path("many_view09.txt")));
    EXPECT_TRUE(std::filesystem::exists(Path("many_view10.txt")));
    EXPECT_EQ(ReadFile(Path("many_view100.txt")), "1\t1\t100\t0\t0\n");
}

TEST_F(LxCCameraToBeCalibratedFiles, ExportThatCannotWriteIsLogged)
{
    LxCCameraToBeCalibrated camera;
    Add(camera, 1, 1, true);
    Add(camera, 2, 1, true);
    // A folder stands where the second file should go.
    std::filesystem::create_directory(Path("m_view01.txt"));
    const Logging::CCapture capture;
    EXPECT_FALSE(camera.ExportCalibData(Path("m")));
    EXPECT_TRUE(std::filesystem::exists(Path("m_view00.txt")));
    const std::string narrow = Path("m_view01.txt");
    EXPECT_EQ(capture.Count(Logging::ELevel::eError, kChannel,
                            L"ExportCalibData: cannot write to " +
                                std::wstring(narrow.begin(), narrow.end()) + L"\n"),
              1);
}

TEST_F(LxCCameraToBeCalibratedFiles, ExportAndImportKeepSixDigits)
{
    std::mt19937 random(34);
    std::uniform_real_distribution<double> coordinate(-1000.0, 1000.0);
    LxCCameraToBeCalibrated camera;
    const std::vector<int> sizes = {300, 1, 700, 0, 999};
    for (const int size : sizes) {
        Marks marks;
        for (int i = 0; i < size; ++i) {
            std::array<double, 5> v{};
            for (double& value : v) {
                value = i % 50 == 7 ? 0.0 : coordinate(random);
            }
            marks.push_back(new LxCCalibrationData(v[0], v[1], v[2], v[3], v[4], 0.5));
        }
        camera.AddCalibData(&marks, true);
    }
    ASSERT_TRUE(camera.ExportCalibData(Path("trip")));
    std::vector<std::string> names;
    for (int view = 0; view < camera.GetNrOfViews(); ++view) {
        names.push_back(Path("trip_view0" + std::to_string(view) + ".txt"));
    }
    LxCCameraToBeCalibrated back;
    EXPECT_TRUE(back.ImportCalibData(names));
    ASSERT_EQ(back.GetNrOfViews(), 5);
    for (int view = 0; view < 5; ++view) {
        Marks expected, found;
        camera.GetCalibDataForView(&expected, view);
        back.GetCalibDataForView(&found, view);
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            const auto near = [&](double a, double b) { return std::abs(a - b) <= 5e-6 * std::abs(b); };
            EXPECT_TRUE(near(found[i]->m_dXw, expected[i]->m_dXw));
            EXPECT_TRUE(near(found[i]->m_dYw, expected[i]->m_dYw));
            EXPECT_TRUE(near(found[i]->m_dZw, expected[i]->m_dZw));
            EXPECT_TRUE(near(found[i]->m_dXi, expected[i]->m_dXi));
            EXPECT_TRUE(near(found[i]->m_dYi, expected[i]->m_dYi));
            EXPECT_EQ(found[i]->IsNonzero(), expected[i]->IsNonzero());
            EXPECT_EQ(found[i]->m_dWeight, 1.0);
        }
    }
}

TEST_F(LxCCameraToBeCalibratedFiles, NumbersDoNotDependOnTheLocale)
{
    LxCCameraToBeCalibrated camera, back;
    Marks marks = {new LxCCalibrationData(1234.5, -0.25, 3, 4321.5, 5, 1)};
    camera.AddCalibData(&marks, true);
    const TestSupport::CCommaDecimalLocale commas;
    EXPECT_TRUE(camera.ExportCalibData(Path("commas")));
    EXPECT_EQ(ReadFile(Path("commas_view00.txt")), "4321.5\t5\t1234.5\t-0.25\t3\n");
    EXPECT_TRUE(back.ImportCalibData({Path("commas_view00.txt")}));
    EXPECT_EQ(MarkAt(back, 0, 0)->m_dXw, 1234.5);
    EXPECT_EQ(MarkAt(back, 0, 0)->m_dXi, 4321.5);
}

TEST_F(LxCCameraToBeCalibratedFiles, ImportOfNothingSucceeds)
{
    LxCCameraToBeCalibrated camera;
    Add(camera, 1, 1, true);
    EXPECT_TRUE(camera.ImportCalibData({}));
    EXPECT_EQ(camera.GetNrOfMarks(), 1);
}

TEST_F(LxCCameraToBeCalibratedFiles, ImportAddsToWhatIsThere)
{
    LxCCameraToBeCalibrated camera;
    Add(camera, 1, 1, true);
    EXPECT_TRUE(camera.ImportCalibData({WriteFile("a.txt", "1 2 30 4 5\n"), WriteFile("b.txt", "")}));
    EXPECT_EQ(camera.GetNrOfViews(), 3);
    EXPECT_EQ(Names(camera, 0), (std::vector<int>{1}));
    EXPECT_EQ(Names(camera, 1), (std::vector<int>{30}));
    EXPECT_TRUE(Names(camera, 2).empty());
}

TEST_F(LxCCameraToBeCalibratedFiles, EveryLineMakesARecord)
{
    LxCCameraToBeCalibrated camera;
    EXPECT_TRUE(camera.ImportCalibData({WriteFile("lines.txt", "1\t2\t3\t4\t5\r\n"
                                                               "\n"
                                                               "6 7\n"
                                                               "8 x 9 9 9\n"
                                                               "  -1.5e1 +2 .5 0 0 77 88\n"
                                                               "9 9 9 9 9")}));
    Marks marks;
    camera.GetCalibDataForView(&marks, 0);
    ASSERT_EQ(marks.size(), 6U);
    const auto expect = [&](std::size_t i, double u, double v, double x, double y, double z) {
        EXPECT_EQ(marks[i]->m_dXi, u) << i;
        EXPECT_EQ(marks[i]->m_dYi, v) << i;
        EXPECT_EQ(marks[i]->m_dXw, x) << i;
        EXPECT_EQ(marks[i]->m_dYw, y) << i;
        EXPECT_EQ(marks[i]->m_dZw, z) << i;
    };
    expect(0, 1, 2, 3, 4, 5);
    expect(1, 0, 0, 0, 0, 0);
    expect(2, 6, 7, 0, 0, 0);
    expect(3, 8, 0, 0, 0, 0);
    expect(4, -15, 2, 0.5, 0, 0);
    expect(5, 9, 9, 9, 9, 9);
}

TEST_F(LxCCameraToBeCalibratedFiles, HostileTextGivesZeros)
{
    using namespace std::string_literals;
    const std::string huge(1 << 20, '9');
    const std::string name = WriteFile(
        "hostile.txt", "1e999 1 1 1 1\n"s + "1\0002 3\n"s + huge + "\n" + std::string(1 << 20, ' ') + "7\n" +
                           "nan inf 0x 1 1\n" + "\xff\xfe\n"s + "2 -1e-999 4 5 6\n");
    LxCCameraToBeCalibrated camera;
    EXPECT_TRUE(camera.ImportCalibData({name}));
    Marks marks;
    camera.GetCalibDataForView(&marks, 0);
    ASSERT_EQ(marks.size(), 7U);
    EXPECT_FALSE(marks[0]->IsNonzero());
    EXPECT_EQ(marks[1]->m_dXi, 1.0);
    EXPECT_EQ(marks[1]->m_dYi, 0.0);
    EXPECT_FALSE(marks[2]->IsNonzero());
    EXPECT_EQ(marks[3]->m_dXi, 7.0);
    EXPECT_FALSE(marks[4]->IsNonzero());
    EXPECT_FALSE(marks[5]->IsNonzero());
    EXPECT_EQ(marks[6]->m_dXi, 2.0);
    for (const LxCCalibrationData* mark : marks) {
        EXPECT_TRUE(std::isfinite(mark->m_dXi) && std::isfinite(mark->m_dYi));
    }
}

TEST_F(LxCCameraToBeCalibratedFiles, RandomBytesNeverDoHarm)
{
    std::mt19937 random(35);
    const std::string alphabet = "0123456789+-.eEx \t\r\n\n,nanif\"\\";
    for (int round = 0; round < 60; ++round) {
        std::string text;
        std::size_t lines = 0;
        for (int i = 0; i < 300; ++i) {
            const char c = round % 2 ? alphabet[random() % alphabet.size()] : static_cast<char>(random());
            text.push_back(c);
            lines += c == '\n' ? 1 : 0;
        }
        lines += text.back() == '\n' ? 0 : 1;
        LxCCameraToBeCalibrated camera;
        ASSERT_TRUE(camera.ImportCalibData({WriteFile("random.txt", text)}));
        ASSERT_EQ(static_cast<std::size_t>(camera.GetNrOfMarks()), lines);
    }
}

TEST_F(LxCCameraToBeCalibratedFiles, MissingSecondFileKeepsTheFirstView)
{
    LxCCameraToBeCalibrated camera;
    const std::string missing = Path("missing.txt");
    const Logging::CCapture capture;
    EXPECT_FALSE(camera.ImportCalibData({WriteFile("a.txt", "1 2 3 4 5\n"), missing}));
    EXPECT_EQ(camera.GetNrOfViews(), 1);
    EXPECT_EQ(capture.Count(Logging::ELevel::eError, kChannel,
                            L"ImportCalibData: cannot read from " +
                                std::wstring(missing.begin(), missing.end()) + L"\n"),
              1);
}

TEST_F(LxCCameraToBeCalibratedFiles, FoldersAndDevicesAreNotRead)
{
    LxCCameraToBeCalibrated camera;
    const Logging::CCapture capture;
    EXPECT_FALSE(camera.ImportCalibData({Path("")}));
    EXPECT_FALSE(camera.ImportCalibData({"/dev/zero"}));
    EXPECT_FALSE(camera.ImportCalibData({""}));
    EXPECT_EQ(camera.GetNrOfMarks(), 0);
}

} // namespace
} // namespace LxCV
