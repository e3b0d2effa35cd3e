#include "lxcbackgroundrawimagewriter.h"

#include "orx/btservices/btexception.h"
#include "orx/logging/logger.h"
#include "orx/platform/threads.h"
#include "tests/support/environment.h"
#include "tests/support/nothreads.h"
#include "tests/support/temporaryfolder.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

namespace fs = std::filesystem;

using Logging::ELevel;
using TestSupport::CTemporaryFolder;
using TestSupport::CWatchdog;
using TestSupport::ReadFile;
using TestSupport::WriteFile;
using EFlags = BtThreadPolicyMFC::EFlags;
using Batch = LxCBackgroundRawImageWriter::Batch;

constexpr int c_iWidth = 5;
constexpr int c_iHeight = 3;

/// Counts the images that live.
class WatchedImage : public CCTImage
{
public:
    WatchedImage(std::atomic<int>& living, EImageDataType type)
        : CCTImage(c_iWidth, c_iHeight, type, true, nullptr), m_living(living)
    {
        ++m_living;
    }
    ~WatchedImage() override { --m_living; }

private:
    std::atomic<int>& m_living;
};

/// A record that a host wants stored.
class HostRecord : public LxSFrameGrabberMetaData
{
public:
    HostRecord(const std::string& fileName, std::function<void(std::ostream&)> write)
        : m_write(std::move(write))
    {
        Update(nullptr, fileName, "", LxAFrameGrabber::eLS_Live, 0.0F, 0.0F);
    }
    void writeToXML(std::ostream& stream) const override { m_write(stream); }
    using LxSFrameGrabberMetaData::writeToXML;

private:
    std::function<void(std::ostream&)> m_write;
};

/// Tells its end.
class WatchedWriter : public LxCBackgroundRawImageWriter
{
public:
    WatchedWriter(const std::string& folder, Batch& batch, BtEvent& destroyed)
        : LxCBackgroundRawImageWriter(folder, batch), m_destroyed(destroyed)
    {}
    ~WatchedWriter() override
    {
        EndBeforeDestruction();
        m_destroyed.Set();
    }

private:
    BtEvent& m_destroyed;
};

/// A folder to write to, a log and a time limit.
class LxCBackgroundRawImageWriterTest : public testing::Test
{
protected:
    ~LxCBackgroundRawImageWriterTest() override { EXPECT_EQ(m_living, 0) << "every image is destroyed"; }

    /// A new image whose bytes all are `grey`.
    CCTImage* Image(const std::string& pathname, int grey = 0,
                    CCTImage::EImageDataType type = CCTImage::eIDT_UINT8)
    {
        CCTImage* const image = new WatchedImage(m_living, type);
        std::memset(image->GetBuffer(), grey, static_cast<std::size_t>(image->GetSizeInBytes()));
        image->SetPathname(pathname);
        return image;
    }

    static std::shared_ptr<LxSFrameGrabberMetaData> Record(const std::string& fileName)
    {
        auto record = std::make_shared<LxSFrameGrabberMetaData>();
        record->Update(nullptr, fileName, "", LxAFrameGrabber::eLS_Live, 0.0F, 0.0F);
        return record;
    }

    static std::shared_ptr<LxSFrameGrabberMetaData> Record(const std::string& fileName,
                                                           std::function<void(std::ostream&)> write)
    {
        return std::make_shared<HostRecord>(fileName, std::move(write));
    }

    std::string Folder() const { return m_folder.GetPath().string() + "/"; }

    /// Writes a batch, and returns when the writer has destroyed itself.
    void Write(const std::string& folder, Batch batch)
    {
        BtEvent destroyed;
        auto* const writer = new WatchedWriter(folder, batch, destroyed);
        ASSERT_TRUE(writer->Start());
        ASSERT_TRUE(destroyed.Wait());
    }

    /// Whether the file is an image whose bytes all are `grey`.
    bool IsImage(const std::string& name, int grey) const
    {
        CCTImage image;
        if (image.Load(m_folder / name) != CCTImage::eRC_OK || image.GetWidth() != c_iWidth ||
            image.GetHeight() != c_iHeight) {
            return false;
        }
        const auto* const bytes = static_cast<const std::uint8_t*>(image.GetBuffer());
        return std::count(bytes, bytes + image.GetSizeInBytes(), static_cast<std::uint8_t>(grey)) ==
               image.GetSizeInBytes();
    }

    int Errors(const std::wstring& text) const
    {
        return m_log.Count(ELevel::eError, L"ORX.Lumorad.LxCBackgroundRawImageWriter", text);
    }
    int ImageErrors(const std::string& path) const
    {
        return m_log.Count(ELevel::eError, L"ORX.Lumorad.CCTImage",
                           L"the file " + std::wstring(path.begin(), path.end()) +
                               L" could not be written!\n");
    }
    int RecordErrors(const std::string& path) const
    {
        return Errors(L"the file " + std::wstring(path.begin(), path.end()) + L" could not be written!\n");
    }

    CWatchdog m_watchdog;
    Logging::CCapture m_log;
    CTemporaryFolder m_folder;
    std::atomic<int> m_living{0};
};

// --- What is written

TEST_F(LxCBackgroundRawImageWriterTest, WritesEachImageAsBmpAndAnEmptyFileForEachRecord)
{
    Write(Folder(), {{Image("a.bmp", 10), Record("a.xml")}, {Image("b.bmp", 200), Record("b.xml")}});
    EXPECT_EQ(ReadFile(m_folder / "a.bmp").substr(0, 2), "BM");
    EXPECT_TRUE(IsImage("a.bmp", 10));
    EXPECT_TRUE(IsImage("b.bmp", 200));
    for (const char* const name : {"a.xml", "b.xml"}) {
        EXPECT_TRUE(fs::exists(m_folder / name));
        EXPECT_EQ(ReadFile(m_folder / name), "");
    }
    EXPECT_TRUE(m_log.GetRecords().empty());
}

TEST_F(LxCBackgroundRawImageWriterTest, ReplacesOlderFiles)
{
    WriteFile(m_folder / "a.bmp", std::string(100000, 'x'));
    WriteFile(m_folder / "a.xml", "older");
    Write(Folder(), {{Image("a.bmp", 7), Record("a.xml")}});
    EXPECT_TRUE(IsImage("a.bmp", 7));
    EXPECT_LT(fs::file_size(m_folder / "a.bmp"), 100000U);
    EXPECT_EQ(ReadFile(m_folder / "a.xml"), "");
}

TEST_F(LxCBackgroundRawImageWriterTest, ARecordWritesItselfInTheClassicLocale)
{
    const TestSupport::CCommaDecimalLocale comma;
    Write(Folder(), {{nullptr, Record("a.xml", [](std::ostream& stream) { stream << 1234.5; })}});
    EXPECT_EQ(ReadFile(m_folder / "a.xml"), "1234.5");
}

TEST_F(LxCBackgroundRawImageWriterTest, TheFolderIsPutInFrontAsItStands)
{
    fs::create_directory(m_folder.GetPath() / "sub");
    Write(Folder() + "Set1_", {{Image("ref.bmp", 1), Record("meta.xml")}});
    EXPECT_TRUE(IsImage("Set1_ref.bmp", 1));
    EXPECT_TRUE(fs::exists(m_folder / "Set1_meta.xml"));
    Write(m_folder.GetPath().string() + "\\sub\\", {{Image("ref.bmp", 2), nullptr}});
    EXPECT_TRUE(IsImage("sub/ref.bmp", 2)) << "both separators count";
    Write("", {{Image(m_folder / "whole.bmp", 3), Record(m_folder / "whole.xml")}});
    EXPECT_TRUE(IsImage("whole.bmp", 3));
    EXPECT_TRUE(fs::exists(m_folder / "whole.xml"));
}

TEST_F(LxCBackgroundRawImageWriterTest, PairsAreWrittenInOrderAndEachImageIsDestroyedAtOnce)
{
    std::vector<std::string> seen;
    const auto look = [&](std::ostream&) {
        std::string state = std::to_string(m_living) + " left";
        for (const char* const name : {"a.bmp", "b.bmp", "c.bmp"}) {
            state += fs::exists(m_folder / name) ? std::string(" ") + name : "";
        }
        seen.push_back(state);
    };
    Write(Folder(), {{Image("a.bmp"), Record("a.xml", look)},
                     {Image("b.bmp"), Record("b.xml", look)},
                     {Image("c.bmp"), Record("c.xml", look)}});
    EXPECT_EQ(seen,
              (std::vector<std::string>{"2 left a.bmp", "1 left a.bmp b.bmp", "0 left a.bmp b.bmp c.bmp"}));
}

TEST_F(LxCBackgroundRawImageWriterTest, EitherOfAPairMayBeMissing)
{
    Write(Folder(), {{nullptr, nullptr}, {nullptr, Record("a.xml")}, {Image("b.bmp", 4), nullptr}});
    EXPECT_TRUE(fs::exists(m_folder / "a.xml"));
    EXPECT_TRUE(IsImage("b.bmp", 4));
    EXPECT_TRUE(m_log.GetRecords().empty());
}

TEST_F(LxCBackgroundRawImageWriterTest, AnEmptyBatchIsDoneAtOnce)
{
    Write(Folder(), {});
    EXPECT_TRUE(fs::is_empty(m_folder.GetPath()));
}

TEST_F(LxCBackgroundRawImageWriterTest, AnImageInTwoPairsIsWrittenAndDestroyedOnce)
{
    CCTImage* const image = Image("a.bmp", 9);
    Write(Folder(), {{image, Record("a.xml")}, {Image("b.bmp"), nullptr}, {image, Record("c.xml")}});
    EXPECT_TRUE(IsImage("a.bmp", 9));
    EXPECT_TRUE(fs::exists(m_folder / "c.xml"));
}

TEST_F(LxCBackgroundRawImageWriterTest, TheBatchIsCopiedAndItsRecordsAreReleased)
{
    const auto record = Record("a.xml");
    {
        Batch batch{{Image("a.bmp", 5), record}};
        BtEvent destroyed;
        auto* const writer = new WatchedWriter(Folder(), batch, destroyed);
        EXPECT_EQ(batch.size(), 1U);
        batch.clear();
        ASSERT_TRUE(writer->Start());
        ASSERT_TRUE(destroyed.Wait());
    }
    EXPECT_TRUE(IsImage("a.bmp", 5));
    EXPECT_EQ(record.use_count(), 1);
}

// --- What cannot be written

TEST_F(LxCBackgroundRawImageWriterTest, AFolderThatNobodyCanMakeIsLoggedAndTheRestIsWritten)
{
    WriteFile(m_folder / "file", "");
    Write(Folder(), {{Image("file/a.bmp"), Record("file/a.xml")}, {Image("b.bmp", 3), Record("b.xml")}});
    EXPECT_EQ(ImageErrors(Folder() + "file/a.bmp"), 1);
    EXPECT_EQ(RecordErrors(Folder() + "file/a.xml"), 1);
    EXPECT_TRUE(IsImage("b.bmp", 3));
    EXPECT_TRUE(fs::exists(m_folder / "b.xml"));
    EXPECT_EQ(m_log.GetRecords().size(), 2U);
}

TEST_F(LxCBackgroundRawImageWriterTest, AFolderMayVanishAndComeBack)
{
    const fs::path sub = m_folder.GetPath() / "sub";
    const std::string text = sub.string() + "/";
    fs::create_directory(sub);
    const auto vanish = [&](std::ostream&) { fs::remove_all(sub); };
    const auto comeBack = [&](std::ostream&) { fs::create_directory(sub); };
    Write("", {{Image(text + "a.bmp"), Record(text + "a.xml", vanish)},
               {Image(text + "b.bmp"), Record(text + "b.xml")},
               {nullptr, Record(Folder() + "back.xml", comeBack)},
               {Image(text + "c.bmp"), Record(text + "c.xml")}});
    EXPECT_EQ(ImageErrors(text + "b.bmp"), 1);
    EXPECT_EQ(RecordErrors(text + "b.xml"), 1);
    EXPECT_EQ(m_log.GetRecords().size(), 2U);
    EXPECT_FALSE(fs::exists(sub / "a.bmp"));
    EXPECT_TRUE(fs::exists(sub / "c.bmp"));
    EXPECT_TRUE(fs::exists(sub / "c.xml"));
}

TEST_F(LxCBackgroundRawImageWriterTest, AFullDiskIsLogged)
{
    if (!fs::exists("/dev/full")) { // takes no byte
        GTEST_SKIP() << "the system has no device that is always full";
    }
    Write("/dev/",
          {{Image("full"), Record("full", [](std::ostream& stream) { stream << "<t>1</t>"; })},
           {nullptr, Record("full", [](std::ostream& stream) { stream << std::string(100000, 'x'); })}});
    EXPECT_EQ(ImageErrors("/dev/full"), 1);
    EXPECT_EQ(RecordErrors("/dev/full"), 2);
}

TEST_F(LxCBackgroundRawImageWriterTest, NamesThatAreNoneAreLogged)
{
    Write(Folder(), {{Image(""), Record("")}, {Image("a.bmp", 1), nullptr}});
    EXPECT_EQ(ImageErrors(Folder()), 1);
    EXPECT_EQ(RecordErrors(Folder()), 1);
    EXPECT_TRUE(IsImage("a.bmp", 1));
}

TEST_F(LxCBackgroundRawImageWriterTest, HostileNamesAreText)
{
    const std::string name = "%s%n caf\xC3\xA9\xFF\n";
    Write(Folder(), {{Image(name, 1), Record(name + "x")},
                     {Image(std::string(5000, 'n')), Record(std::string(5000, 'n'))},
                     {Image(std::string("cut.bmp\0tail", 12), 2), nullptr}});
    EXPECT_TRUE(IsImage(name, 1));
    EXPECT_TRUE(fs::exists(m_folder / (name + "x")));
    EXPECT_EQ(RecordErrors(Folder() + std::string(5000, 'n')), 1) << "longer than a name can be";
    EXPECT_TRUE(IsImage("cut.bmp", 2)) << "a name ends at its first NUL";
}

TEST_F(LxCBackgroundRawImageWriterTest, PixelsThatABmpCannotHoldAreLoggedAndTheRestIsWritten)
{
    Write(Folder(), {{Image("float.bmp", 0, CCTImage::eIDT_FLOAT32), Record("float.xml")},
                     {Image("colour.bmp", 8, CCTImage::eIDT_BGRU8), nullptr}});
    EXPECT_EQ(
        m_log.Count(ELevel::eError, L"ORX.Lumorad.CCTImage",
                    L"CCTImage::SaveBmp: An image of data type 9 and 5 by 3 pixels cannot be written!\n"),
        1);
    EXPECT_FALSE(fs::exists(m_folder / "float.bmp"));
    EXPECT_TRUE(fs::exists(m_folder / "float.xml"));
    EXPECT_TRUE(IsImage("colour.bmp", 8));
}

TEST_F(LxCBackgroundRawImageWriterTest, ExceptionsOfEveryKindEndOneRecordAlone)
{
    Write(Folder(),
          {{Image("a.bmp", 1), Record("a.xml", [](std::ostream&) { throw std::runtime_error("no %s"); })},
           {Image("b.bmp", 2), Record("b.xml", [](std::ostream&) { throw BtException(L"f\u00FCnf"); })},
           {Image("c.bmp", 3), Record("c.xml", [](std::ostream&) { throw 5; })},
           {Image("d.bmp", 4), Record("d.xml", [](std::ostream& stream) { stream << "d"; })}});
    EXPECT_EQ(Errors(L"LxCBackgroundRawImageWriter::WriteRawImages: exception: no %s\n"), 1);
    EXPECT_EQ(Errors(L"LxCBackgroundRawImageWriter::WriteRawImages: exception: f\u00FCnf\n"), 1);
    EXPECT_EQ(Errors(L"LxCBackgroundRawImageWriter::WriteRawImages: unknown exception\n"), 1);
    EXPECT_EQ(m_log.GetRecords().size(), 3U);
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(IsImage(std::string(1, static_cast<char>('a' + i)) + ".bmp", i + 1));
    }
    EXPECT_EQ(ReadFile(m_folder / "d.xml"), "d");
}

// --- The thread

TEST_F(LxCBackgroundRawImageWriterTest, ThreadHasItsNameAndTheProcessorsOfTheProcess)
{
    std::string name;
    std::uint64_t processors = 0;
    const auto look = [&](std::ostream&) {
        name = platform::GetCurrentThreadName();
        processors = platform::GetThreadAffinityMask(platform::GetCurrentThreadId());
    };
    Batch batch{{nullptr, Record("a.xml", look)}};
    BtEvent destroyed;
    auto* const writer = new WatchedWriter(Folder(), batch, destroyed);
    EXPECT_EQ(writer->GetName(), "LxCBackgroundRawImageWriter");
    EXPECT_EQ(writer->GetFlags(), static_cast<unsigned int>(EFlags::eAutoDelete));
    ASSERT_TRUE(writer->Start());
    ASSERT_TRUE(destroyed.Wait());
    EXPECT_EQ(name, "LxCBackgroundRa") << "as much as the system keeps";
    EXPECT_EQ(processors, platform::GetProcessAffinityMask());
}

TEST_F(LxCBackgroundRawImageWriterTest, NothingIsWrittenWithoutAStart)
{
    Batch batch{{Image("a.bmp"), Record("a.xml")}, {Image("b.bmp"), nullptr}};
    auto writer = std::make_unique<LxCBackgroundRawImageWriter>(Folder(), batch);
    EXPECT_EQ(m_living, 2);
    writer.reset();
    EXPECT_EQ(m_living, 0) << "the images were its own all the same";
    EXPECT_TRUE(fs::is_empty(m_folder.GetPath()));
    EXPECT_TRUE(m_log.GetRecords().empty());
}

TEST_F(LxCBackgroundRawImageWriterTest, WithoutASystemThreadTheWriterStaysItsMakers)
{
    Batch batch{{Image("a.bmp"), Record("a.xml")}};
    auto* const writer = new LxCBackgroundRawImageWriter(Folder(), batch);
    {
        const TestSupport::CNoMoreThreads none;
        EXPECT_FALSE(writer->Start());
        EXPECT_FALSE(writer->StartAndWait());
    }
    EXPECT_EQ(m_living, 1);
    delete writer;
    EXPECT_TRUE(fs::is_empty(m_folder.GetPath()));
}

TEST_F(LxCBackgroundRawImageWriterTest, TheRunCanBeMadeOnTheCallersThread)
{
    Batch batch{{Image("a.bmp", 6), Record("a.xml")}};
    LxCBackgroundRawImageWriter writer(Folder(), batch);
    EXPECT_TRUE(writer.WriteRawImages());
    EXPECT_TRUE(IsImage("a.bmp", 6));
    EXPECT_TRUE(writer.WriteRawImages()) << "the batch is empty by now";
}

/// A record that holds the writer until it is released.
struct Gate
{
    BtEvent reached;
    BtEvent release;

    std::function<void(std::ostream&)> Hold()
    {
        return [this](std::ostream&) {
            reached.Set();
            release.Wait();
        };
    }
};

TEST_F(LxCBackgroundRawImageWriterTest, TerminateEndsItBetweenTwoPairs)
{
    Gate gate;
    BtEvent destroyed;
    Batch batch{{Image("a.bmp"), Record("a.xml", gate.Hold())}, {Image("b.bmp"), Record("b.xml")}};
    auto* const writer = new WatchedWriter(Folder(), batch, destroyed);
    ASSERT_TRUE(writer->Start());
    ASSERT_TRUE(gate.reached.Wait());
    EXPECT_TRUE(writer->Terminate());
    gate.release.Set();
    EXPECT_TRUE(writer->WaitUntilTerminate());
    EXPECT_TRUE(fs::exists(m_folder / "a.bmp"));
    EXPECT_FALSE(fs::exists(m_folder / "b.bmp"));
    EXPECT_FALSE(destroyed.IsSet()) << "it is its maker's again";
    EXPECT_EQ(m_living, 1);
    delete writer;
}

TEST_F(LxCBackgroundRawImageWriterTest, SuspendHoldsItBetweenTwoPairs)
{
    Gate gate;
    BtEvent destroyed;
    Batch batch{{Image("a.bmp"), Record("a.xml", gate.Hold())}, {Image("b.bmp"), nullptr}};
    auto* const writer = new WatchedWriter(Folder(), batch, destroyed);
    ASSERT_TRUE(writer->Start());
    ASSERT_TRUE(gate.reached.Wait());
    EXPECT_TRUE(writer->Suspend());
    gate.release.Set();
    EXPECT_FALSE(destroyed.Wait(10));
    EXPECT_FALSE(fs::exists(m_folder / "b.bmp"));
    EXPECT_TRUE(writer->Resume());
    EXPECT_TRUE(destroyed.Wait());
    EXPECT_TRUE(fs::exists(m_folder / "b.bmp"));
}

TEST_F(LxCBackgroundRawImageWriterTest, ARunningOneThatIsDeletedFinishesItsPairFirst)
{
    Gate gate;
    Batch batch{{Image("a.bmp"), Record("a.xml", gate.Hold())}, {Image("b.bmp"), Record("b.xml")}};
    auto* const writer = new LxCBackgroundRawImageWriter(Folder(), batch);
    ASSERT_TRUE(writer->Start());
    ASSERT_TRUE(gate.reached.Wait());
    std::thread releaser([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        gate.release.Set();
    });
    delete writer;
    releaser.join();
    EXPECT_TRUE(fs::exists(m_folder / "a.xml"));
    EXPECT_FALSE(fs::exists(m_folder / "b.bmp"));
    EXPECT_EQ(
        m_log.Count(ELevel::eError, L"ORX.Lumorad.BtThread",
                    L"thread LxCBackgroundRawImageWriter is destroyed while it runs; waiting for its end"),
        1);
}

TEST_F(LxCBackgroundRawImageWriterTest, ACallersEventTellsTheEnd)
{
    BtEvent ended;
    BtEvent destroyed;
    Batch batch{{Image("a.bmp"), nullptr}};
    auto* const writer = new WatchedWriter(Folder(), batch, destroyed);
    writer->SetTerminateEvent(&ended);
    ASSERT_TRUE(writer->StartAndWait());
    EXPECT_TRUE(ended.Wait());
    EXPECT_TRUE(fs::exists(m_folder / "a.bmp"));
    EXPECT_TRUE(destroyed.Wait());
}

TEST_F(LxCBackgroundRawImageWriterTest, ManyWritersWorkAtOnce)
{
    constexpr int c_iWriters = 12;
    constexpr int c_iImages = 8;
    std::vector<std::unique_ptr<BtEvent>> destroyed;
    const auto shared = Record("shared.xml");
    for (int i = 0; i < c_iWriters; ++i) {
        Batch batch;
        for (int j = 0; j < c_iImages; ++j) {
            const std::string name = std::to_string(i) + "_" + std::to_string(j);
            batch.emplace_back(Image(name + ".bmp", i * c_iImages + j), Record(name + ".xml"));
        }
        batch.emplace_back(nullptr, shared);
        destroyed.push_back(std::make_unique<BtEvent>());
        auto* const writer = new WatchedWriter(Folder(), batch, *destroyed.back());
        ASSERT_TRUE(i % 2 == 0 ? writer->Start() : writer->StartAndWait());
    }
    for (const auto& event : destroyed) {
        ASSERT_TRUE(event->Wait());
    }
    EXPECT_EQ(shared.use_count(), 1);
    for (int i = 0; i < c_iWriters; ++i) {
        for (int j = 0; j < c_iImages; ++j) {
            EXPECT_TRUE(IsImage(std::to_string(i) + "_" + std::to_string(j) + ".bmp", i * c_iImages + j));
        }
    }
    EXPECT_TRUE(m_log.GetRecords().empty());
}

} // namespace
} // namespace LxCV
