#include "lxcrawprocessingdata.h"

#include "lxcframegrabberreqs.h"
#include "lxcimagedata.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/lxcvlib/refusingcontext.h"
#include "tests/support/computecontext.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <memory>
#include <string>

namespace LxCV {
namespace {

using TestSupport::CRefusingContext;

int Errors(const Logging::CCapture& log, const std::wstring& text)
{
    return log.Count(Logging::ELevel::eError, L"ORX.Lumorad.LxCRawProcessingData", text);
}

bool Init(LxCRawProcessingData& data, const std::shared_ptr<GPGPU::IContext>& context = nullptr,
          bool rawOnGPU = true)
{
    return data.Init(7, 4, 5, 3, CCTImage::eIDT_UINT16, context, rawOnGPU);
}

void ExpectRawImage(const LxCRawProcessingData& data, int width, int height)
{
    EXPECT_EQ(data.GetRawImage().GetWidth(), width);
    EXPECT_EQ(data.GetRawImage().GetHeight(), height);
    EXPECT_EQ(data.GetRawImage().GetDataType(), CCTImage::eIDT_BGRU8);
    EXPECT_TRUE(data.GetRawImage().IsValid());
}

TEST(LxCRawProcessingData, NewOneIsEmpty)
{
    const LxCRawProcessingData data;
    EXPECT_FALSE(data.IsInitialized());
    EXPECT_EQ(data.GetImageData(), nullptr);
    EXPECT_EQ(data.GetRawImageGPU(), nullptr);
    EXPECT_EQ(data.GetTempBuffer(), nullptr);
    EXPECT_FALSE(data.GetRawImage().IsValid());
}

TEST(LxCRawProcessingData, RawImageHasTheRawSizeAndThreeBytes)
{
    LxCRawProcessingData data;
    ASSERT_TRUE(Init(data));
    EXPECT_TRUE(data.IsInitialized());
    ExpectRawImage(data, 5, 3);
    EXPECT_EQ(data.GetRawImageGPU(), nullptr) << "there is no context";
    EXPECT_EQ(data.GetTempBuffer(), nullptr);
    ASSERT_TRUE(data.Init(7, 4, 8, 2, CCTImage::eIDT_BGRU8, nullptr, false));
    ExpectRawImage(data, 8, 2);
}

TEST(LxCRawProcessingData, RequirementsTellTheRawSize)
{
    const auto requirements = std::make_shared<LxCFrameGrabberReqs>();
    requirements->setWidthRaw(8);
    requirements->setHeightRaw(2);
    LxCRawProcessingData data;
    ASSERT_TRUE(data.Init(requirements, nullptr, true));
    ExpectRawImage(data, 8, 2);
    const Logging::CCapture log;
    EXPECT_FALSE(data.Init(nullptr, nullptr, true));
    EXPECT_FALSE(data.IsInitialized());
    EXPECT_EQ(Errors(log, L"LxCRawProcessingData::Init: no requirements"), 1);
}

TEST(LxCRawProcessingData, SizesThatCannotBeAreRefused)
{
    LxCRawProcessingData data;
    for (const std::array<int, 4>& size :
         {std::array{0, 4, 5, 3}, std::array{7, -1, 5, 3}, std::array{7, 4, 0, 3},
          std::array{7, 4, 5, INT_MIN}, std::array{7, 4, INT_MAX, INT_MAX}}) {
        ASSERT_TRUE(Init(data));
        const Logging::CCapture log;
        EXPECT_FALSE(data.Init(size[0], size[1], size[2], size[3], CCTImage::eIDT_BGRU8, nullptr, false));
        EXPECT_FALSE(data.IsInitialized());
        EXPECT_EQ(Errors(log, L"LxCRawProcessingData::Init: no images of " + std::to_wstring(size[0]) +
                                  L" by " + std::to_wstring(size[1]) + L" and " + std::to_wstring(size[2]) +
                                  L" by " + std::to_wstring(size[3]) + L" pixels"),
                  1);
    }
}

TEST(LxCRawProcessingData, SharesTheImagesOfTheMeasurement)
{
    const auto images = std::make_shared<LxCImageData>();
    LxCRawProcessingData data;
    data.SetImageData(images);
    ASSERT_TRUE(Init(data));
    EXPECT_EQ(data.GetImageData(), images);
    data.SetImageData(nullptr);
    EXPECT_EQ(images.use_count(), 1);
}

TEST(LxCRawProcessingData, RawImageIsWrittenWithoutAllocations)
{
    LxCRawProcessingData data;
    ASSERT_TRUE(Init(data));
    const CCTImage source(5, 3, CCTImage::eIDT_BGRU8, true, nullptr);
    const AllocationCount allocations;
    EXPECT_EQ(data.GetRawImage().CopyFrom(&source, false), CCTImage::eRC_OK);
    EXPECT_EQ(allocations.Get(), 0U);
}

class RawProcessingOnGPU : public ::TestSupport::CEachTechnology
{};

INSTANTIATE_TEST_SUITE_P(On, RawProcessingOnGPU, ::TestSupport::c_allTechnologies,
                         ::TestSupport::NameOfTechnology);

TEST_P(RawProcessingOnGPU, RawImageHasPlanesWhereItIsConvertedThere)
{
    LxCRawProcessingData data;
    ASSERT_TRUE(Init(data, CreateContext()));
    ASSERT_NE(data.GetTempBuffer(), nullptr);
    EXPECT_EQ(data.GetTempBuffer()->GetSize(), 7U * 4U * 12U);
    ASSERT_NE(data.GetRawImageGPU(), nullptr);
    EXPECT_EQ(data.GetRawImageGPU()->GetWidth(), 5U);
    EXPECT_EQ(data.GetRawImageGPU()->GetHeight(), 3U);
    EXPECT_EQ(data.GetRawImageGPU()->GetPixelType(), eGPT_UInt8);
    EXPECT_EQ(data.GetRawImageGPU()->getNrChannels(), 3U);
    ASSERT_TRUE(Init(data, CreateContext(), false));
    EXPECT_EQ(data.GetRawImageGPU(), nullptr);
    EXPECT_NE(data.GetTempBuffer(), nullptr);
}

TEST(LxCRawProcessingData, GPUThatRefusesOrFailsIsLoggedAndLeavesItNotInitialised)
{
    constexpr int c_buffers = 4; // the temporary one and three planes
    LxCRawProcessingData data;
    EXPECT_TRUE(Init(data, std::make_shared<CRefusingContext>(c_buffers)));
    for (int room = 0; room < c_buffers; ++room) {
        {
            const Logging::CCapture log;
            EXPECT_FALSE(Init(data, std::make_shared<CRefusingContext>(room)));
            EXPECT_FALSE(data.IsInitialized());
            EXPECT_EQ(data.GetRawImageGPU(), nullptr);
            EXPECT_EQ(Errors(log, L"LxCCCLAlgoData::Init: Exception Could not create buffer!"), 1);
        }
        const Logging::CCapture log;
        EXPECT_FALSE(
            Init(data, std::make_shared<CRefusingContext>(room, CRefusingContext::EFailure::eThrow)));
        EXPECT_EQ(Errors(log, L"LxCCCLAlgoData::Init: Exception device lost"), 1);
    }
}

} // namespace
} // namespace LxCV
