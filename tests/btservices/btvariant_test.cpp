#include "orx/btservices/btvariant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include <limits>
#include <random>
#include <string>

namespace {

constexpr int c_iLargest = std::numeric_limits<int>::max();
constexpr int c_iSmallest = std::numeric_limits<int>::min();
const double c_dNaN = std::numeric_limits<double>::quiet_NaN();
const double c_dInfinity = std::numeric_limits<double>::infinity();

TEST(BtVariant, TellsTheTypeItHolds)
{
    EXPECT_EQ(BtVariant().GetType(), BtVariant::eEmpty);
    EXPECT_TRUE(BtVariant().IsEmpty());
    EXPECT_EQ(BtVariant(true).GetType(), BtVariant::eBool);
    EXPECT_EQ(BtVariant(1).GetType(), BtVariant::eInt);
    EXPECT_EQ(BtVariant(1U).GetType(), BtVariant::eUnsigned);
    EXPECT_EQ(BtVariant(1.0).GetType(), BtVariant::eDouble);
    EXPECT_EQ(BtVariant("a").GetType(), BtVariant::eString);
    EXPECT_EQ(BtVariant(L"a").GetType(), BtVariant::eWString);
}

TEST(BtVariant, GetGivesNullForAnotherType)
{
    const BtVariant variant(3);
    ASSERT_NE(variant.Get<int>(), nullptr);
    EXPECT_EQ(*variant.Get<int>(), 3);
    EXPECT_EQ(variant.Get<bool>(), nullptr);
    EXPECT_EQ(variant.Get<double>(), nullptr);
}

struct ConversionCase
{
    BtVariant from;
    BtVariant to;
};

TEST(BtVariant, ConvertsByValue)
{
    const ConversionCase cases[] = {
        {true, 1},
        {false, 0U},
        {true, 1.0},
        {true, "true"},
        {false, L"false"},
        {0, false},
        {-5, true},
        {7, 7U},
        {-7, -7.0},
        {-7, "-7"},
        {c_iLargest, L"2147483647"},
        {4294967295U, 4294967295.0},
        {4294967295U, "4294967295"},
        {0.0, false},
        {1e-300, true},
        {-2.9, -2},
        {2.9, 2U},
        {2147483647.9, c_iLargest},
        {-2147483648.9, c_iSmallest},
        {c_dInfinity, true},
        {0.1, "0.1"},
        {1e100, "1e+100"},
        {"TRUE", true},
        {"false", false},
        {"0", false},
        {"0.5", true},
        {"12", 12},
        {L"-12", -12},
        {"3.25", 3.25},
        {"\xC3\xA4", L"\u00e4"},
        {L"\u00e4", "\xC3\xA4"},
        {5, 5},
        {5, BtVariant()},
    };
    for (const ConversionCase& conversion : cases) {
        BtVariant variant = conversion.from;
        BtVariant text = conversion.from;
        text.ConvertTo(BtVariant::eString);
        const std::string what = text.IsEmpty() ? "" : *text.Get<std::string>();
        EXPECT_TRUE(variant.ConvertTo(conversion.to.GetType())) << what;
        EXPECT_TRUE(variant == conversion.to) << what;
    }
}

struct RefusalCase
{
    BtVariant from;
    BtVariant::EType to;
};

TEST(BtVariant, KeepsAValueThatDoesNotConvert)
{
    const RefusalCase cases[] = {
        {BtVariant(), BtVariant::eBool},
        {BtVariant(), BtVariant::eInt},
        {BtVariant(), BtVariant::eString},
        {-1, BtVariant::eUnsigned},
        {2147483648U, BtVariant::eInt},
        {2147483648.0, BtVariant::eInt},
        {-2147483649.0, BtVariant::eInt},
        {-1.0, BtVariant::eUnsigned},
        {4294967296.0, BtVariant::eUnsigned},
        {1e300, BtVariant::eInt},
        {c_dInfinity, BtVariant::eInt},
        {"", BtVariant::eBool},
        {"yes", BtVariant::eBool},
        {"", BtVariant::eInt},
        {" 1", BtVariant::eInt},
        {"1 ", BtVariant::eInt},
        {"1.5", BtVariant::eInt},
        {"2147483648", BtVariant::eInt},
        {"-1", BtVariant::eUnsigned},
        {"1,5", BtVariant::eDouble},
        {L"\u0661", BtVariant::eInt},
        {"nan", BtVariant::eBool},
        {"1", static_cast<BtVariant::EType>(7)},
        {"1", static_cast<BtVariant::EType>(-1)},
    };
    for (const RefusalCase& refusal : cases) {
        BtVariant variant = refusal.from;
        EXPECT_FALSE(variant.ConvertTo(refusal.to)) << refusal.to;
        EXPECT_TRUE(variant == refusal.from) << refusal.to;
    }
}

TEST(BtVariant, NaNConvertsToTextOnly)
{
    for (const auto type : {BtVariant::eBool, BtVariant::eInt, BtVariant::eUnsigned}) {
        BtVariant variant(c_dNaN);
        EXPECT_FALSE(variant.ConvertTo(type)) << type;
        ASSERT_NE(variant.Get<double>(), nullptr);
        EXPECT_TRUE(std::isnan(*variant.Get<double>()));
    }
    std::string text;
    EXPECT_TRUE(BtVariant(c_dNaN).GetAs(text));
    EXPECT_EQ(text, "nan");
}

TEST(BtVariant, GetAsLeavesTheOutputOfAFailedConversion)
{
    int number = 42;
    EXPECT_FALSE(BtVariant("x").GetAs(number));
    EXPECT_EQ(number, 42);
    EXPECT_TRUE(BtVariant("17").GetAs(number));
    EXPECT_EQ(number, 17);
}

TEST(BtVariant, DoubleSurvivesItsText)
{
    std::mt19937_64 generator(7);
    for (int i = 0; i < 5000; ++i) {
        const std::uint64_t bits = generator();
        const double value =
            std::ldexp(static_cast<double>(bits >> 11U), static_cast<int>(bits & 1023U) - 512);
        BtVariant variant(value);
        ASSERT_TRUE(variant.ConvertTo(BtVariant::eWString));
        ASSERT_TRUE(variant.ConvertTo(BtVariant::eDouble));
        ASSERT_EQ(*variant.Get<double>(), value) << i;
    }
}

} // namespace
