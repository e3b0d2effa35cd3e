#include "lxcsimframegrabber.h"

#include "lxcframegrabberreqs.h"
#include "lxclxcvlibsettings.h"
#include "orx/logging/logger.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <limits>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using Grabber = LxCSimFrameGrabber;
using Image = CCTImage;
using Logging::ELevel;
using ::TestSupport::CTemporaryFolder;
using ::TestSupport::ReadFile;
using ::TestSupport::WriteFile;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCSimFrameGrabber";

static_assert(!std::is_copy_constructible_v<Grabber> && !std::is_copy_assignable_v<Grabber>);

/// Opens what is protected.
class CProbe : public Grabber
{
public:
    using Grabber::GetCorrespondingMetaDataFileName;
    using Grabber::LoadImageW;
};

class LxCSimFrameGrabberOnFiles : public testing::Test
{
protected:
    /// Writes a colour image of one value in all bytes and returns its path.
    std::string Write(const std::string& name, int value = 7, Image::EImageDataType type = Image::eIDT_BGRU8)
    {
        Image image(4, 3, type, true, nullptr);
        std::fill_n(static_cast<unsigned char*>(image.GetBuffer()), image.GetSizeInBytes(),
                    static_cast<unsigned char>(value));
        const std::string path = m_Folder / name;
        EXPECT_EQ(path.ends_with(".bmp") ? image.SaveBmp(path) : image.SavePNG(path), 0);
        return path;
    }

    std::vector<std::string> WriteAll(const std::vector<std::string>& names)
    {
        std::vector<std::string> paths;
        for (const std::string& name : names) {
            paths.push_back(Write(name));
        }
        return paths;
    }

    /// File name of the next image that the grabber has for `type`; "-" where it has none.
    std::string Next(Grabber::ELedType type = Grabber::eLT_Any)
    {
        Image* const image = m_Grabber.AcquireImageRaw(type);
        if (image == nullptr) {
            return "-";
        }
        const std::string name = image->GetDescription();
        EXPECT_EQ(image->GetPathname(), m_Folder / name);
        m_Grabber.LxAFrameGrabber::ReEnqueueRawBuffers(image);
        return name;
    }

    std::string NextOfEachType(const std::string& name)
    {
        std::string result;
        const std::vector<std::string> files{Write(name)};
        EXPECT_EQ(m_Grabber.Init(files), 0);
        for (const int type : {0, 1, 2, 3}) {
            result += Next(static_cast<Grabber::ELedType>(type)) == name ? '1' : '0';
        }
        return result;
    }

    CTemporaryFolder m_Folder;
    CProbe m_Grabber;
};

TEST_F(LxCSimFrameGrabberOnFiles, IsASimulatedSourceWithoutMirroring)
{
    EXPECT_EQ(m_Grabber.GetDriverName(), "CSimFrameGrabber");
    EXPECT_TRUE(m_Grabber.IsSimulated());
    EXPECT_TRUE(Grabber::IsThereAConnectedCamera());
    EXPECT_FALSE(m_Grabber.GetReqs()->GetCorrectChannelOverlap());
    EXPECT_EQ(m_Grabber.GetReqs()->GetMirrorRChannel(), 0);
    EXPECT_EQ(m_Grabber.GetNrOfImgs(), 0);
    m_Grabber.GetReqs()->SetSerialNumber("4711");
    EXPECT_EQ(m_Grabber.GetSerialNumber(), "4711");
    EXPECT_EQ(m_Grabber.ChangePresetShutterAsynchron(Grabber::ePS_Plaster), 0);
}

TEST_F(LxCSimFrameGrabberOnFiles, DeliversFilesInTheOrderOfTheirNames)
{
    EXPECT_EQ(m_Grabber.Init(WriteAll({"b_Ref.png", "a_Ref.png", "b_Pat.bmp", "a_Pat.png"})), 0);
    EXPECT_EQ(m_Grabber.GetNrOfImgs(), 4);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(Next(), "a_Pat.png");
        EXPECT_EQ(Next(), "a_Ref.png");
        EXPECT_EQ(Next(), "b_Pat.bmp");
        EXPECT_EQ(Next(), "b_Ref.png");
    }
}

TEST_F(LxCSimFrameGrabberOnFiles, ARefusedImageIsPassedOver)
{
    m_Grabber.Init(WriteAll({"a_Ref.png", "a_Pat.png"}));
    EXPECT_EQ(Next(Grabber::eLT_Ref), "-");
    EXPECT_EQ(Next(Grabber::eLT_Ref), "a_Ref.png");
    EXPECT_EQ(Next(Grabber::eLT_Pat), "a_Pat.png");
    EXPECT_EQ(Next(Grabber::eLT_Pat), "-");
}

TEST_F(LxCSimFrameGrabberOnFiles, NamesTellTheKindOfAnImage)
{
    // For pattern, reference, any, another.
    EXPECT_EQ(NextOfEachType("x_Pat.png"), "1011");
    EXPECT_EQ(NextOfEachType("pattern.png"), "1011");
    EXPECT_EQ(NextOfEachType("x_Ref.png"), "0111");
    EXPECT_EQ(NextOfEachType("reference.png"), "0111");
    EXPECT_EQ(NextOfEachType("RefPat.png"), "0010");
    EXPECT_EQ(NextOfEachType("x.png"), "0010");
    EXPECT_EQ(NextOfEachType("x_REF.png"), "0010");
}

TEST_F(LxCSimFrameGrabberOnFiles, FolderNamesTellNothing)
{
    std::filesystem::create_directory(m_Folder / "Ref_v3");
    const std::vector<std::string> files{Write("Ref_v3/x_Pat.png")};
    EXPECT_EQ(m_Grabber.Init(files), 0);
    Image* const image = m_Grabber.AcquireImageRaw(Grabber::eLT_Pat);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->GetDescription(), "x_Pat.png");
    EXPECT_FALSE(m_Grabber.GetReqs()->GetCorrectChannelOverlap());
}

TEST_F(LxCSimFrameGrabberOnFiles, TheTenthImageHasNoBuffer)
{
    m_Grabber.Init(WriteAll({"x.png"}));
    std::vector<Image*> images;
    for (int i = 0; i < Grabber::sc_iQueueSize; ++i) {
        images.push_back(m_Grabber.AcquireImageRaw(Grabber::eLT_Any));
        ASSERT_NE(images.back(), nullptr);
    }
    std::ranges::sort(images);
    EXPECT_EQ(std::ranges::adjacent_find(images), images.end());
    try {
        m_Grabber.AcquireImageRaw(Grabber::eLT_Any);
        ADD_FAILURE();
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "no buffers available");
    }
    m_Grabber.ReEnqueueRawBuffers(images);
    EXPECT_TRUE(images.empty());
    EXPECT_EQ(Next(), "x.png");
}

TEST_F(LxCSimFrameGrabberOnFiles, ImagesGoToTheEndOfTheQueue)
{
    m_Grabber.Init(WriteAll({"x_Ref.png"}));
    Image* const first = m_Grabber.AcquireImageRaw(Grabber::eLT_Any);
    m_Grabber.LxAFrameGrabber::ReEnqueueRawBuffers(first);
    for (int i = 1; i < Grabber::sc_iQueueSize; ++i) {
        EXPECT_NE(m_Grabber.AcquireImageRaw(Grabber::eLT_Any), first);
    }
    EXPECT_EQ(m_Grabber.AcquireImageRaw(Grabber::eLT_Pat), nullptr); // the refused one goes back too
    EXPECT_EQ(m_Grabber.AcquireImageRaw(Grabber::eLT_Any), first);
}

TEST_F(LxCSimFrameGrabberOnFiles, NothingIsDeliveredBeforeInitOrAfterRelease)
{
    EXPECT_THROW(m_Grabber.AcquireImageRaw(Grabber::eLT_Any), std::exception);
    m_Grabber.Init(WriteAll({"x.png"}));
    EXPECT_EQ(m_Grabber.Release(), 0);
    EXPECT_EQ(m_Grabber.Release(), 0);
    EXPECT_THROW(m_Grabber.AcquireImageRaw(Grabber::eLT_Any), std::exception);
    Image image;
    EXPECT_FALSE(m_Grabber.AcquireSingleImage(Grabber::eLT_Any, image));
}

TEST_F(LxCSimFrameGrabberOnFiles, AnImageOutlivesReleaseInItsHoldersHands)
{
    m_Grabber.Init(WriteAll({"x.png"}));
    Image* image = m_Grabber.AcquireImageRaw(Grabber::eLT_Any);
    ASSERT_NE(image, nullptr);
    m_Grabber.Release();
    EXPECT_EQ(image->GetWidth(), 4);
    EXPECT_EQ(image->GetDescription(), "x.png");
    m_Grabber.Init({m_Folder / "x.png"});
    std::vector<Image*> images{image};
    m_Grabber.ReEnqueueRawBuffers(images);
    for (int i = 0; i < Grabber::sc_iQueueSize; ++i) {
        EXPECT_NE(m_Grabber.AcquireImageRaw(Grabber::eLT_Any), image);
    }
    EXPECT_EQ(m_Grabber.AcquireImageRaw(Grabber::eLT_Any), image);
}

TEST_F(LxCSimFrameGrabberOnFiles, OnlyLentImagesAreTakenBackAndOnlyOnce)
{
    m_Grabber.Init(WriteAll({"x.png"}));
    Image* const lent = m_Grabber.AcquireImageRaw(Grabber::eLT_Any);
    Image own;
    std::vector<Image*> images{nullptr, &own, lent, lent};
    const Logging::CCapture log;
    m_Grabber.ReEnqueueRawBuffers(images);
    EXPECT_TRUE(images.empty());
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel,
                        L"CSimFramegrabber: an image that is not lent cannot be given back!\n"),
              3);
    for (int i = 0; i < Grabber::sc_iQueueSize; ++i) {
        EXPECT_NE(m_Grabber.AcquireImageRaw(Grabber::eLT_Any), &own);
    }
    EXPECT_THROW(m_Grabber.AcquireImageRaw(Grabber::eLT_Any), std::exception);
}

TEST_F(LxCSimFrameGrabberOnFiles, InitWantsOneImageThatLoads)
{
    const Logging::CCapture log;
    EXPECT_EQ(m_Grabber.Init({}), 3);
    EXPECT_EQ(m_Grabber.Init({m_Folder / "a.txt", "png"}), 3);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"CSimFramegrabber: no valid images found!\n"), 2);
    const std::string broken = m_Folder / "a.png";
    WriteFile(broken, "no image");
    EXPECT_EQ(m_Grabber.Init({Write("b.png"), broken}), 4);
    const std::wstring wide(broken.begin(), broken.end());
    EXPECT_EQ(
        log.Count(ELevel::eError, c_sChannel, L"CSimFramegrabber: failed to load image " + wide + L"!\n"), 1);
    EXPECT_THROW(m_Grabber.AcquireImageRaw(Grabber::eLT_Any), std::exception);
}

TEST_F(LxCSimFrameGrabberOnFiles, InitTellsTheFirstFileAndTheCount)
{
    const std::vector<std::string> files = WriteAll({"b.png", "a.png"});
    const std::wstring first(files[1].begin(), files[1].end());
    const Logging::CCapture log;
    EXPECT_EQ(m_Grabber.Init(files), 0);
    EXPECT_EQ(
        log.Count(ELevel::eDebug, c_sChannel, L"CSimFramegrabber: Path is " + first + L", found 2 images\n"),
        1);
}

TEST_F(LxCSimFrameGrabberOnFiles, InitBeginsAnewWhateverItsResult)
{
    m_Grabber.Init(WriteAll({"a.png", "b.png"}));
    EXPECT_EQ(Next(), "a.png");
    EXPECT_EQ(m_Grabber.Init({m_Folder / "a.png", m_Folder / "b.png"}), 0);
    EXPECT_EQ(Next(), "a.png");
    EXPECT_EQ(m_Grabber.Init({}), 3);
    EXPECT_EQ(m_Grabber.GetNrOfImgs(), 0);
    EXPECT_THROW(m_Grabber.AcquireImageRaw(Grabber::eLT_Any), std::exception);
}

TEST_F(LxCSimFrameGrabberOnFiles, InitFailsWhereRawImagesCannotBeMade)
{
    m_Grabber.GetReqs()->setWidthRaw(2'000'000'000);
    m_Grabber.GetReqs()->setHeightRaw(2'000'000'000);
    EXPECT_EQ(m_Grabber.Init(WriteAll({"a.png"})), Grabber::eRC_CouldNotBeInitialized);
    EXPECT_THROW(m_Grabber.AcquireImageRaw(Grabber::eLT_Any), std::exception);
}

TEST_F(LxCSimFrameGrabberOnFiles, FilesOfAnotherTypeAreSkipped)
{
    Write("a.png", 7, Image::eIDT_UINT8);
    m_Grabber.Init({m_Folder / "a.png", Write("b.png"), Write("c.png")});
    EXPECT_EQ(Next(), "b.png");
    EXPECT_EQ(Next(), "c.png");
    EXPECT_EQ(Next(), "b.png");
}

TEST_F(LxCSimFrameGrabberOnFiles, NoFileOfTheRawTypeIsAFailureAfterOneRound)
{
    Write("a.png", 7, Image::eIDT_UINT8);
    Write("b.png", 7, Image::eIDT_UINT8);
    m_Grabber.Init({m_Folder / "a.png", m_Folder / "b.png"});
    EXPECT_EQ(Next(), "-");
    Image image;
    EXPECT_FALSE(m_Grabber.LoadImageW(&image));
    EXPECT_FALSE(m_Grabber.LoadImageW(nullptr));
}

TEST_F(LxCSimFrameGrabberOnFiles, AFileThatVanishedIsNoImage)
{
    m_Grabber.Init(WriteAll({"a.png", "b.png"}));
    std::filesystem::remove(m_Folder / "b.png");
    EXPECT_EQ(Next(), "a.png");
    for (int i = 0; i < 2 * Grabber::sc_iQueueSize; ++i) { // the buffer goes back
        EXPECT_EQ(Next(), i % 2 == 0 ? "-" : "a.png");
    }
}

TEST_F(LxCSimFrameGrabberOnFiles, NamesTellTheGenerationOfTheCamera)
{
    const auto settings = [this] {
        const auto reqs = m_Grabber.GetReqs();
        return std::vector<int>{static_cast<int>(reqs->GetCorrectChannelOverlap()), reqs->GetMirrorRChannel(),
                                reqs->GetMirrorGChannel(), reqs->GetMirrorBChannel()};
    };
    m_Grabber.Init(WriteAll({"a_Ref.png", "b_v3_Ref.png", "c_Ref.png", "d_v2_v3_Ref.png"}));
    Next();
    EXPECT_EQ(settings(), (std::vector{0, 0, 0, 0}));
    Next();
    EXPECT_EQ(settings(), (std::vector{1, 1, 2, 2}));
    Next();
    EXPECT_EQ(settings(), (std::vector{1, 1, 2, 2}));
    Next(Grabber::eLT_Pat); // a refused image is an image
    EXPECT_EQ(settings(), (std::vector{1, 0, 0, 0}));
}

TEST_F(LxCSimFrameGrabberOnFiles, RewindGoesBackWithinTheList)
{
    m_Grabber.Rewind(1); // without images
    m_Grabber.Init(WriteAll({"1.png", "2.png", "3.png", "4.png", "5.png"}));
    EXPECT_EQ(Next(), "1.png");
    Next();
    EXPECT_EQ(Next(), "3.png");
    m_Grabber.Rewind(1);
    EXPECT_EQ(Next(), "3.png");
    m_Grabber.Rewind(4); // back over the begin: from 3 by 2, 1 and 5 to 4, which is read next but one
    EXPECT_EQ(Next(), "5.png");
    m_Grabber.Rewind(10);
    EXPECT_EQ(Next(), "1.png");
    m_Grabber.Rewind(-1);
    EXPECT_EQ(Next(), "3.png");
    m_Grabber.Rewind(std::numeric_limits<int>::min()); // -2147483648 is 3 below a multiple of 5
    EXPECT_EQ(Next(), "2.png");
}

TEST_F(LxCSimFrameGrabberOnFiles, TheListChangesWhileImagesFlow)
{
    m_Grabber.Init(WriteAll({"1.png", "2.png", "3.png", "4.png", "5.png"}));
    EXPECT_EQ(Next(), "1.png");
    EXPECT_EQ(Next(), "2.png");
    EXPECT_EQ(Next(), "3.png");
    std::vector<std::string> two{m_Folder / "4.png", m_Folder / "5.png"};
    m_Grabber.ChangeFilenameAsynchron(two);
    EXPECT_EQ(two.size(), 2U);
    EXPECT_EQ(m_Grabber.GetNrOfImgs(), 2);
    EXPECT_EQ(Next(), "5.png"); // index 3 of 2
    std::string one = m_Folder / "1.png";
    m_Grabber.ChangeFilenameAsynchron(one);
    EXPECT_EQ(m_Grabber.GetNrOfImgs(), 1);
    EXPECT_EQ(Next(), "1.png");
    std::vector<std::string> none;
    m_Grabber.ChangeFilenameAsynchron(none);
    EXPECT_EQ(Next(), "-");
    m_Grabber.Rewind(1);
}

TEST_F(LxCSimFrameGrabberOnFiles, OneThreadChangesTheListWhileAnotherAcquires)
{
    m_Grabber.Init(WriteAll({"1.png", "2.png", "3.png"}));
    std::atomic<bool> isOver = false;
    std::thread host([&] {
        std::string one = m_Folder / "1.png";
        std::vector<std::string> three{one, m_Folder / "2.png", m_Folder / "3.png"};
        while (!isOver) {
            m_Grabber.ChangeFilenameAsynchron(one);
            m_Grabber.Rewind(1);
            m_Grabber.ChangeFilenameAsynchron(three);
            EXPECT_GT(m_Grabber.GetNrOfImgs(), 0);
        }
    });
    for (int i = 0; i < 200; ++i) {
        EXPECT_NE(Next(), "-");
    }
    isOver = true;
    host.join();
}

TEST_F(LxCSimFrameGrabberOnFiles, OneThreadConvertsWhileAnotherAcquiresFromTheSameCamera)
{
    m_Grabber.Init(WriteAll({"1_v3_Ref.png", "2_v3_Ref.png"}));
    Image* const raw = m_Grabber.AcquireImageRaw(Grabber::eLT_Any);
    ASSERT_NE(raw, nullptr);
    const auto convert = [this, raw] {
        Image converted(4, 3, Image::eIDT_FLOAT32_3, 0.0F);
        m_Grabber.GetReqs()->ConvertImage(raw, &converted);
        LxCFloat3 pixel;
        converted.GetPixelFast(1, 1, &pixel);
        return pixel.get(0);
    };
    std::thread worker([&] {
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(convert(), 7.0F);
        }
    });
    for (int i = 0; i < 100; ++i) {
        EXPECT_NE(Next(), "-");
    }
    worker.join();
}

TEST_F(LxCSimFrameGrabberOnFiles, SingleImagesAreCopiesOfTheRawOnes)
{
    m_Grabber.GetReqs()->setWidthRaw(4);
    m_Grabber.GetReqs()->setHeightRaw(3);
    m_Grabber.Init({Write("a_Pat.png", 40), Write("a_Ref.png", 50)});
    Image image;
    ASSERT_TRUE(m_Grabber.AcquireSingleImage(Grabber::eLT_Pat, image));
    EXPECT_EQ(image.GetWidth(), 4);
    EXPECT_EQ(image.GetBytePixelFast(0, 0), 40);
    ASSERT_TRUE(m_Grabber.AcquireSingleImage(Grabber::eLT_Ref, image));
    EXPECT_EQ(image.GetBytePixelFast(0, 0), 50);
    std::vector<Image*> images;
    EXPECT_FALSE(m_Grabber.AcquireMultiImage(Grabber::eLT_Pat, images, 3)); // every other one
    EXPECT_EQ(images.size(), 2U);
    for (Image* const each : images) {
        delete each;
    }
}

TEST_F(LxCSimFrameGrabberOnFiles, StartAsksForFilesOnlyWhereTheSettingSaysSo)
{
    int asked = 0;
    m_Grabber.SetFileSelector([&](const Grabber::SFileDialog&, std::vector<std::string>&) {
        ++asked;
        return true;
    });
    m_Grabber.Init(WriteAll({"a.png"}));
    EXPECT_EQ(m_Grabber.Start(), 0);
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(Next(), "a.png");
}

/// Switches the dialog on for a test.
class LxCSimFrameGrabberWithDialog : public LxCSimFrameGrabberOnFiles
{
protected:
    LxCSimFrameGrabberWithDialog() { LxCLxCVLibSettings::SetShowFileDialogAtEverySimFGStart(true); }
    ~LxCSimFrameGrabberWithDialog() override
    {
        LxCLxCVLibSettings::SetShowFileDialogAtEverySimFGStart(false);
        unsetenv("LXCV_SIM_FILES");
    }
};

TEST_F(LxCSimFrameGrabberWithDialog, TheHostsSelectionIsSortedAndTaken)
{
    const std::vector<std::string> files = WriteAll({"b.png", "a.png"});
    m_Grabber.SetFileSelector([&](const Grabber::SFileDialog& dialog, std::vector<std::string>& selected) {
        EXPECT_EQ(dialog.title, "Select files for the framegrabber (CSimFrameGrabber)");
        EXPECT_EQ(dialog.filter, "All files|*.*|Ref and Pat images|*_Pat*;*_Ref*|Only Ref images|*_Ref*||");
        selected = files;
        return true;
    });
    EXPECT_EQ(m_Grabber.Start(), 0);
    EXPECT_EQ(Next(), "a.png");
    m_Grabber.SetFileSelector([&](const Grabber::SFileDialog&, std::vector<std::string>& selected) {
        selected.clear();
        return true;
    });
    EXPECT_EQ(m_Grabber.Start(), 3);
    EXPECT_EQ(m_Grabber.GetNrOfImgs(), 0);
}

TEST_F(LxCSimFrameGrabberWithDialog, CancellingLeavesTheListAsItWas)
{
    m_Grabber.Init(WriteAll({"a.png"}));
    m_Grabber.SetFileSelector([](const Grabber::SFileDialog&, std::vector<std::string>& selected) {
        selected.assign(1, "b.png");
        return false;
    });
    EXPECT_EQ(m_Grabber.Start(), 1);
    EXPECT_EQ(Next(), "a.png");
    m_Grabber.SetFileSelector({});
    EXPECT_EQ(m_Grabber.Start(), 1); // nor does the environment name any
    EXPECT_EQ(Next(), "a.png");
}

TEST_F(LxCSimFrameGrabberWithDialog, ImagesFlowOnceTheSelectionIsTaken)
{
    std::vector<std::string> files = WriteAll({"a.png"});
    bool confirmed = true;
    m_Grabber.SetFileSelector([&](const Grabber::SFileDialog&, std::vector<std::string>& selected) {
        selected = files;
        return confirmed;
    });
    EXPECT_EQ(m_Grabber.Start(), 0);
    EXPECT_TRUE(m_Grabber.WaitForActive(0));
    confirmed = false;
    EXPECT_EQ(m_Grabber.Start(), 1);
    EXPECT_TRUE(m_Grabber.WaitForActive(0)) << "cancelling changes nothing";
    confirmed = true;
    files.clear();
    EXPECT_EQ(m_Grabber.Start(), 3);
    EXPECT_FALSE(m_Grabber.WaitForActive(0));
    EXPECT_TRUE(m_Grabber.WaitForPause(0));
}

TEST_F(LxCSimFrameGrabberWithDialog, WithoutASelectorTheEnvironmentNamesTheFiles)
{
    const std::vector<std::string> files = WriteAll({"b.png", "a.png"});
    setenv("LXCV_SIM_FILES", (":" + files[0] + "::" + files[1]).c_str(), 1);
    EXPECT_EQ(m_Grabber.Start(), 0);
    EXPECT_EQ(m_Grabber.GetNrOfImgs(), 2);
    EXPECT_EQ(Next(), "a.png");
}

TEST_F(LxCSimFrameGrabberOnFiles, MetaDataLieBesideTheImage)
{
    std::string metaData = "before";
    EXPECT_TRUE(m_Grabber.GetCorrespondingMetaDataFileName("C:\\x\\Set1_REF.png", metaData));
    EXPECT_EQ(metaData, "C:\\x\\Set1_metaData.xml");
    EXPECT_TRUE(m_Grabber.GetCorrespondingMetaDataFileName("/x/Set1_Pat_2.png", metaData));
    EXPECT_EQ(metaData, "/x/Set1_metaData.xml");
    EXPECT_TRUE(m_Grabber.GetCorrespondingMetaDataFileName("a_pat_ref.png", metaData));
    EXPECT_EQ(metaData, "a_pat_metaData.xml"); // the reference comes first
    EXPECT_FALSE(m_Grabber.GetCorrespondingMetaDataFileName("aref.png", metaData));
    EXPECT_EQ(metaData, "a_pat_metaData.xml");
}

/// The numbers in the second column of a height profile, by those in the first.
std::vector<int> Percents(const std::string& path)
{
    std::istringstream text(ReadFile(path));
    std::vector<int> percents;
    int bin = 0;
    int percent = 0;
    int height = -1;
    while (text >> bin >> percent >> height) {
        EXPECT_EQ(bin, static_cast<int>(percents.size()));
        EXPECT_EQ(height, 0);
        percents.push_back(percent);
    }
    return percents;
}

/// Writes a colour image with single pixels of other colours.
void WriteColors(const std::string& path, const std::vector<std::array<int, 3>>& bgr)
{
    Image image(static_cast<int>(bgr.size()), 1, Image::eIDT_BGRU8, 0.0F);
    auto* byte = static_cast<unsigned char*>(image.GetBuffer());
    for (const auto& color : bgr) {
        byte = std::ranges::copy(color, byte).out;
    }
    ASSERT_EQ(image.SavePNG(path), 0);
}

TEST_F(LxCSimFrameGrabberOnFiles, HuesOfAllImagesAreCountedAndParted)
{
    m_Grabber.GetReqs()->setWidth(4);
    m_Grabber.GetReqs()->setHeight(1);
    // Hues: red 0, yellow 60, grey 0, green 120; then red, red, yellow and blue 240, which is not counted.
    WriteColors(m_Folder / "a.png", {{0, 0, 255}, {0, 255, 255}, {9, 9, 9}, {0, 255, 0}});
    WriteColors(m_Folder / "b.png", {{0, 0, 100}, {0, 0, 1}, {0, 10, 10}, {255, 0, 0}});
    m_Grabber.Init({m_Folder / "a.png", m_Folder / "b.png"});
    m_Grabber.ExportColorData(false);
    const std::vector<int> percents = Percents(m_Folder / "All_hue.xyz");
    ASSERT_EQ(percents.size(), 360U);
    for (int bin = 0; bin < 360; ++bin) {
        // 4 pixels of hue 0, 2 of 60, 1 of 120.
        const int expected = bin == 180 ? 100 : bin == 240 ? 50 : bin == 300 ? 25 : 0;
        EXPECT_EQ(percents[static_cast<std::size_t>(bin)], expected) << bin;
    }
    // Classes {180} and {240, 300}: 4 * 3 * (180 - 260)^2 = 76800; {180, 240} and {300}: 6 * 1 * (200 - 300)^2 =
    // 60000. The first threshold of the best ones is 180.
    std::istringstream otsu(ReadFile(m_Folder / "Otsu.xyz"));
    for (int y = 0; y < 100; ++y) {
        for (const int x : {170, 180, 190}) {
            int read[3] = {-1, -1, -1};
            otsu >> read[0] >> read[1] >> read[2];
            EXPECT_EQ(read[0], x);
            EXPECT_EQ(read[1], y);
            EXPECT_EQ(read[2], 0);
        }
    }
    std::string rest;
    EXPECT_FALSE(otsu >> rest);
}

TEST_F(LxCSimFrameGrabberOnFiles, LabelsChooseTheirPixels)
{
    m_Grabber.GetReqs()->setWidth(4);
    m_Grabber.GetReqs()->setHeight(1);
    WriteColors(m_Folder / "a.b.png", {{0, 0, 255}, {0, 255, 255}, {9, 9, 9}, {0, 255, 0}});
    m_Grabber.Init({m_Folder / "a.b.png"});
    m_Grabber.ExportColorData(true); // no folder of labels
    EXPECT_FALSE(std::filesystem::exists(m_Folder / "All_hue.xyz"));

    std::filesystem::create_directory(m_Folder / "labels");
    m_Grabber.ExportColorData(true); // no label image
    EXPECT_FALSE(std::filesystem::exists(m_Folder / "All_hue.xyz"));

    const std::string labels = m_Folder / "labels/a.b.png";
    WriteColors(labels, {{255, 255, 255}, {255, 255, 255}, {0, 255, 0}, {1, 0, 255}});
    m_Grabber.ExportColorData(true); // no tissue: 0xFF0001 is none
    EXPECT_FALSE(std::filesystem::exists(m_Folder / "All_hue.xyz"));

    WriteColors(labels, {{255, 255, 255}, {0, 0, 255}, {0, 255, 0}, {0, 0, 255}});
    m_Grabber.ExportColorData(true);
    const std::vector<int> percents = Percents(m_Folder / "All_hue.xyz");
    ASSERT_EQ(percents.size(), 360U);
    EXPECT_EQ(std::ranges::count(percents, 0), 357);
    EXPECT_EQ(percents[180], 100);
    EXPECT_EQ(percents[240], 100);
    EXPECT_EQ(percents[300], 100);
}

TEST_F(LxCSimFrameGrabberOnFiles, LabelsOfAnotherSizeCountNothing)
{
    m_Grabber.GetReqs()->setWidth(2);
    m_Grabber.GetReqs()->setHeight(1);
    WriteColors(m_Folder / "a.png", {{0, 0, 255}, {0, 255, 255}});
    std::filesystem::create_directory(m_Folder / "labels");
    WriteColors(m_Folder / "labels/a.png", {{255, 255, 255}, {0, 0, 255}, {0, 0, 255}});
    m_Grabber.Init({m_Folder / "a.png"});
    m_Grabber.ExportColorData(true);
    EXPECT_FALSE(std::filesystem::exists(m_Folder / "All_hue.xyz"));
}

TEST_F(LxCSimFrameGrabberOnFiles, LabelsBelongToTheImageOfTheirNameWhereverTheReplayIs)
{
    m_Grabber.GetReqs()->setWidth(2);
    m_Grabber.GetReqs()->setHeight(1);
    WriteColors(m_Folder / "a.png", {{0, 0, 255}, {0, 0, 255}});   // hue 0, but without labels
    WriteColors(m_Folder / "b.png", {{0, 255, 255}, {0, 255, 0}}); // hues 60 and 120
    std::filesystem::create_directory(m_Folder / "labels");
    WriteColors(m_Folder / "labels/b.png", {{255, 255, 255}, {0, 0, 255}});
    m_Grabber.Init({m_Folder / "a.png", m_Folder / "b.png"});
    m_Grabber.ExportColorData(true);
    const std::vector<int> percents = Percents(m_Folder / "All_hue.xyz");
    ASSERT_EQ(percents.size(), 360U);
    EXPECT_EQ(percents[180], 0);
    EXPECT_EQ(percents[240], 100);
    EXPECT_EQ(percents[300], 100);
    EXPECT_EQ(Next(), "b.png"); // one image was counted
}

TEST_F(LxCSimFrameGrabberOnFiles, HuesOfFilesOfAnotherTypeAreNotCounted)
{
    m_Grabber.GetReqs()->setWidth(2);
    m_Grabber.GetReqs()->setHeight(1);
    Image(2, 1, Image::eIDT_UINT8, 0.0F).SavePNG(m_Folder / "a.png");
    WriteColors(m_Folder / "b.png", {{0, 255, 255}, {0, 255, 255}});
    WriteColors(m_Folder / "c.png", {{0, 255, 0}, {0, 255, 0}});
    m_Grabber.Init({m_Folder / "a.png", m_Folder / "b.png", m_Folder / "c.png"});
    m_Grabber.ExportColorData(false);
    const std::vector<int> percents = Percents(m_Folder / "All_hue.xyz");
    ASSERT_EQ(percents.size(), 360U);
    EXPECT_EQ(percents[180], 0);
    EXPECT_EQ(percents[240], 100);
    EXPECT_EQ(percents[300], 100);
}

TEST_F(LxCSimFrameGrabberOnFiles, ColourDataOfNoImagesAreNotWritten)
{
    m_Grabber.ExportColorData(false);
    WriteFile(m_Folder / "a.png", "no image");
    m_Grabber.Init({m_Folder / "a.png"});
    m_Grabber.ExportColorData(false);
    EXPECT_FALSE(std::filesystem::exists(m_Folder / "All_hue.xyz"));
}

} // namespace
} // namespace LxCV
