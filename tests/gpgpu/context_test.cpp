#include "orx/gpgpu/icontext.h"

#include "orx/logging/logger.h"
#include "tests/support/computecontext.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <thread>

namespace GPGPU {
namespace {

using TestSupport::BytesOf;
using TestSupport::RandomBytes;

class Context : public TestSupport::CEachTechnology
{};

INSTANTIATE_TEST_SUITE_P(On, Context, TestSupport::c_allTechnologies, TestSupport::NameOfTechnology);

constexpr std::size_t c_sizeMax = std::numeric_limits<std::size_t>::max();

TEST_P(Context, TellsWhatItIs)
{
    const auto context = CreateContext();
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(m_pAccess->GetTechnology(), GetParam());
    EXPECT_EQ(context->GetTechnology(), GetParam());
    EXPECT_FALSE(context->GetDeviceName().empty());
    EXPECT_GT(context->GetMaxBufferSize(), 1U << 20U);
    EXPECT_LE(context->GetMaxBufferSize(), context->GetMemorySize());
}

TEST_P(Context, BuffersReadWhatWasWritten)
{
    for (const std::size_t size : {1U, 2U, 3U, 4095U, 4096U, 1'300'207U}) {
        const auto buffer = CreateContext()->CreateBuffer(size);
        ASSERT_NE(buffer, nullptr);
        EXPECT_EQ(buffer->GetSize(), size);
        const std::vector<std::byte> bytes = RandomBytes(size, 1);
        buffer->Write(0, bytes);
        EXPECT_EQ(BytesOf(*buffer), bytes);
    }
}

TEST_P(Context, WritesAndReadsKeepToTheirRange)
{
    const auto buffer = CreateContext()->CreateBuffer(16);
    std::vector<std::byte> expected = RandomBytes(16, 2);
    buffer->Write(0, expected);
    const std::vector<std::byte> piece = RandomBytes(5, 3);
    buffer->Write(7, piece);
    std::copy(piece.begin(), piece.end(), expected.begin() + 7);
    EXPECT_EQ(BytesOf(*buffer), expected);
    std::vector<std::byte> read(4);
    buffer->Read(12, read);
    EXPECT_TRUE(std::equal(read.begin(), read.end(), expected.begin() + 12));
}

TEST_P(Context, RangesBeyondTheBufferAreRefused)
{
    const auto context = CreateContext();
    const auto buffer = context->CreateBuffer(8);
    const auto other = context->CreateBuffer(8);
    const std::vector<std::byte> expected = RandomBytes(8, 4);
    buffer->Write(0, expected);
    other->Write(0, expected);
    std::vector<std::byte> nine(9);
    EXPECT_THROW(buffer->Write(0, nine), std::out_of_range);
    EXPECT_THROW(buffer->Read(0, nine), std::out_of_range);
    std::vector<std::byte> two(2);
    for (const std::size_t offset :
         {std::size_t{7}, std::size_t{8}, std::size_t{9}, c_sizeMax - 1, c_sizeMax}) {
        EXPECT_THROW(buffer->Write(offset, two), std::out_of_range) << offset;
        EXPECT_THROW(buffer->Read(offset, two), std::out_of_range) << offset;
        EXPECT_THROW(context->Copy(*buffer, offset, *other, 0, 2), std::out_of_range) << offset;
        EXPECT_THROW(context->Copy(*buffer, 0, *other, offset, 2), std::out_of_range) << offset;
    }
    EXPECT_THROW(context->Copy(*buffer, 0, *other, 0, c_sizeMax), std::out_of_range);
    EXPECT_EQ(BytesOf(*buffer), expected);
    EXPECT_EQ(BytesOf(*other), expected);
}

TEST_P(Context, RefusalNamesTheRange)
{
    const auto buffer = CreateContext()->CreateBuffer(8);
    std::vector<std::byte> two(2);
    try {
        buffer->Read(7, two);
        FAIL();
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "2 bytes at 7 do not lie in a buffer of 8 bytes");
    }
}

TEST_P(Context, NothingMayBeCopiedUpToTheEnd)
{
    const auto context = CreateContext();
    const auto buffer = context->CreateBuffer(8);
    for (const std::size_t offset : {0U, 8U}) {
        EXPECT_NO_THROW(buffer->Write(offset, {}));
        EXPECT_NO_THROW(buffer->Read(offset, {}));
        EXPECT_NO_THROW(context->Copy(*buffer, offset, *buffer, 8 - offset, 0));
    }
    EXPECT_THROW(buffer->Write(9, {}), std::out_of_range);
    EXPECT_THROW(buffer->Read(9, {}), std::out_of_range);
}

TEST_P(Context, SizesThatTheDeviceCannotHoldGiveNoBufferAndALogLine)
{
    const auto context = CreateContext();
    for (const std::uint64_t size : {std::uint64_t{0}, context->GetMaxBufferSize() + 1,
                                     context->GetMemorySize() + 1, std::uint64_t{c_sizeMax}}) {
        const Logging::CCapture capture;
        EXPECT_EQ(context->CreateBuffer(size), nullptr) << size;
        const auto records = capture.GetRecords();
        ASSERT_EQ(records.size(), 1U) << size;
        EXPECT_EQ(records[0].level, Logging::ELevel::eError);
        EXPECT_EQ(records[0].channel, GetParam() == ETechnology::eOpenCL ? L"ORX.Lumorad.COpenCLContext"
                                                                         : L"ORX.Lumorad.CHostContext");
        const std::wstring start = L"No buffer of " + std::to_wstring(size) + L" bytes ";
        EXPECT_TRUE(records[0].text.starts_with(start));
    }
}

TEST_P(Context, BuffersOutliveTheirContext)
{
    auto context = CreateContext();
    const auto buffer = context->CreateBuffer(100);
    context.reset();
    m_pAccess.reset();
    const std::vector<std::byte> bytes = RandomBytes(100, 5);
    buffer->Write(0, bytes);
    EXPECT_EQ(BytesOf(*buffer), bytes);
}

TEST_P(Context, CopiesOverlapInBothDirectionsBeyondThePieceOfADetour)
{
    constexpr std::size_t c_size = (std::size_t{9} << 20U) + 13; // more than two pieces of 4 MiB
    constexpr std::size_t c_shift = 1'000'003;
    const auto context = CreateContext();
    const auto buffer = context->CreateBuffer(c_size);
    const std::vector<std::byte> bytes = RandomBytes(c_size, 6);
    for (const bool upwards : {true, false}) {
        buffer->Write(0, bytes);
        context->Copy(*buffer, upwards ? 0 : c_shift, *buffer, upwards ? c_shift : 0, c_size - c_shift);
        std::vector<std::byte> expected = bytes;
        if (upwards) {
            std::copy(bytes.begin(), bytes.end() - c_shift, expected.begin() + c_shift);
        } else {
            std::copy(bytes.begin() + c_shift, bytes.end(), expected.begin());
        }
        EXPECT_TRUE(BytesOf(*buffer) == expected) << upwards;
    }
}

/// Random copies among buffers of three contexts, one of them in host memory, against vectors.
TEST_P(Context, RandomCopiesDoWhatVectorsDo)
{
    const std::shared_ptr<IContext> contexts[] = {
        CreateContext(), CreateContext(),
        CGPGPUFactory::GetTechnologyAccess(ETechnology::eHostMemory)->CreateContext()};
    std::mt19937 random(92);
    const auto below = [&random](std::size_t limit) { return static_cast<std::size_t>(random() % limit); };
    std::vector<std::shared_ptr<IBuffer>> buffers;
    std::vector<std::vector<std::byte>> models;
    for (unsigned int i = 0; i < 6; ++i) {
        models.push_back(RandomBytes(1 + below(300), i));
        buffers.push_back(contexts[i / 2]->CreateBuffer(models.back().size()));
        buffers.back()->Write(0, models.back());
    }
    for (int round = 0; round < 3000; ++round) {
        const std::size_t from = below(buffers.size());
        const std::size_t to = below(buffers.size());
        const std::size_t fromOffset = below(models[from].size());
        const std::size_t toOffset = below(models[to].size());
        const std::size_t size =
            below(std::min(models[from].size() - fromOffset, models[to].size() - toOffset) + 1);
        contexts[below(std::size(contexts))]->Copy(*buffers[from], fromOffset, *buffers[to], toOffset, size);
        const std::vector<std::byte> source = models[from];
        std::copy_n(source.begin() + static_cast<std::ptrdiff_t>(fromOffset), size,
                    models[to].begin() + static_cast<std::ptrdiff_t>(toOffset));
        ASSERT_EQ(BytesOf(*buffers[to]), models[to]) << round << ": " << size << " from " << from << " at "
                                                     << fromOffset << " to " << to << " at " << toOffset;
    }
}

TEST_P(Context, PipelinesRunBesideEachOther)
{
    const TestSupport::CWatchdog watchdog;
    std::vector<std::thread> threads;
    for (unsigned int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, thread] {
            const auto context = CreateContext();
            const auto first = context->CreateBuffer(5000);
            const auto second = context->CreateBuffer(5000);
            for (unsigned int round = 0; round < 20; ++round) {
                const std::vector<std::byte> bytes = RandomBytes(5000, 100 * thread + round);
                first->Write(0, bytes);
                context->Copy(*first, 0, *second, 0, 5000);
                ASSERT_EQ(BytesOf(*second), bytes);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(HostContext, BytesAreZeroUntilWritten)
{
    const auto context = CGPGPUFactory::GetTechnologyAccess(ETechnology::eHostMemory)->CreateContext();
    EXPECT_EQ(BytesOf(*context->CreateBuffer(1000)), std::vector<std::byte>(1000));
    EXPECT_EQ(context->GetDeviceName(), "host memory");
}

} // namespace
} // namespace GPGPU
