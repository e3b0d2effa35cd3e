#include "lxcimagedata.h"

#include "lxcframegrabberreqs.h"
#include "lxclxcvlibsettings.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/lxcvlib/imagetestsupport.h"
#include "tests/lxcvlib/refusingcontext.h"
#include "tests/support/computecontext.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::CRefusingContext;
using TestSupport::Image;
using Settings = LxCLxCVLibSettings;

int Errors(const Logging::CCapture& log, const std::wstring& text)
{
    return log.Count(Logging::ELevel::eError, L"ORX.Lumorad.LxCImageData", text);
}

/// An image whose bytes count up from `first`.
Image Counting(int width, int height, Image::EImageDataType type, int first)
{
    Image image(width, height, type, true, nullptr);
    auto* const bytes = static_cast<std::uint8_t*>(image.GetBuffer());
    for (int i = 0; i < image.GetSizeInBytes(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(first + i);
    }
    return image;
}

bool HaveSameBytes(const Image& a, const Image& b)
{
    return TestSupport::BytesOf(a) == TestSupport::BytesOf(b);
}

bool IsBlack(const Image& image)
{
    const std::vector<std::uint8_t> bytes = TestSupport::BytesOf(image);
    return !bytes.empty() && bytes == std::vector<std::uint8_t>(bytes.size(), 0);
}

void ExpectShape(const Image* image, int width, int height, Image::EImageDataType type)
{
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->GetWidth(), width);
    EXPECT_EQ(image->GetHeight(), height);
    EXPECT_EQ(image->GetDataType(), type);
    EXPECT_TRUE(IsBlack(*image));
}

/// Raw images of 5 by 3, processed ones of 7 by 4 pixels.
class LxCImageDataTest : public testing::Test
{
protected:
    LxCImageDataTest()
    {
        Settings::Invalidate();
        Settings::m_iBoundary3DData.Set(2);
    }
    ~LxCImageDataTest() override { Settings::Invalidate(); }

    bool Init(const std::shared_ptr<GPGPU::IContext>& context = nullptr)
    {
        return m_data.Init(7, 4, 5, 3, context, Image::eIDT_BGRU8);
    }

    LxCImageData m_data;
    Image m_first = Counting(5, 3, Image::eIDT_BGRU8, 1);
    Image m_second = Counting(5, 3, Image::eIDT_BGRU8, 101);
    Image m_third = Counting(5, 3, Image::eIDT_BGRU8, 201);
};

void ExpectNoImages(const LxCImageData& data)
{
    EXPECT_FALSE(data.IsInitialized());
    for (const std::size_t index : {std::size_t{0}, std::size_t{1}, std::size_t{2}, SIZE_MAX}) {
        EXPECT_EQ(data.GetRawImg(index), nullptr);
        EXPECT_EQ(data.GetImg(index), nullptr);
        EXPECT_EQ(data.GetGPUImg(index), nullptr);
    }
    EXPECT_EQ(data.GetLiveImgFloatGPU(), nullptr);
    EXPECT_FALSE(data.GetLiveImageCut().IsValid());
    EXPECT_FALSE(data.GetExternShiftedRefImg().IsValid());
}

TEST_F(LxCImageDataTest, NewOneHasNoImages)
{
    ExpectNoImages(m_data);
    EXPECT_EQ(m_data.GetNumRawImages(), 0U);
    EXPECT_EQ(m_data.GetMaxNumRawImages(), 2U);
    EXPECT_EQ(m_data.GetRawImgDataType(), Image::eIDT_BGRU8);
    EXPECT_EQ(m_data.GetWidth(), 0);
    EXPECT_EQ(m_data.GetHeight(), 0);
    EXPECT_EQ(m_data.GetRawDataWidth(), 0);
    EXPECT_EQ(m_data.GetRawDataHeight(), 0);
    EXPECT_FALSE(m_data.GetRefImgAvailable());
}

TEST_F(LxCImageDataTest, IsMadeByItsClassName)
{
    const std::unique_ptr<BtRTTIObject> object = BtRTTI::CreateObject(L"LxCImageData");
    ASSERT_NE(object, nullptr);
    EXPECT_NE(dynamic_cast<LxCImageData*>(object.get()), nullptr);
    EXPECT_EQ(object->GetClassNameW(), L"LxCImageData");
    EXPECT_TRUE(object->Is(m_data.GetRTTI()));
    EXPECT_TRUE(object->IsKindOf(LxCImageData::GetClassRTTI()));
    EXPECT_EQ(BtRTTI::Find(L"LxCImageData"), &LxCImageData::GetClassRTTI());
}

TEST_F(LxCImageDataTest, InitMakesBlackImagesOfTheSizesAndTypes)
{
    ASSERT_TRUE(m_data.Init(7, 4, 5, 3, nullptr, Image::eIDT_UINT16));
    EXPECT_TRUE(m_data.IsInitialized());
    for (const std::size_t index : {0U, 1U}) {
        ExpectShape(m_data.GetRawImg(index), 5, 3, Image::eIDT_UINT16);
        ExpectShape(m_data.GetImg(index), 7, 4, Image::eIDT_FLOAT32_3);
    }
    EXPECT_EQ(m_data.GetRawImg(2), nullptr);
    EXPECT_EQ(m_data.GetImg(2), nullptr);
    EXPECT_EQ(m_data.GetWidth(), 7);
    EXPECT_EQ(m_data.GetHeight(), 4);
    EXPECT_EQ(m_data.GetRawDataWidth(), 5);
    EXPECT_EQ(m_data.GetRawDataHeight(), 3);
    EXPECT_EQ(m_data.GetRawImgDataType(), Image::eIDT_UINT16);
}

TEST_F(LxCImageDataTest, LiveImageIsCutByTheBoundary)
{
    ASSERT_TRUE(Init());
    ExpectShape(&m_data.GetLiveImageCut(), 5, 4, Image::eIDT_ARGB8);
    EXPECT_EQ(m_data.GetLiveImageCut().GetBytesPerPixel(), 4);
    for (const int boundary : {7, 8, INT_MAX}) {
        Settings::m_iBoundary3DData.Set(boundary);
        ASSERT_TRUE(Init());
        EXPECT_EQ(m_data.GetLiveImageCut().GetWidth(), 0) << boundary;
    }
    Settings::m_iBoundary3DData.Set(INT_MIN); // a cut wider than any memory
    const Logging::CCapture log;
    EXPECT_FALSE(Init());
    ExpectNoImages(m_data);
    EXPECT_EQ(Errors(log, L"LxCImageData::Init: out of memory"), 1);
}

TEST_F(LxCImageDataTest, PatternIsTheFirstImageAndReferenceTheSecond)
{
    ASSERT_TRUE(Init());
    EXPECT_NE(m_data.GetRawImg(0), m_data.GetRawImg(1));
    EXPECT_EQ(m_data.GetRawPatImg(), m_data.GetRawImg(0));
    EXPECT_EQ(m_data.GetFirstRawImg(), m_data.GetRawImg(0));
    EXPECT_EQ(m_data.GetRawRefImg(), m_data.GetRawImg(1));
    EXPECT_EQ(m_data.GetSecondRawImg(), m_data.GetRawImg(1));
    EXPECT_NE(m_data.GetImg(0), m_data.GetImg(1));
    EXPECT_EQ(m_data.GetPatImg(), m_data.GetImg(0));
    EXPECT_EQ(m_data.GetFirstImg(), m_data.GetImg(0));
    EXPECT_EQ(m_data.GetRefImg(), m_data.GetImg(1));
    EXPECT_EQ(m_data.GetSecondImg(), m_data.GetImg(1));
}

TEST_F(LxCImageDataTest, WithoutAContextThereIsNothingOnTheGPU)
{
    ASSERT_TRUE(Init());
    EXPECT_EQ(m_data.GetGPUImg(0), nullptr);
    EXPECT_EQ(m_data.GetGPUImg(1), nullptr);
    EXPECT_EQ(m_data.GetPatImgGPU(), nullptr);
    EXPECT_EQ(m_data.GetLiveImgFloatGPU(), nullptr);
}

TEST_F(LxCImageDataTest, SecondInitGivesImagesOfTheNewSizes)
{
    ASSERT_TRUE(Init(std::make_shared<CRefusingContext>(INT_MAX)));
    ASSERT_NE(m_data.GetGPUImg(0), nullptr);
    m_data.GetExternShiftedRefImg().Resize(7, 4, Image::eIDT_FLOAT32_3);
    ASSERT_TRUE(m_data.Init(9, 6, 8, 2, nullptr, Image::eIDT_UINT8));
    for (const std::size_t index : {0U, 1U}) {
        ExpectShape(m_data.GetRawImg(index), 8, 2, Image::eIDT_UINT8);
        ExpectShape(m_data.GetImg(index), 9, 6, Image::eIDT_FLOAT32_3);
    }
    EXPECT_EQ(m_data.GetRawImg(2), nullptr);
    EXPECT_EQ(m_data.GetGPUImg(0), nullptr);
    EXPECT_EQ(m_data.GetLiveImgFloatGPU(), nullptr);
    EXPECT_FALSE(m_data.GetExternShiftedRefImg().IsValid());
    ExpectShape(&m_data.GetLiveImageCut(), 7, 6, Image::eIDT_ARGB8);
}

TEST_F(LxCImageDataTest, RequirementsTellSizesAndType)
{
    const auto requirements = std::make_shared<LxCFrameGrabberReqs>();
    requirements->setWidth(9);
    requirements->setHeight(6);
    requirements->setWidthRaw(8);
    requirements->setHeightRaw(2);
    requirements->setImgTypeRaw(Image::eIDT_UINT16);
    ASSERT_TRUE(m_data.Init(requirements, nullptr));
    ExpectShape(m_data.GetRawImg(1), 8, 2, Image::eIDT_UINT16);
    ExpectShape(m_data.GetImg(1), 9, 6, Image::eIDT_FLOAT32_3);
    const Logging::CCapture log;
    EXPECT_FALSE(m_data.Init(nullptr, nullptr));
    EXPECT_EQ(Errors(log, L"LxCImageData::Init: no requirements"), 1);
}

TEST_F(LxCImageDataTest, SizesAndTypesWithoutPixelsAreRefused)
{
    struct SInit
    {
        int width, height, rawWidth, rawHeight, type;
    };
    for (const SInit& init : {SInit{0, 4, 5, 3, 2}, SInit{7, -1, 5, 3, 2}, SInit{7, 4, INT_MIN, 3, 2},
                              SInit{7, 4, 5, 0, 2}, SInit{7, 4, 5, 3, 0}, SInit{7, 4, 5, 3, 13}}) {
        ASSERT_TRUE(Init());
        const Logging::CCapture log;
        EXPECT_FALSE(m_data.Init(init.width, init.height, init.rawWidth, init.rawHeight, nullptr,
                                 TestSupport::TypeOf(init.type)));
        ExpectNoImages(m_data);
        EXPECT_EQ(log.GetRecords().size(), 1U);
    }
    const Logging::CCapture log;
    EXPECT_FALSE(m_data.Init(7, 4, 5, 0, nullptr, Image::eIDT_UINT8));
    EXPECT_EQ(Errors(log, L"LxCImageData::Init: no images of 7 by 4 and 5 by 0 pixels, raw type 7"), 1);
}

TEST_F(LxCImageDataTest, SizesBeyondTheMemoryAreRefused)
{
    const Logging::CCapture log;
    EXPECT_FALSE(m_data.Init(7, 4, INT_MAX, INT_MAX, nullptr, Image::eIDT_BGRU8));
    EXPECT_FALSE(m_data.Init(INT_MAX, INT_MAX, 5, 3, nullptr, Image::eIDT_BGRU8));
    ExpectNoImages(m_data);
    EXPECT_EQ(Errors(log, L"LxCImageData::Init: out of memory"), 2);
}

TEST_F(LxCImageDataTest, ReleaseFreesImages)
{
    ASSERT_TRUE(Init(std::make_shared<CRefusingContext>(INT_MAX)));
    ASSERT_TRUE(m_data.SetRawImages(&m_first, &m_second));
    m_data.Release();
    ExpectNoImages(m_data);
    EXPECT_EQ(m_data.GetNumRawImages(), 2U);
    EXPECT_EQ(m_data.GetWidth(), 7);
    EXPECT_TRUE(Init());
}

// --- Raw images

TEST_F(LxCImageDataTest, OfThreeImagesTwoAreCopied)
{
    ASSERT_TRUE(Init());
    EXPECT_TRUE(m_data.SetRawImages({&m_first, &m_second, &m_third}));
    EXPECT_EQ(m_data.GetNumRawImages(), 2U);
    EXPECT_TRUE(HaveSameBytes(*m_data.GetRawPatImg(), m_first));
    EXPECT_TRUE(HaveSameBytes(*m_data.GetRawRefImg(), m_second));
    EXPECT_TRUE(m_data.SetRawImages({&m_first, &m_second, nullptr})) << "the third is not looked at";
}

TEST_F(LxCImageDataTest, ReferenceIsAvailableWithTwoRawImages)
{
    ASSERT_TRUE(Init());
    EXPECT_TRUE(m_data.SetRawImages(&m_first, &m_second));
    EXPECT_EQ(m_data.GetNumRawImages(), 2U);
    EXPECT_TRUE(m_data.GetRefImgAvailable());
    EXPECT_TRUE(m_data.SetRawImages(&m_third));
    EXPECT_EQ(m_data.GetNumRawImages(), 1U);
    EXPECT_FALSE(m_data.GetRefImgAvailable());
    EXPECT_TRUE(HaveSameBytes(*m_data.GetRawPatImg(), m_third));
    EXPECT_TRUE(HaveSameBytes(*m_data.GetRawRefImg(), m_second)) << "is left alone";
    EXPECT_TRUE(m_data.SetRawImages(std::vector<Image*>{}));
    EXPECT_EQ(m_data.GetNumRawImages(), 0U);
    m_data.SetNumRawImages(2);
    EXPECT_TRUE(m_data.GetRefImgAvailable());
    m_data.SetNumRawImages(UINT64_MAX);
    EXPECT_EQ(m_data.GetNumRawImages(), UINT64_MAX);
    EXPECT_TRUE(m_data.GetRefImgAvailable());
}

TEST_F(LxCImageDataTest, FormsWithMetadataCopyTheseToo)
{
    ASSERT_TRUE(Init());
    LxSFrameGrabberMetaData metaData;
    metaData.SetTemperatur(31.0);
    EXPECT_TRUE(m_data.SetRawImages({&m_first, &m_second}, metaData));
    EXPECT_EQ(m_data.GetMetaData().GetTemperatur(), 31.0);
    EXPECT_EQ(m_data.GetNumRawImages(), 2U);
    metaData.SetTemperatur(32.0);
    EXPECT_TRUE(m_data.SetRawImages(&m_first, metaData));
    EXPECT_EQ(m_data.GetMetaData().GetTemperatur(), 32.0);
    EXPECT_EQ(m_data.GetNumRawImages(), 1U);
    metaData.SetTemperatur(33.0);
    EXPECT_TRUE(m_data.SetRawImages(&m_second, &m_first, metaData));
    EXPECT_EQ(m_data.GetMetaData().GetTemperatur(), 33.0);
    EXPECT_EQ(m_data.GetNumRawImages(), 2U);
    EXPECT_TRUE(HaveSameBytes(*m_data.GetRawRefImg(), m_first));
    EXPECT_TRUE(m_data.SetRawImages(&m_first, &m_second));
    EXPECT_EQ(m_data.GetMetaData().GetTemperatur(), 33.0) << "a form without metadata";
}

TEST_F(LxCImageDataTest, SharedHandlesAreCopied)
{
    ASSERT_TRUE(Init());
    const auto pattern = std::make_shared<Image>(m_first);
    const auto reference = std::make_shared<Image>(m_second);
    const auto metaData = std::make_shared<LxSFrameGrabberMetaData>();
    metaData->SetTemperatur(34.0);
    EXPECT_TRUE(m_data.SetRawImages(pattern, reference, metaData));
    EXPECT_EQ(m_data.GetNumRawImages(), 2U);
    EXPECT_TRUE(HaveSameBytes(*m_data.GetRawPatImg(), m_first));
    EXPECT_TRUE(HaveSameBytes(*m_data.GetRawRefImg(), m_second));
    EXPECT_EQ(m_data.GetMetaData().GetTemperatur(), 34.0);
    EXPECT_EQ(pattern.use_count(), 1);

    metaData->SetTemperatur(35.0);
    m_data.SetNumRawImages(1);
    const Logging::CCapture log;
    EXPECT_FALSE(m_data.SetRawImages(pattern, reference, std::shared_ptr<LxSFrameGrabberMetaData>()));
    EXPECT_EQ(Errors(log, L"LxCImageData::SetRawImages: no metadata"), 1);
    EXPECT_FALSE(m_data.SetRawImages(pattern, std::shared_ptr<Image>(), metaData));
    EXPECT_FALSE(m_data.SetRawImages(std::shared_ptr<Image>(), reference, metaData));
    EXPECT_EQ(Errors(log, L"LxCImageData::SetRawImages: null image"), 2);
    EXPECT_EQ(m_data.GetNumRawImages(), 1U);
    EXPECT_EQ(m_data.GetMetaData().GetTemperatur(), 34.0);
}

TEST_F(LxCImageDataTest, NothingIsCopiedBeforeInitAndOfNullImages)
{
    {
        const Logging::CCapture log;
        EXPECT_FALSE(m_data.SetRawImages(&m_first, &m_second));
        EXPECT_EQ(Errors(log, L"LxCImageData::SetRawImages: not initialised"), 1);
    }
    ASSERT_TRUE(Init());
    const Logging::CCapture log;
    EXPECT_FALSE(m_data.SetRawImages(&m_first, static_cast<const Image*>(nullptr)));
    EXPECT_FALSE(m_data.SetRawImages({nullptr, &m_first}));
    EXPECT_FALSE(m_data.SetRawImages(nullptr, LxSFrameGrabberMetaData()));
    EXPECT_EQ(Errors(log, L"LxCImageData::SetRawImages: null image"), 3);
    EXPECT_TRUE(IsBlack(*m_data.GetRawPatImg()));
    EXPECT_EQ(m_data.GetNumRawImages(), 0U);
}

TEST_F(LxCImageDataTest, CopiesAreThoseOfCopyFrom)
{
    ASSERT_TRUE(Init());
    const Image smaller = Counting(3, 1, Image::eIDT_BGRU8, 1);
    EXPECT_TRUE(m_data.SetRawImages(&smaller));
    Image expected(5, 3, Image::eIDT_BGRU8, true, nullptr);
    expected.CopyFrom(&smaller, false);
    EXPECT_TRUE(HaveSameBytes(*m_data.GetRawPatImg(), expected)) << "in the middle, with black around";

    const Image larger(6, 3, Image::eIDT_BGRU8, true, nullptr);
    const Image grey(5, 3, Image::eIDT_UINT8, true, nullptr);
    EXPECT_THROW(m_data.SetRawImages(&m_first, &larger), std::exception);
    EXPECT_THROW(m_data.SetRawImages(&m_first, &grey), std::exception);
    EXPECT_EQ(m_data.GetNumRawImages(), 1U);
    const Image lacksMemory(5, 3, Image::eIDT_BGRU8, false, nullptr);
    const Logging::CCapture log;
    EXPECT_FALSE(m_data.SetRawImages(&m_first, &lacksMemory));
    EXPECT_EQ(Errors(log, L"LxCImageData::SetRawImages: image without memory"), 1);
    EXPECT_EQ(m_data.GetNumRawImages(), 1U);
}

TEST_F(LxCImageDataTest, MeasurementAllocatesNothing)
{
    ASSERT_TRUE(Init());
    const std::vector<Image*> images{&m_first, &m_second};
    const LxSFrameGrabberMetaData metaData;
    const AllocationCount allocations;
    EXPECT_TRUE(m_data.SetRawImages(images, metaData));
    EXPECT_TRUE(m_data.SetRawImages(&m_second, &m_first, metaData));
    EXPECT_TRUE(m_data.SetRawImages(&m_first));
    m_data.GetMetaData().SetTemperatur(30.0);
    EXPECT_NE(m_data.GetRefImg(), nullptr);
    EXPECT_EQ(m_data.GetPatImgGPU(), nullptr);
    EXPECT_EQ(allocations.Get(), 0U);
}

// --- On the GPU

class ImageDataOnGPU : public ::TestSupport::CEachTechnology
{};

INSTANTIATE_TEST_SUITE_P(On, ImageDataOnGPU, ::TestSupport::c_allTechnologies,
                         ::TestSupport::NameOfTechnology);

TEST_P(ImageDataOnGPU, ProcessedAndLiveImagesHaveThreeFloatPlanes)
{
    LxCImageData data;
    ASSERT_TRUE(data.Init(7, 4, 5, 3, CreateContext(), Image::eIDT_BGRU8));
    EXPECT_EQ(data.GetPatImgGPU(), data.GetGPUImg(0));
    EXPECT_EQ(data.GetFirstImgGPU(), data.GetGPUImg(0));
    EXPECT_EQ(data.GetRefImgGPU(), data.GetGPUImg(1));
    EXPECT_EQ(data.GetSecondImgGPU(), data.GetGPUImg(1));
    EXPECT_NE(data.GetGPUImg(0), data.GetGPUImg(1));
    EXPECT_EQ(data.GetGPUImg(2), nullptr);
    EXPECT_EQ(data.GetGPUImg(SIZE_MAX), nullptr);
    for (const auto& buffer : {data.GetGPUImg(0), data.GetGPUImg(1), data.GetLiveImgFloatGPU()}) {
        ASSERT_NE(buffer, nullptr);
        EXPECT_EQ(buffer->GetWidth(), 7U);
        EXPECT_EQ(buffer->GetHeight(), 4U);
        EXPECT_EQ(buffer->GetPixelType(), eGPT_Float32);
        EXPECT_EQ(buffer->getNrChannels(), 3U);
    }
}

TEST_F(LxCImageDataTest, GPUThatRefusesOrFailsIsLoggedAndLeavesNoImages)
{
    constexpr int c_planes = 9; // of two images and the live one
    EXPECT_TRUE(Init(std::make_shared<CRefusingContext>(c_planes)));
    for (int room = 0; room < c_planes; ++room) {
        {
            const Logging::CCapture log;
            EXPECT_FALSE(Init(std::make_shared<CRefusingContext>(room)));
            ExpectNoImages(m_data);
            EXPECT_EQ(Errors(log, L"LxCCCLAlgoData::Init: Exception Could not create buffer!"), 1);
            EXPECT_EQ(Errors(log, L"Call stack: no strCallStack"), 1);
        }
        const Logging::CCapture log;
        EXPECT_FALSE(Init(std::make_shared<CRefusingContext>(room, CRefusingContext::EFailure::eThrow)));
        ExpectNoImages(m_data);
        EXPECT_EQ(Errors(log, L"LxCCCLAlgoData::Init: Exception device lost"), 1);
    }
}

} // namespace
} // namespace LxCV
