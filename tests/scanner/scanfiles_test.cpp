#include "scanner/app/scanfiles.h"

#include "lxsscandatacct.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <filesystem>
#include <string>

namespace app {
namespace {

class ScanFiles : public testing::Test
{
protected:
    /// Why a record is not written; empty if it is.
    std::string Complaint(const std::string& name, const LxCV::LxSScanDataCCT& record) const
    {
        try {
            WriteScanFile(m_folder / name, {record, m_cloud});
        } catch (const std::exception& error) {
            return error.what();
        }
        return {};
    }

    /// A record of two columns and three stripe edges without a point.
    static void MakeEmpty(LxCV::LxSScanDataCCT& record)
    {
        ASSERT_TRUE(record.Initialize(2, 3, 2, 3, false));
        record.Clear();
    }

    TestSupport::CTemporaryFolder m_folder;
    LxCV::LxSScanDataCCT m_record;
    RecordCloud m_cloud;
};

TEST_F(ScanFiles, SuffixesAreTheKnownOnesInAnyCase)
{
    for (const char* name : {"a.ply", "a.3d", "a.stl", "a.xyz", "b/a.PLY", "a.3D", "a.b.Stl", ".a.xYz"}) {
        EXPECT_EQ(SuffixProblem(name), "") << name;
    }
    for (const std::string name : {"", "a", "a.obj", ".ply", "a.ply.gz", "a.ply/b", "aply"}) {
        EXPECT_EQ(SuffixProblem(name),
                  "'" + name +
                      "' has none of the suffixes that tell the format of a scan: .ply, .3d, .stl, .xyz");
    }
}

TEST_F(ScanFiles, AFileWithoutASuffixIsRefusedAndNotMade)
{
    MakeEmpty(m_record);
    EXPECT_EQ(Complaint("scan", m_record), SuffixProblem(m_folder / "scan"));
    EXPECT_FALSE(std::filesystem::exists(m_folder / "scan"));
}

TEST_F(ScanFiles, ARecordWithoutPointsGivesA3DFileOfItsSize)
{
    MakeEmpty(m_record);
    ASSERT_EQ(Complaint("scan.3d", m_record), "");
    EXPECT_EQ(std::filesystem::file_size(m_folder / "scan.3d"), 132U + 2 * 3 * 12);
}

TEST_F(ScanFiles, A3DFileNeedsAFolderForItsWay)
{
    MakeEmpty(m_record);
    const std::string none = m_folder / "none";
    for (const std::string& folder : {none, std::string("/proc")}) {
        const TestSupport::CEnvironmentVariable temporary("TMPDIR", folder);
        EXPECT_EQ(
            Complaint("scan.3d", m_record),
            "cannot make a folder for files on their way; let TMPDIR name a folder that can be written to");
    }
    EXPECT_FALSE(std::filesystem::exists(m_folder / "scan.3d"));
}

TEST_F(ScanFiles, A3DFileLeavesNothingElse)
{
    MakeEmpty(m_record);
    const std::string way = m_folder / "way";
    std::filesystem::create_directory(way);
    const TestSupport::CEnvironmentVariable temporary("TMPDIR", way);
    EXPECT_EQ(Complaint("scan.3d", m_record), "");
    EXPECT_TRUE(std::filesystem::is_empty(way));
}

TEST_F(ScanFiles, ARecordWithoutImagesIsNoScan)
{
    const TestSupport::CEnvironmentVariable temporary("TMPDIR", m_folder.GetPath().string());
    const std::string complaint = Complaint("scan.3d", m_record);
    const std::string begin = "cannot write '" + (m_folder / "lumorad.");
    const std::string end = "/scan.3d' on the way to '" + (m_folder / "scan.3d") + "'";
    EXPECT_EQ(complaint.size(), begin.size() + 6 + end.size());
    EXPECT_TRUE(complaint.starts_with(begin)) << complaint;
    EXPECT_TRUE(complaint.ends_with(end)) << complaint;
    EXPECT_FALSE(std::filesystem::exists(m_folder / "scan.3d"));
}

} // namespace
} // namespace app
