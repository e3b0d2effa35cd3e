#include "lxccclalgodata.h"

#include "lxccallstack.h"
#include "lxcframegrabberreqs.h"
#include "lxcimagedata.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/lxcvlib/imagetestsupport.h"
#include "tests/lxcvlib/refusingcontext.h"
#include "tests/support/computecontext.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::CRefusingContext;
using TestSupport::Image;

/// The list of the class comment for 7 by 5 pixels: width, height, type.
constexpr std::array<std::array<int, 3>, 11> c_workImages{{{7, 5, 11},
                                                           {7, 5, 11},
                                                           {7, 5, 11},
                                                           {7, 5, 11},
                                                           {3, 2, 11},
                                                           {7, 5, 11},
                                                           {7, 5, 1},
                                                           {7, 5, 1},
                                                           {3, 2, 11},
                                                           {3, 2, 11},
                                                           {3, 2, 1}}};

int Errors(const Logging::CCapture& log, const std::wstring& text)
{
    return log.Count(Logging::ELevel::eError, L"ORX.Lumorad.LxCCCLAlgoData", text);
}

bool Init(LxCCCLAlgoData& data, const std::shared_ptr<GPGPU::IContext>& context = nullptr,
          const Image* lastImage = nullptr)
{
    return data.Init(7, 5, 9, 8, Image::eIDT_BGRU8, context, lastImage);
}

std::array<int, 3> ShapeOf(const Image& image)
{
    return {image.GetWidth(), image.GetHeight(), static_cast<int>(image.GetDataType())};
}

bool IsBlack(const Image& image)
{
    const std::vector<std::uint8_t> bytes = TestSupport::BytesOf(image);
    return !bytes.empty() && bytes == std::vector<std::uint8_t>(bytes.size(), 0);
}

TEST(LxCCCLAlgoData, NewOneIsEmpty)
{
    LxCCCLAlgoData data;
    EXPECT_FALSE(data.IsInitialized());
    EXPECT_EQ(data.GetImageData(), nullptr);
    EXPECT_EQ(data.GetTempBuffer(), nullptr);
    EXPECT_FALSE(data.GetLastImg().IsValid());
    for (std::size_t i = 0; i < 11; ++i) {
        EXPECT_FALSE(data.GetWorkImg(i)->IsValid());
        EXPECT_EQ(data.GetWorkImgGPU(i), nullptr);
    }
    for (const std::size_t beyond : {std::size_t{11}, SIZE_MAX}) {
        EXPECT_EQ(data.GetWorkImg(beyond), nullptr);
        EXPECT_EQ(std::as_const(data).GetWorkImg(beyond), nullptr);
        EXPECT_EQ(data.GetWorkImgGPU(beyond), nullptr);
        EXPECT_EQ(data.GetFreeImg(beyond), nullptr);
    }
    EXPECT_EQ(data.GetFreeImg(3), nullptr);
}

TEST(LxCCCLAlgoData, InitMakesTheListedImagesBlack)
{
    LxCCCLAlgoData data;
    ASSERT_TRUE(Init(data));
    EXPECT_TRUE(data.IsInitialized());
    for (std::size_t i = 0; i < c_workImages.size(); ++i) {
        EXPECT_EQ(ShapeOf(*data.GetWorkImg(i)), c_workImages[i]) << i;
        EXPECT_TRUE(IsBlack(*data.GetWorkImg(i))) << i;
        EXPECT_EQ(data.GetWorkImgGPU(i), nullptr);
    }
    EXPECT_EQ(ShapeOf(data.GetLastImg()), (std::array{7, 5, 1}));
    EXPECT_TRUE(IsBlack(data.GetLastImg()));
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_FALSE(data.GetFreeImg(i)->IsValid());
    }
    EXPECT_EQ(data.GetTempBuffer(), nullptr);
}

TEST(LxCCCLAlgoData, FreeImagesStay)
{
    LxCCCLAlgoData data;
    data.GetFreeImg(1)->Resize(4, 2, Image::eIDT_UINT8);
    ASSERT_TRUE(Init(data));
    EXPECT_EQ(ShapeOf(*data.GetFreeImg(1)), (std::array{4, 2, 7}));
}

TEST(LxCCCLAlgoData, SecondInitGivesImagesOfTheNewSizes)
{
    LxCCCLAlgoData data;
    ASSERT_TRUE(Init(data, std::make_shared<CRefusingContext>(INT_MAX)));
    data.GetWorkImg(0)->GetFloat3Fast(0, 0) = LxCFloat3(1.0F, 2.0F, 3.0F);
    ASSERT_TRUE(data.Init(12, 8, 1, 1, Image::eIDT_UINT8, nullptr, nullptr));
    EXPECT_EQ(ShapeOf(*data.GetWorkImg(0)), (std::array{12, 8, 11}));
    EXPECT_TRUE(IsBlack(*data.GetWorkImg(0)));
    EXPECT_EQ(ShapeOf(*data.GetWorkImg(10)), (std::array{6, 4, 1}));
    EXPECT_EQ(ShapeOf(data.GetLastImg()), (std::array{12, 8, 1}));
    EXPECT_EQ(data.GetWorkImgGPU(0), nullptr);
}

TEST(LxCCCLAlgoData, RequirementsTellTheSize)
{
    const auto requirements = std::make_shared<LxCFrameGrabberReqs>();
    requirements->setWidth(12);
    requirements->setHeight(8);
    LxCCCLAlgoData data;
    ASSERT_TRUE(data.Init(requirements, nullptr));
    EXPECT_EQ(ShapeOf(*data.GetWorkImg(5)), (std::array{12, 8, 11}));
    const Logging::CCapture log;
    EXPECT_FALSE(data.Init(nullptr, nullptr));
    EXPECT_FALSE(data.IsInitialized());
    EXPECT_EQ(Errors(log, L"LxCCCLAlgoData::Init: no requirements"), 1);
}

TEST(LxCCCLAlgoData, LastImageTakesPixels)
{
    Image source(7, 5, Image::eIDT_ARGB8, true, nullptr);
    std::memset(source.GetBuffer(), 0xA5, static_cast<std::size_t>(source.GetSizeInBytes()));
    LxCCCLAlgoData data;
    ASSERT_TRUE(Init(data, nullptr, &source));
    EXPECT_EQ(TestSupport::BytesOf(data.GetLastImg()), TestSupport::BytesOf(source));
    EXPECT_NE(data.GetLastImg().GetBuffer(), source.GetBuffer());
    ASSERT_TRUE(Init(data));
    EXPECT_TRUE(IsBlack(data.GetLastImg())) << "without a source it is cleared";

    const Image otherSize(6, 5, Image::eIDT_ARGB8, true, nullptr);
    const Image otherType(7, 5, Image::eIDT_UINT32, true, nullptr);
    const Image lacksMemory(7, 5, Image::eIDT_ARGB8, false, nullptr);
    for (const Image* bad : {&otherSize, &otherType, &lacksMemory}) {
        const Logging::CCapture log;
        EXPECT_FALSE(Init(data, nullptr, bad));
        EXPECT_FALSE(data.IsInitialized());
        EXPECT_EQ(log.GetRecords().size(), 1U);
    }
    const Logging::CCapture log;
    EXPECT_FALSE(Init(data, nullptr, &otherSize));
    EXPECT_EQ(Errors(log, L"LxCCCLAlgoData::Init: last image of type 1 with 6 by 5 pixels does not fit"), 1);
}

TEST(LxCCCLAlgoData, SizesThatCannotBeAreRefused)
{
    LxCCCLAlgoData data;
    for (const std::array<int, 2>& size : {std::array{0, 5}, std::array{7, 0}, std::array{-1, 5},
                                           std::array{7, INT_MIN}, std::array{INT_MAX, INT_MAX}}) {
        ASSERT_TRUE(Init(data));
        const Logging::CCapture log;
        EXPECT_FALSE(data.Init(size[0], size[1], 1, 1, Image::eIDT_BGRU8, nullptr, nullptr));
        EXPECT_FALSE(data.IsInitialized());
        EXPECT_EQ(Errors(log, L"LxCCCLAlgoData::Init: no images of " + std::to_wstring(size[0]) + L" by " +
                                  std::to_wstring(size[1]) + L" pixels"),
                  1);
    }
}

TEST(LxCCCLAlgoData, SharesTheImagesOfTheMeasurement)
{
    const auto images = std::make_shared<LxCImageData>();
    LxCCCLAlgoData data;
    data.SetImageData(images);
    ASSERT_TRUE(Init(data));
    EXPECT_EQ(data.GetImageData(), images);
    data.SetImageData(nullptr);
    EXPECT_EQ(images.use_count(), 1);
}

TEST(LxCCCLAlgoData, ImagesAreReachedWithoutAllocations)
{
    LxCCCLAlgoData data;
    ASSERT_TRUE(Init(data));
    Image source(7, 5, Image::eIDT_FLOAT32_3, 3.0F);
    const AllocationCount allocations;
    for (const std::size_t i : {0U, 1U, 2U, 3U, 5U}) {
        EXPECT_EQ(data.GetWorkImg(i)->CopyFrom(&source, false), Image::eRC_OK);
    }
    EXPECT_EQ(data.GetWorkImgGPU(0), nullptr);
    EXPECT_EQ(allocations.Get(), 0U);
}

// --- On the GPU

class AlgoDataOnGPU : public ::TestSupport::CEachTechnology
{};

INSTANTIATE_TEST_SUITE_P(On, AlgoDataOnGPU, ::TestSupport::c_allTechnologies,
                         ::TestSupport::NameOfTechnology);

TEST_P(AlgoDataOnGPU, EachWorkingImageHasItsPlanes)
{
    LxCCCLAlgoData data;
    ASSERT_TRUE(Init(data, CreateContext()));
    ASSERT_NE(data.GetTempBuffer(), nullptr);
    EXPECT_EQ(data.GetTempBuffer()->GetSize(), 7U * 5U * 12U);
    for (std::size_t i = 0; i < c_workImages.size(); ++i) {
        const auto buffer = data.GetWorkImgGPU(i);
        ASSERT_NE(buffer, nullptr) << i;
        const bool colour = c_workImages[i][2] == 11;
        EXPECT_EQ(buffer->GetWidth(), static_cast<unsigned int>(c_workImages[i][0])) << i;
        EXPECT_EQ(buffer->GetHeight(), static_cast<unsigned int>(c_workImages[i][1])) << i;
        EXPECT_EQ(buffer->GetPixelType(), colour ? eGPT_Float32 : eGPT_UInt32) << i;
        EXPECT_EQ(buffer->getNrChannels(), colour ? 3U : 1U) << i;
    }
}

TEST(LxCCCLAlgoData, GPUThatRefusesOrFailsIsLoggedAndLeavesItNotInitialised)
{
    constexpr int c_buffers = 1 + 8 * 3 + 3; // the temporary one, and planes of colours and of words
    LxCCCLAlgoData data;
    EXPECT_TRUE(Init(data, std::make_shared<CRefusingContext>(c_buffers)));
    const LxCAutomaticGuardUnguard guard("decode");
    for (int room = 0; room < c_buffers; ++room) {
        {
            const Logging::CCapture log;
            EXPECT_FALSE(Init(data, std::make_shared<CRefusingContext>(room)));
            EXPECT_FALSE(data.IsInitialized());
            EXPECT_EQ(Errors(log, L"LxCCCLAlgoData::Init: Exception Could not create buffer!"), 1);
            EXPECT_EQ(Errors(log, L"Call stack: decode"), 1);
        }
        const Logging::CCapture log;
        EXPECT_FALSE(
            Init(data, std::make_shared<CRefusingContext>(room, CRefusingContext::EFailure::eThrow)));
        EXPECT_FALSE(data.IsInitialized());
        EXPECT_EQ(Errors(log, L"LxCCCLAlgoData::Init: Exception device lost"), 1);
    }
}

TEST(LxCCCLAlgoData, HalvesWithoutPixelsHaveNoPlaceOnTheGPU)
{
    LxCCCLAlgoData data;
    EXPECT_TRUE(data.Init(1, 5, 1, 5, Image::eIDT_BGRU8, nullptr, nullptr));
    EXPECT_FALSE(data.GetWorkImg(4)->IsValid());
    const Logging::CCapture log;
    EXPECT_FALSE(
        data.Init(1, 5, 1, 5, Image::eIDT_BGRU8, std::make_shared<CRefusingContext>(INT_MAX), nullptr));
    EXPECT_EQ(Errors(log, L"LxCCCLAlgoData::Init: Exception Could not create buffer!"), 1);
}

} // namespace
} // namespace LxCV
