#include "orx/btservices/btdatetime.h"

#include "orx/btservices/ymstreamreadbinaryfile.h"
#include "orx/btservices/ymstreamwritebinaryfile.h"
#include "orx/platform/clock.h"
#include "orx/platform/unicode.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::int32_t c_iLargest = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t c_iSmallest = std::numeric_limits<std::int32_t>::min();

BtDateTime Restored(const TestSupport::CTemporaryFolder& folder, BtDateTime date, bool& read)
{
    const std::wstring path = platform::WidenUtf8(folder / "date");
    YmStreamWriteBinaryFile out(path);
    EXPECT_TRUE(date.Serialize(out));
    EXPECT_TRUE(out.Close());
    YmStreamReadBinaryFile in(path);
    BtDateTime restored(1999, 9, 9);
    read = restored.Serialize(in);
    return restored;
}

TEST(BtDateTime, IsAtFirstAllZero)
{
    const BtDateTime none;
    EXPECT_TRUE(none.IsNull());
    EXPECT_EQ(none.GetYear(), 0);
    EXPECT_EQ(none.GetMillisecond(), 0);
    EXPECT_LT(none, BtDateTime(1, 1, 1));
}

TEST(BtDateTime, TakesMomentsOfTheCalendarOnly)
{
    EXPECT_FALSE(BtDateTime(2024, 2, 29, 23, 59, 59, 999).IsNull());
    EXPECT_FALSE(BtDateTime(2000, 2, 29).IsNull()) << "a multiple of 400";
    EXPECT_TRUE(BtDateTime(1900, 2, 29).IsNull());
    EXPECT_TRUE(BtDateTime(2023, 2, 29).IsNull());
    EXPECT_TRUE(BtDateTime(2023, 4, 31).IsNull());
    EXPECT_TRUE(BtDateTime(0, 1, 1).IsNull());
    EXPECT_TRUE(BtDateTime(10000, 1, 1).IsNull());
    EXPECT_TRUE(BtDateTime(2023, 0, 1).IsNull());
    EXPECT_TRUE(BtDateTime(2023, 13, 1).IsNull());
    EXPECT_TRUE(BtDateTime(2023, 1, 0).IsNull());
    EXPECT_TRUE(BtDateTime(2023, 1, 1, 24).IsNull());
    EXPECT_TRUE(BtDateTime(2023, 1, 1, -1).IsNull());
    EXPECT_TRUE(BtDateTime(2023, 1, 1, 0, 60).IsNull());
    EXPECT_TRUE(BtDateTime(2023, 1, 1, 0, 0, 60).IsNull());
    EXPECT_TRUE(BtDateTime(2023, 1, 1, 0, 0, 0, 1000).IsNull());
    EXPECT_TRUE(BtDateTime(c_iLargest, c_iLargest, c_iLargest).IsNull());
    EXPECT_TRUE(BtDateTime(c_iSmallest, c_iSmallest, c_iSmallest).IsNull());
}

TEST(BtDateTime, NowIsTheClocksDateInUtc)
{
    platform::ManualClock clock;
    const platform::ScopedClock scoped(clock);
    std::mt19937_64 random(4);
    for (int i = 0; i < 2000; ++i) {
        // Years 1678 to 2261, as nanoseconds in 64 bits reach.
        const auto milliseconds =
            static_cast<std::int64_t>(random() % 18'000'000'000'000ULL) - 9'000'000'000'000LL;
        clock.SetNow(std::chrono::system_clock::time_point(std::chrono::milliseconds(milliseconds)));
        const std::int64_t part = ((milliseconds % 1000) + 1000) % 1000;
        const std::time_t seconds = (milliseconds - part) / 1000;
        std::tm expected{};
        gmtime_r(&seconds, &expected);
        ASSERT_EQ(BtDateTime::Now(),
                  BtDateTime(expected.tm_year + 1900, expected.tm_mon + 1, expected.tm_mday, expected.tm_hour,
                             expected.tm_min, expected.tm_sec, static_cast<std::int32_t>(part)))
            << milliseconds;
    }
}

TEST(BtDateTime, ComparesFieldByField)
{
    const std::vector<BtDateTime> rising = {
        BtDateTime(),
        BtDateTime(2023, 12, 31, 23, 59, 59, 999),
        BtDateTime(2024, 1, 1),
        BtDateTime(2024, 1, 1, 0, 0, 0, 1),
        BtDateTime(2024, 1, 1, 0, 0, 1),
        BtDateTime(2024, 1, 1, 0, 1),
        BtDateTime(2024, 1, 1, 1),
        BtDateTime(2024, 1, 2),
        BtDateTime(2024, 2, 1),
    };
    for (std::size_t i = 0; i < rising.size(); ++i) {
        for (std::size_t k = 0; k < rising.size(); ++k) {
            EXPECT_EQ(rising[i] < rising[k], i < k);
            EXPECT_EQ(rising[i] == rising[k], i == k);
        }
    }
}

TEST(BtDateTime, MonthsLeadToTheSameDayOrTheLastOne)
{
    const BtTimeInterval twoMonths(0, 2);
    EXPECT_EQ(BtDateTime(2024, 3, 15, 10, 11, 12, 13) + twoMonths, BtDateTime(2024, 5, 15, 10, 11, 12, 13));
    EXPECT_EQ(BtDateTime(2023, 12, 31) + twoMonths, BtDateTime(2024, 2, 29));
    EXPECT_EQ(BtDateTime(2022, 12, 31) + twoMonths, BtDateTime(2023, 2, 28));
    EXPECT_EQ(BtDateTime(2024, 2, 29) + BtTimeInterval(1), BtDateTime(2025, 2, 28));
    EXPECT_EQ(BtDateTime(2024, 1, 31) + BtTimeInterval(0, -1), BtDateTime(2023, 12, 31));
    EXPECT_EQ(BtDateTime(2024, 1, 31) + BtTimeInterval(1, -13), BtDateTime(2023, 12, 31));
    EXPECT_EQ(BtDateTime(2024, 2, 28) + BtTimeInterval(0, 0, 2), BtDateTime(2024, 3, 1));
    EXPECT_EQ(BtDateTime(2024, 3, 1) + BtTimeInterval(0, 0, -366), BtDateTime(2023, 3, 1));
    EXPECT_EQ(BtDateTime(2024, 3, 1, 5) + BtTimeInterval(), BtDateTime(2024, 3, 1, 5));
}

TEST(BtDateTime, SumsStayInTheCalendar)
{
    const BtDateTime date(2024, 5, 5);
    const BtDateTime first(1, 1, 1);
    const BtDateTime last(9999, 12, 31, 23, 59, 59, 999);
    EXPECT_EQ(date + BtTimeInterval(c_iLargest, c_iLargest, c_iLargest), last);
    EXPECT_EQ(date + BtTimeInterval(c_iSmallest, c_iSmallest, c_iSmallest), first);
    EXPECT_EQ(date + BtTimeInterval(7976), last) << "the year 10000";
    EXPECT_EQ(date + BtTimeInterval(7975), BtDateTime(9999, 5, 5));
    EXPECT_EQ(date + BtTimeInterval(-2024), first);
    EXPECT_EQ(date + BtTimeInterval(-2023), BtDateTime(1, 5, 5));
    // 2^31 years are some 784 000 million days, of which 2^31 days are a small part.
    EXPECT_EQ(date + BtTimeInterval(c_iLargest, 0, c_iSmallest), last);
    EXPECT_EQ(date + BtTimeInterval(c_iSmallest, 0, c_iLargest), first);
    // 400 years have 146 097 days.
    EXPECT_EQ(date + BtTimeInterval(400'000, 0, -146'097'000), date);
    EXPECT_EQ(date + BtTimeInterval(-400'000, 0, 146'097'000), date);
    EXPECT_TRUE((BtDateTime() + BtTimeInterval(2024, 5, 5)).IsNull());
}

TEST(BtDateTime, ComesBackFromAFile)
{
    const TestSupport::CTemporaryFolder folder;
    const BtDateTime dates[] = {BtDateTime(), BtDateTime(1, 1, 1), BtDateTime(2024, 2, 29, 23, 58, 57, 123),
                                BtDateTime(9999, 12, 31, 23, 59, 59, 999)};
    for (const BtDateTime& date : dates) {
        bool read = false;
        EXPECT_EQ(Restored(folder, date, read), date);
        EXPECT_TRUE(read);
    }
    bool read = false;
    Restored(folder, BtDateTime(2024, 2, 29, 23, 58, 57, 0x123), read);
    // 2024 is 0x7e8; words of four bytes, the low one first.
    const char expected[] = "\xe8\x07\0\0\2\0\0\0\x1d\0\0\0\x17\0\0\0\x3a\0\0\0\x39\0\0\0\x23\1\0";
    EXPECT_EQ(TestSupport::ReadFile(folder / "date"), std::string(expected, sizeof expected));
}

TEST(BtDateTime, IsNotReadFromWhatIsNoMoment)
{
    const TestSupport::CTemporaryFolder folder;
    const std::wstring path = platform::WidenUtf8(folder / "date");
    const std::int32_t good[7] = {2024, 2, 29, 23, 59, 59, 999};
    for (std::size_t field = 0; field < 7; ++field) {
        for (const std::int32_t value : {-1, 30'000, c_iLargest, c_iSmallest}) {
            YmStreamWriteBinaryFile out(path);
            for (std::size_t i = 0; i < 7; ++i) {
                std::int32_t word = i == field ? value : good[i];
                out.Serialize(word);
            }
            ASSERT_TRUE(out.Close());
            YmStreamReadBinaryFile in(path);
            BtDateTime date(2001, 2, 3);
            EXPECT_FALSE(date.Serialize(in)) << field << ", " << value;
            EXPECT_EQ(date, BtDateTime(2001, 2, 3));
        }
    }
}

} // namespace
