#include "lxccalibbody.h"

#include "lxccbrect.h"
#include "lxcrectcornercalibmark.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/calibbodytestsupport.h"
#include "tests/support/temporaryfolder.h"
#include "tests/support/workplace.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using Logging::ELevel;
using TestSupport::CPlainTarget;
using TestSupport::CRecords;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCCalibBody";

void ExpectRecord(const LxCCalibrationData& record, const std::vector<double>& values)
{
    EXPECT_EQ((std::vector<double>{record.m_dXw, record.m_dYw, record.m_dZw, record.m_dXi, record.m_dYi,
                                   record.m_dWeight}),
              values);
}

// By the data file

class LxCCalibBodyExport : public testing::Test
{
protected:
    LxCCalibBodyExport()
    {
        for (int i = 1; i <= 5; ++i) {
            m_Target.m_vWorldCoords.emplace_back(i, 10.0 * i, 100.0 * i);
        }
    }

    CPlainTarget m_Target;
    CRecords m_Records;
};

TEST_F(LxCCalibBodyExport, PairsWorldAndImageWithTheQualityAsWeight)
{
    m_Target.AddMark(7.5, 8.5, 3)->SetQuality(0.25);
    EXPECT_EQ(m_Target.ExportCalibrationDataUsingWCDataFile(m_Records.list), 0);
    ASSERT_EQ(m_Records.list.size(), 1U);
    ExpectRecord(*m_Records.list[0], {3.0, 30.0, 300.0, 7.5, 8.5, 0.25});
}

TEST_F(LxCCalibBodyExport, LeavesOutTheFirstAndTheLastId)
{
    for (const int id :
         {std::numeric_limits<int>::min(), -1, 0, 1, 2, 4, 5, 6, std::numeric_limits<int>::max()}) {
        m_Target.AddMark(id, 0.0, id);
    }
    EXPECT_EQ(m_Target.ExportCalibrationDataUsingWCDataFile(m_Records.list), 0);
    ASSERT_EQ(m_Records.list.size(), 2U);
    EXPECT_EQ(m_Records.list[0]->m_dXi, 2.0);
    EXPECT_EQ(m_Records.list[0]->m_dXw, 2.0);
    EXPECT_EQ(m_Records.list[1]->m_dXi, 4.0);
}

TEST_F(LxCCalibBodyExport, LeavesOutMarksThatAreNotUsed)
{
    m_Target.AddMark(1.0, 0.0, 2)->MakeInvalid();
    m_Target.AddMark(2.0, 0.0, 3)->MarkAsUnusableForCalib();
    m_Target.AddMark(3.0, 0.0, 4)->SetQuality(10.0);
    EXPECT_EQ(m_Target.ExportCalibrationDataUsingWCDataFile(m_Records.list), 0);
    EXPECT_TRUE(m_Records.list.empty());
}

TEST_F(LxCCalibBodyExport, AppendsAndTakesTheMarksAlong)
{
    m_Target.AddMark(1.0, 0.0, 2);
    EXPECT_EQ(m_Target.ExportCalibrationDataUsingWCDataFile(m_Records.list), 0);
    EXPECT_TRUE(m_Target.GetCalibMarks().empty());
    EXPECT_EQ(m_Target.ExportCalibrationDataUsingWCDataFile(m_Records.list), 0);
    EXPECT_EQ(m_Records.list.size(), 1U);
    m_Target.AddMark(1.0, 0.0, 3);
    EXPECT_EQ(m_Target.ExportCalibrationDataUsingWCDataFile(m_Records.list), 0);
    EXPECT_EQ(m_Records.list.size(), 2U);
}

TEST_F(LxCCalibBodyExport, IsThatOfTheDynamicType)
{
    class CSilentTarget : public CPlainTarget
    {
    public:
        ECalibError ExportCalibrationDataUsingWCDataFile(std::vector<LxCCalibrationData*>&) override
        {
            return eCalibTypeUnsupported;
        }
    };
    CSilentTarget target;
    EXPECT_EQ(target.ExportCalibrationData(m_Records.list), eCalibTypeUnsupported);
    m_Target.AddMark(1.0, 0.0, 2);
    EXPECT_EQ(m_Target.ExportCalibrationData(m_Records.list), 0);
    EXPECT_EQ(m_Records.list.size(), 1U);
}

TEST_F(LxCCalibBodyExport, WithoutCoordinatesIsEmpty)
{
    m_Target.m_vWorldCoords.clear();
    m_Target.AddMark(1.0, 0.0, 2);
    EXPECT_EQ(m_Target.ExportCalibrationData(m_Records.list), 0);
    EXPECT_TRUE(m_Records.list.empty());
}

// By formula

TEST_F(LxCCalibBodyExport, DirectlyTakesTheMarksOwnWorldPositionAndKeepsTheMarks)
{
    LxCCalibMark* const mark = m_Target.AddMark(7.0, 8.0, 900);
    mark->GetWorldCoords().Set(1.0, 2.0, 3.0);
    m_Target.AddMark(7.0, 8.0);
    m_Target.AddMark(7.0, 8.0, 2)->MakeInvalid();
    EXPECT_EQ(m_Target.ExportCalibrationDataDirect(m_Records.list), 0);
    ASSERT_EQ(m_Records.list.size(), 1U);
    ExpectRecord(*m_Records.list[0], {1.0, 2.0, 3.0, 7.0, 8.0, 1.0});
    EXPECT_EQ(m_Target.GetCalibMarks().size(), 3U);
}

TEST_F(LxCCalibBodyExport, DirectlyTakesTheFormulaOfATargetThatHasOne)
{
    class CFormulaTarget : public CPlainTarget
    {
    public:
        ECalibError IdToWCDirect(int id, LxC3DCoordsCCT& coords) const override
        {
            coords.Set(id, 2.0 * id, 0.0);
            return eCalibOk;
        }
    };
    CFormulaTarget target;
    const LxCCalibMark* const mark = target.AddMark(7.0, 8.0, -3);
    EXPECT_EQ(target.ExportCalibrationDataDirect(m_Records.list), 0);
    ASSERT_EQ(m_Records.list.size(), 1U);
    ExpectRecord(*m_Records.list[0], {-3.0, -6.0, 0.0, 7.0, 8.0, 1.0});
    EXPECT_EQ(mark->GetWorldCoords().y, -6.0);
}

// From a file

class LxCCalibBodyExportFile : public testing::Test
{
protected:
    int Export(const std::string& text)
    {
        ::TestSupport::WriteFile(m_Folder.GetPath() / "records.txt", text);
        return m_Target.ExportCalibrationDataUsingWCandICDataFile(m_Records.list, m_Folder / "records.txt");
    }

    int CountStuck() const
    {
        return m_Capture.Count(
            ELevel::eError, c_sChannel,
            L"Error: LxCCalibBody::ExportCalibrationDataUsingWCandICDataFile: read process got "
            L"stuck and did not finish properly.\nExpecting Xw Yw Zw Xi Yi per line separated by "
            L"whitespace only.\n");
    }

    ::TestSupport::CTemporaryFolder m_Folder;
    CPlainTarget m_Target;
    CRecords m_Records;
    Logging::CCapture m_Capture;
};

TEST_F(LxCCalibBodyExportFile, ReadsFiveNumbersALine)
{
    m_Target.AddMark(1.0, 2.0, 3);
    EXPECT_EQ(Export("! Xw Yw Zw Xi Yi\n\n1 2 3 4.5 5\r\n\r\n0.1\t0 0 -1e2 0x8 more\n!\n"), 0);
    ASSERT_EQ(m_Records.list.size(), 2U);
    ExpectRecord(*m_Records.list[0], {1.0, 2.0, 3.0, 4.5, 5.0, 1.0});
    ExpectRecord(*m_Records.list[1], {static_cast<double>(0.1F), 0.0, 0.0, -100.0, 8.0, 1.0});
    EXPECT_TRUE(m_Target.GetCalibMarks().empty());
}

TEST_F(LxCCalibBodyExportFile, StopsAtALineOfAnotherForm)
{
    m_Target.AddMark(1.0, 2.0, 3);
    EXPECT_EQ(Export("1 2 3 4 5\n1 2 3 4\n1 2 3 4 5\n"), 4);
    EXPECT_EQ(m_Records.list.size(), 1U);
    EXPECT_EQ(CountStuck(), 1);
    EXPECT_EQ(m_Target.GetCalibMarks().size(), 1U);
}

TEST_F(LxCCalibBodyExportFile, WithoutALineThatCountsIs4)
{
    EXPECT_EQ(Export(""), 4);
    EXPECT_EQ(Export("! nothing\n\n"), 4);
    EXPECT_EQ(CountStuck(), 2);
}

TEST_F(LxCCalibBodyExportFile, BeginsWithAnEmptyListAndFreesNoneOfItsRecords)
{
    LxCCalibrationData before(9.0, 9.0, 9.0, 9.0, 9.0, 9.0);
    m_Records.list.push_back(&before);
    EXPECT_EQ(Export("1 2 3 4 5\n"), 0);
    EXPECT_EQ(m_Records.list.size(), 1U);
    EXPECT_EQ(before.m_dXw, 9.0);
}

TEST_F(LxCCalibBodyExportFile, ThatIsMissingIs3)
{
    LxCCalibrationData before;
    m_Records.list.push_back(&before);
    const std::string path = m_Folder / "none.txt";
    EXPECT_EQ(m_Target.ExportCalibrationDataUsingWCandICDataFile(m_Records.list, path), 3);
    EXPECT_TRUE(m_Records.list.empty());
    EXPECT_EQ(
        m_Capture.Count(ELevel::eError, c_sChannel,
                        L"Error: LxCCalibBody::ExportCalibrationDataUsingWCandICDataFile: File couldn't be "
                        L"opened: <" +
                            std::filesystem::path(path).wstring() + L">\n"),
        1);
    EXPECT_EQ(m_Target.ExportCalibrationDataUsingWCandICDataFile(m_Records.list, m_Folder.GetPath().string()),
              3);
    EXPECT_EQ(m_Target.ExportCalibrationDataUsingWCandICDataFile(m_Records.list, "/dev/zero"), 3);
}

// Means of measurements

class LxCCalibBodyMean : public testing::Test
{
protected:
    void Write(int number, const std::string& text) const
    {
        ::TestSupport::WriteFile(
            m_Workplace.GetResults() / ("calib_marker_" + std::to_string(number) + ".txt"), text);
    }

    std::string ReadMean() const
    {
        return ::TestSupport::ReadFile(m_Workplace.GetResults() / "calib_marker_mean.txt");
    }

    ::TestSupport::CWorkplace m_Workplace{true};
    CPlainTarget m_Target;
    Logging::CCapture m_Capture;
};

TEST_F(LxCCalibBodyMean, AveragesEachCornerOverTheMeasurements)
{
    Write(0, "1 2 3\n10 10 10\n0 0 0\n-1 0 1\n");
    Write(1, "2 4 3\r\n20 30 40\n0 0 0\n-2 0 2\n");
    m_Target.CalculateMeanPositionOutOfMultiMeasurement(2, 1);
    EXPECT_EQ(ReadMean(), "1.500000 3.000000 3.000000\n15.000000 20.000000 25.000000\n"
                          "0.000000 0.000000 0.000000\n-1.500000 0.000000 1.500000\n");
    EXPECT_EQ(m_Target.m_iNumMeasurements, 2);
    EXPECT_EQ(m_Capture.Count(ELevel::eInfo, c_sChannel,
                              L"[INFO]: Call --> CalculateMeanPositionOutOfMultiMeasurement()\n"),
              1);
    EXPECT_EQ(m_Capture.Count(ELevel::eInfo, c_sChannel,
                              L"----->> Now reading file: ../Results/calib_marker_0.txt\n"),
              1);
    EXPECT_EQ(m_Capture.Count(ELevel::eInfo, c_sChannel,
                              L"----->> Now reading file: ../Results/calib_marker_1.txt\n"),
              1);
}

TEST_F(LxCCalibBodyMean, LeavesMissingFilesAndLinesOut)
{
    Write(0, "1 1 1\n2 2 2\n");
    Write(2, "3 3 3\nrubbish\n9 9 9\n");
    m_Target.CalculateMeanPositionOutOfMultiMeasurement(3, 1);
    EXPECT_EQ(ReadMean(), "2.000000 2.000000 2.000000\n2.000000 2.000000 2.000000\n");
    EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sChannel,
                              L"!!! [ERROR]: Could not open file: ../Results/calib_marker_1.txt\n"),
              1);
}

TEST_F(LxCCalibBodyMean, TakesFourLinesARectangle)
{
    Write(0, "1 1 1\n2 2 2\n3 3 3\n4 4 4\n5 5 5\n");
    m_Target.CalculateMeanPositionOutOfMultiMeasurement(1, 1);
    EXPECT_EQ(ReadMean(), "1.000000 1.000000 1.000000\n2.000000 2.000000 2.000000\n"
                          "3.000000 3.000000 3.000000\n4.000000 4.000000 4.000000\n");
    m_Target.CalculateMeanPositionOutOfMultiMeasurement(1, std::numeric_limits<int>::max());
    EXPECT_NE(ReadMean().find("5.000000 5.000000 5.000000\n"), std::string::npos);
}

TEST_F(LxCCalibBodyMean, OfNothingIsEmpty)
{
    Write(0, "1 1 1\n");
    m_Target.CalculateMeanPositionOutOfMultiMeasurement(1, std::numeric_limits<int>::min());
    EXPECT_EQ(ReadMean(), "");
    m_Target.CalculateMeanPositionOutOfMultiMeasurement(-5, 1);
    EXPECT_EQ(ReadMean(), "");
    EXPECT_EQ(m_Target.m_iNumMeasurements, -5);
}

TEST(LxCCalibBodyMeanFile, ThatCannotBeWrittenIsLogged)
{
    const ::TestSupport::CWorkplace workplace(false);
    CPlainTarget target;
    const Logging::CCapture capture;
    target.CalculateMeanPositionOutOfMultiMeasurement(0, 1);
    EXPECT_EQ(capture.Count(ELevel::eError, c_sChannel,
                            L"!!! Error !!! Opening outstream for writing mean calibration positions\n"),
              1);
    EXPECT_EQ(workplace.GetNames(), (std::vector<std::string>{"work"}));
}

TEST_F(LxCCalibBodyMean, OfRectanglesSumsTheUpperLeftXOfEveryNth)
{
    std::vector<LxCRectCornerCalibMark> corners(5, LxCRectCornerCalibMark(false));
    std::vector<LxCCBRect> rects(5);
    std::vector<LxCCBRect*> list;
    for (std::size_t i = 0; i < rects.size(); ++i) {
        corners[i].SetXImg(static_cast<double>(1 << i));
        rects[i].SetULCorner(&corners[i]);
        list.push_back(&rects[i]);
    }
    list.push_back(nullptr);
    m_Target.CalculateMeanPositionOutOfMultiMeasurement(list); // before any measurement: nothing
    m_Target.m_iNumMeasurements = 2;
    rects[2].SetULCorner(nullptr);
    m_Target.CalculateMeanPositionOutOfMultiMeasurement(list);
    m_Target.m_iNumMeasurements = 3;
    m_Target.CalculateMeanPositionOutOfMultiMeasurement(list);
    m_Target.CalculateMeanPositionOutOfMultiMeasurement(std::vector<LxCCBRect*>());
    std::vector<std::wstring> texts;
    for (const auto& record : m_Capture.GetRecords()) {
        EXPECT_EQ(record.level, ELevel::eDebug);
        texts.push_back(record.text);
    }
    // 1 + 16 over 2; then 1 + 8 over 3.
    EXPECT_EQ(texts, (std::vector<std::wstring>{
                         L"Mean x of the upper left corners of every rectangle number 2: 8.500000\n",
                         L"Mean x of the upper left corners of every rectangle number 3: 3.000000\n",
                         L"Mean x of the upper left corners of every rectangle number 3: 0.000000\n"}));
}

} // namespace
} // namespace LxCV
