#include "lxcgpubuffer2d.h"

#include "cgpucontextfactorycct.h"
#include "lxccallstack.h"
#include "lxcframegrabberreqs.h"
#include "lxcgpubasedata.h"
#include "lxcgpuexception.h"
#include "orx/gpgpu/csession.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/refusingcontext.h"
#include "tests/support/computecontext.h"
#include "tests/support/environment.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using ::TestSupport::BytesOf;
using ::TestSupport::RandomBytes;

constexpr EGPUPixelType c_types[] = {eGPT_UInt8, eGPT_UInt16,  eGPT_UInt32,
                                     eGPT_Int32, eGPT_Float32, eGPT_Float64};

/// The text of the standard exception that `function` throws.
template <typename Function>
std::string ThrownBy(Function function)
{
    const Logging::CCapture quiet;
    try {
        function();
    } catch (const std::exception& exception) {
        return exception.what();
    }
    return "nothing thrown";
}

class GPUBuffer : public ::TestSupport::CEachTechnology
{};

INSTANTIATE_TEST_SUITE_P(On, GPUBuffer, ::TestSupport::c_allTechnologies, ::TestSupport::NameOfTechnology);

TEST_P(GPUBuffer, HasAPlaneOfTheTypesSizeForEachChannel)
{
    const auto context = CreateContext();
    const unsigned int bytes[] = {1, 2, 4, 4, 4, 8};
    for (std::size_t i = 0; i < std::size(c_types); ++i) {
        const LxCGPUBuffer2D buffer(context, c_types[i], 7, 5, 3);
        EXPECT_EQ(buffer.GetPixelSize(), bytes[i]);
        EXPECT_EQ(buffer.GetPixelType(), c_types[i]);
        EXPECT_EQ(buffer.GetWidth(), 7U);
        EXPECT_EQ(buffer.GetHeight(), 5U);
        EXPECT_EQ(buffer.getNrChannels(), 3U);
        EXPECT_EQ(buffer.getSizeInPixels(), 35U);
        EXPECT_EQ(buffer.getSizePerChannelInBytes(), 35U * bytes[i]);
        EXPECT_EQ(buffer.getSizeInBytes(), 3U * 35U * bytes[i]);
        for (std::size_t channel = 0; channel < 3; ++channel) {
            EXPECT_EQ(buffer.getBufferHandle(channel)->GetSize(), 35U * bytes[i]);
        }
    }
}

TEST_P(GPUBuffer, PlanesAreApart)
{
    const LxCGPUBuffer2D buffer(CreateContext(), eGPT_Float32, 658, 494, 3);
    const std::size_t size = buffer.getSizePerChannelInBytes();
    for (unsigned int channel = 0; channel < 3; ++channel) {
        buffer.getBufferHandle(channel)->Write(0, RandomBytes(size, channel));
    }
    for (unsigned int channel = 0; channel < 3; ++channel) {
        EXPECT_TRUE(BytesOf(*buffer.getBufferHandle(channel)) == RandomBytes(size, channel)) << channel;
    }
}

TEST_P(GPUBuffer, InvalidChannelIsRefused)
{
    const LxCGPUBuffer2D buffer(CreateContext(), eGPT_UInt8, 2, 2, 2);
    EXPECT_EQ(ThrownBy([&] { buffer.getBufferHandle(1); }), "nothing thrown");
    EXPECT_EQ(ThrownBy([&] { buffer.getBufferHandle(2); }), "Invalid channel index!");
    EXPECT_EQ(ThrownBy([&] { buffer.getBufferHandle(SIZE_MAX); }), "Invalid channel index!");
}

TEST_P(GPUBuffer, NoChannelsAreABufferWithoutPlanes)
{
    for (const auto& context : {CreateContext(), std::shared_ptr<GPGPU::IContext>()}) {
        const LxCGPUBuffer2D buffer(context, eGPT_Float64, 3, 2, 0);
        EXPECT_EQ(buffer.getNrChannels(), 0U);
        EXPECT_EQ(buffer.getSizeInBytes(), 0U);
        EXPECT_EQ(buffer.getSizePerChannelInBytes(), 48U);
        EXPECT_EQ(ThrownBy([&] { buffer.getBufferHandle(0); }), "Invalid channel index!");
    }
}

TEST_P(GPUBuffer, SizesThatCannotBeAreRefused)
{
    const auto context = CreateContext();
    struct SSize
    {
        unsigned int width, height, channels;
    };
    for (const SSize& size : {SSize{0, 5, 1}, SSize{5, 0, 1}, SSize{0, 0, 3}, SSize{UINT_MAX, UINT_MAX, 1},
                              SSize{UINT_MAX, 1U << 29U, 1}, SSize{1U << 31U, 1U << 30U, 1},
                              SSize{1U << 31U, 1U << 31U, 4}, SSize{1U << 20U, 1, UINT_MAX}}) {
        EXPECT_EQ(ThrownBy([&] {
                      const LxCGPUBuffer2D buffer(context, eGPT_Float64, size.width, size.height,
                                                  size.channels);
                  }),
                  "Could not create buffer!")
            << size.width << " " << size.height << " " << size.channels;
    }
}

TEST_P(GPUBuffer, SizeBeyondItsNumberIsRefusedWithoutChannelsToo)
{
    EXPECT_EQ(ThrownBy([] { const LxCGPUBuffer2D buffer(nullptr, eGPT_Float64, UINT_MAX, UINT_MAX, 0); }),
              "Could not create buffer!");
}

TEST_P(GPUBuffer, TypeThatDoesNotExistIsRefused)
{
    const auto context = CreateContext();
    for (const int type : {-1, 6, INT_MAX}) {
        EXPECT_EQ(ThrownBy([&] {
                      const LxCGPUBuffer2D buffer(context, static_cast<EGPUPixelType>(type), 2, 2, 1);
                  }),
                  "Could not create buffer!");
    }
}

TEST_P(GPUBuffer, ComparesSizeAndType)
{
    const auto context = CreateContext();
    const LxCGPUBuffer2D buffer(context, eGPT_UInt32, 4, 3, 1);
    const LxCGPUBuffer2D moreChannels(context, eGPT_UInt32, 4, 3, 2);
    const LxCGPUBuffer2D otherType(context, eGPT_Int32, 4, 3, 1); // of the same bytes
    const LxCGPUBuffer2D turned(context, eGPT_UInt32, 3, 4, 1);
    const LxCGPUBuffer2D higher(context, eGPT_UInt32, 4, 4, 1);
    EXPECT_TRUE(buffer.sizeEqual(moreChannels));
    EXPECT_TRUE(buffer.sizeAndTypeEqual(moreChannels));
    EXPECT_TRUE(buffer.sizeEqual(otherType));
    EXPECT_FALSE(buffer.sizeAndTypeEqual(otherType));
    for (const LxCGPUBuffer2D* other : {&turned, &higher}) {
        EXPECT_FALSE(buffer.sizeEqual(*other));
        EXPECT_FALSE(buffer.sizeAndTypeEqual(*other));
    }
}

/// Base data have no public constructor.
class CBaseData : public LxCGPUBaseData
{};

TEST_P(GPUBuffer, TemporaryBufferHoldsThreeFloatsAPixel)
{
    const auto context = CreateContext();
    CBaseData data;
    EXPECT_EQ(data.GetTempBuffer(), nullptr);
    data.Init(658, 494, 1, 1, CCTImage::eIDT_UINT8, context);
    ASSERT_NE(data.GetTempBuffer(), nullptr);
    EXPECT_EQ(data.GetTempBuffer()->GetSize(), 658U * 494U * 12U);
    const auto before = data.GetTempBuffer();
    data.Init(2, 2, 1, 1, CCTImage::eIDT_UINT8, nullptr);
    EXPECT_EQ(data.GetTempBuffer(), before) << "nothing happens without a context";
}

TEST_P(GPUBuffer, TemporaryBufferTakesItsSizeFromRequirements)
{
    const auto context = CreateContext();
    const auto reqs = std::make_shared<LxCFrameGrabberReqs>();
    reqs->setWidth(7);
    reqs->setHeight(5);
    CBaseData data;
    data.Init(reqs, context);
    ASSERT_NE(data.GetTempBuffer(), nullptr);
    EXPECT_EQ(data.GetTempBuffer()->GetSize(), 7U * 5U * 12U);
    const auto before = data.GetTempBuffer();
    data.Init(reqs, nullptr);
    data.Init(nullptr, context);
    EXPECT_EQ(data.GetTempBuffer(), before);
}

TEST_P(GPUBuffer, TemporaryBufferThatCannotBeIsRefusedAndTheEarlierOneKept)
{
    const auto context = CreateContext();
    CBaseData data;
    data.Init(3, 2, 1, 1, CCTImage::eIDT_UINT8, context);
    const auto before = data.GetTempBuffer();
    const int sizes[][2] = {
        {0, 2}, {2, 0}, {-1, 2}, {2, -1}, {-2, -2}, {INT_MIN, INT_MIN}, {INT_MAX, INT_MAX}};
    for (const auto& size : sizes) {
        EXPECT_EQ(ThrownBy([&] { data.Init(size[0], size[1], 1, 1, CCTImage::eIDT_UINT8, context); }),
                  "Could not create buffer!")
            << size[0] << " " << size[1];
        EXPECT_EQ(data.GetTempBuffer(), before);
    }
}

TEST(LxCGPUBuffer2D, EveryPlaneMustBeThere)
{
    EXPECT_EQ(LxCGPUBuffer2D(std::make_shared<TestSupport::CRefusingContext>(3), eGPT_UInt8, 2, 2, 3)
                  .getNrChannels(),
              3U);
    EXPECT_EQ(ThrownBy([] {
                  const LxCGPUBuffer2D buffer(std::make_shared<TestSupport::CRefusingContext>(2), eGPT_UInt8,
                                              2, 2, 3);
              }),
              "Could not create buffer!");
}

TEST(LxCGPUBuffer2D, ChannelsNeedAContext)
{
    EXPECT_EQ(ThrownBy([] { const LxCGPUBuffer2D buffer(nullptr, eGPT_UInt8, 2, 2, 1); }),
              "Could not create buffer!");
}

TEST(LxCGPUBuffer2D, FaultIsAGPUException)
{
    EXPECT_THROW(LxCGPUBuffer2D(nullptr, eGPT_UInt8, 2, 2, 1), LxCGPUException);
}

TEST(LxCGPUException, CarriesItsTextAndTheCallStackOfItsConstruction)
{
    EXPECT_EQ(LxCGPUException("text").GetCallStack(), "no strCallStack");
    try {
        const LxCAutomaticGuardUnguard outer("outer");
        const LxCAutomaticGuardUnguard inner("inner");
        throw LxCGPUException("kernel failed");
    } catch (const LxCGPUException& exception) {
        EXPECT_STREQ(exception.what(), "kernel failed");
        EXPECT_EQ(exception.GetCallStack(), "outer -> inner");
    }
    EXPECT_STREQ(LxCGPUException(nullptr).what(), "");
}

TEST(CGPUContextFactoryCCT, CreatesAContextWithoutASession)
{
    const ::TestSupport::CEnvironmentVariable host("LXCV_GPGPU", "host");
    const auto context = CGPUContextFactoryCCT::CreateContext();
    EXPECT_NE(context, CGPUContextFactoryCCT::CreateContext());
    EXPECT_TRUE(GPGPU::CSession(context, 0).IsActive());
}

TEST(CGPUContextFactoryCCT, SessionLastsAsLongAsTheHandle)
{
    const ::TestSupport::CEnvironmentVariable host("LXCV_GPGPU", "host");
    auto context = CGPUContextFactoryCCT::CreateContextWithSession();
    EXPECT_FALSE(GPGPU::CSession(context, 0).IsActive());
    const auto buffer = context->CreateBuffer(10);
    auto copy = context;
    context.reset();
    EXPECT_FALSE(GPGPU::CSession(copy, 0).IsActive());
    const std::weak_ptr<GPGPU::IContext> watch = copy;
    copy.reset();
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(BytesOf(*buffer).size(), 10U);
}

TEST(CGPUContextFactoryCCT, HostMemoryStandsInOnlyWhereItMay)
{
    const ::TestSupport::CEnvironmentVariable host("LXCV_GPGPU", "host");
    EXPECT_NE(CGPUContextFactoryCCT::CreateContextWithSession(true), nullptr);
    EXPECT_EQ(CGPUContextFactoryCCT::CreateContextWithSession(false), nullptr);
}

TEST_P(GPUBuffer, FactoryFollowsTheForcedTechnology)
{
    const bool openCL = GetParam() == GPGPU::ETechnology::eOpenCL;
    const ::TestSupport::CEnvironmentVariable forced("LXCV_GPGPU", openCL ? "opencl" : "host");
    EXPECT_EQ(CGPUContextFactoryCCT::CreateContext()->GetTechnology(), GetParam());
    const auto context = CGPUContextFactoryCCT::CreateContextWithSession(!openCL);
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->GetTechnology(), GetParam());
    EXPECT_FALSE(GPGPU::CSession(context, 0).IsActive());
}

} // namespace
} // namespace LxCV
