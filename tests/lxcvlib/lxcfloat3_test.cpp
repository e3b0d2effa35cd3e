#include "lxcfloat3.h"

#include "lxcxyzvalue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>

namespace LxCV {
namespace {

constexpr float c_fNaN = std::numeric_limits<float>::quiet_NaN();

void ExpectTriple(const LxCFloat3& triple, float e0, float e1, float e2)
{
    EXPECT_EQ(triple.get(0), e0);
    EXPECT_EQ(triple.get(1), e1);
    EXPECT_EQ(triple.get(2), e2);
}

TEST(LxCFloat3, IsThreeFloatsWithoutVirtualOperations)
{
    EXPECT_EQ(sizeof(LxCFloat3), 12U);
    EXPECT_EQ(sizeof(LxCXYZValue), 12U);
    EXPECT_FALSE(std::is_polymorphic_v<LxCFloat3>);
    const LxCFloat3 triple(1.0F, 2.0F, 3.0F);
    const float* elements = reinterpret_cast<const float*>(&triple);
    EXPECT_EQ(elements[1], 2.0F);
}

TEST(LxCFloat3, OneValueFillsAllElements)
{
    ExpectTriple(LxCFloat3(2.5F), 2.5F, 2.5F, 2.5F);
    LxCFloat3 a;
    ExpectTriple(a = 1.5F, 1.5F, 1.5F, 1.5F);
    ExpectTriple(a = 0.1, 0.1F, 0.1F, 0.1F);
}

TEST(LxCFloat3, SetConvertsDoubles)
{
    LxCFloat3 a;
    a.set(1.0F, 2.0F, 3.0F);
    ExpectTriple(a, 1.0F, 2.0F, 3.0F);
    a.set(0.1, 1e300, -0.2);
    ExpectTriple(a, 0.1F, std::numeric_limits<float>::infinity(), -0.2F);
    a.set(1, 7.0F);
    EXPECT_EQ(a.get(1), 7.0F);
}

TEST(LxCFloat3, AnIndexOutsideReadsZeroAndWritesNothing)
{
    LxCFloat3 a(1.0F, 2.0F, 3.0F);
    for (const int index : {-1, 3, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        EXPECT_EQ(a.get(index), 0.0F);
        a.set(index, 9.0F);
    }
    ExpectTriple(a, 1.0F, 2.0F, 3.0F);
}

TEST(LxCFloat3, ArithmeticIsComponentwise)
{
    const LxCFloat3 a(1.0F, 2.0F, 3.0F);
    const LxCFloat3 b(10.0F, -4.0F, 6.0F);
    ExpectTriple(a + b, 11.0F, -2.0F, 9.0F);
    ExpectTriple(a - b, -9.0F, 6.0F, -3.0F);
    ExpectTriple(a * b, 10.0F, -8.0F, 18.0F);
    ExpectTriple(b / a, 10.0F, -2.0F, 2.0F);
    ExpectTriple(-b, -10.0F, 4.0F, -6.0F);
    ExpectTriple(b * 0.5F, 5.0F, -2.0F, 3.0F);
    ExpectTriple(b / 2.0F, 5.0F, -2.0F, 3.0F);
}

TEST(LxCFloat3, CompoundAssignmentIsComponentwise)
{
    const LxCFloat3 a(1.0F, 2.0F, 3.0F);
    LxCFloat3 c = a;
    ExpectTriple(c += a, 2.0F, 4.0F, 6.0F);
    ExpectTriple(c *= a, 2.0F, 8.0F, 18.0F);
    ExpectTriple(c -= a, 1.0F, 6.0F, 15.0F);
    ExpectTriple(c /= a, 1.0F, 3.0F, 5.0F);
    ExpectTriple(c *= 4.0F, 4.0F, 12.0F, 20.0F);
    ExpectTriple(c /= 2.0F, 2.0F, 6.0F, 10.0F);
}

TEST(LxCFloat3, ReductionsMatchHandCalculation)
{
    const LxCFloat3 a(2.0F, -6.0F, 3.0F);
    EXPECT_EQ(a.getMax(), 3.0F);
    EXPECT_EQ(a.getMin(), -6.0F);
    EXPECT_EQ(a.getMaxAbs(), 6.0F);
    EXPECT_EQ(a.getMinAbs(), 2.0F);
    EXPECT_EQ(a.getSum(), -1.0F);
    EXPECT_EQ(a.getSumAbs(), 11.0F);
    EXPECT_EQ(a.GetMean(), -1.0F / 3.0F);
    EXPECT_EQ(a.getModulus(), 7.0F); // sqrt(4 + 36 + 9)
    ExpectTriple(a.absolute(), 2.0F, 6.0F, 3.0F);
}

TEST(LxCFloat3, NormalizedDividesByTheLargestAbsoluteElement)
{
    ExpectTriple(LxCFloat3(2.0F, -4.0F, 1.0F).normalized(), 0.5F, -1.0F, 0.25F);
    ExpectTriple(LxCFloat3().normalized(), 0.0F, 0.0F, 0.0F);
}

TEST(LxCFloat3, NonNegativeIncludesZero)
{
    EXPECT_TRUE(LxCFloat3(0.0F, -0.0F, 1.0F).isNonNegative());
    for (int i = 0; i < 3; ++i) {
        LxCFloat3 a(1.0F);
        a.set(i, -1e-30F);
        EXPECT_FALSE(a.isNonNegative());
        a.makeNonNegative();
        EXPECT_EQ(a.get(i), 0.0F);
        EXPECT_TRUE(a.isNonNegative());
    }
    EXPECT_FALSE(LxCFloat3(c_fNaN, 1.0F, 1.0F).isNonNegative());
}

TEST(LxCFloat3, ThresholdKeepsElementsAtTheLimit)
{
    LxCFloat3 a(2.0F, -2.0F, 1.999F);
    a.threshold(2.0F);
    ExpectTriple(a, 2.0F, -2.0F, 0.0F);
    a.set(-1.0F, 3.0F, -3.0F);
    a.threshold(2.0F);
    ExpectTriple(a, 0.0F, 3.0F, -3.0F);
}

TEST(LxCFloat3, DifferencesAreOfAbsoluteValues)
{
    const LxCFloat3 a(1.0F, 2.0F, 3.0F);
    const LxCFloat3 b(2.0F, -2.0F, 3.5F);
    EXPECT_EQ(a.maxDiffTo(b), 4.0);
    EXPECT_EQ(a.totalDiffTo(b), 5.5);
    static_assert(std::is_same_v<decltype(a.maxDiffTo(b)), double>);
    static_assert(std::is_same_v<decltype(a.totalDiffTo(b)), double>);
}

TEST(LxCFloat3, AngularDifferenceIsTheCosine)
{
    const LxCFloat3 a(3.0F, 0.0F, 4.0F);
    EXPECT_EQ(a.angularDifferenceCos(LxCFloat3(0.0F, 2.0F, 0.0F)), 0.0);
    EXPECT_EQ(a.angularDifferenceCos(a), 1.0);
    EXPECT_EQ(a.angularDifferenceCos(-a * 2.0F), -1.0);
    // Computed in float: 3 / 5 is the float nearest to 0.6.
    EXPECT_EQ(a.angularDifferenceCos(LxCFloat3(1.0F, 0.0F, 0.0F)), static_cast<double>(0.6F));
    EXPECT_TRUE(std::isnan(a.angularDifferenceCos(LxCFloat3())));
}

TEST(LxCFloat3, HtmlTextHasTwoDigitsAnElement)
{
    EXPECT_EQ(LxCFloat3(255.0F, 128.0F, 1.0F).toHTML(1.0F), "ff8001");
    EXPECT_EQ(LxCFloat3(10.9F, 0.0F, 16.0F).toHTML(1.0F), "0a0010");
}

TEST(LxCFloat3, HtmlScaleIsBoundedByTheLargestElement)
{
    // 255 / 51 = 5 is smaller than 1000.
    EXPECT_EQ(LxCFloat3(51.0F, 10.0F, 0.0F).toHTML(1000.0F), "ff3200");
    EXPECT_EQ(LxCFloat3(510.0F, 255.0F, 0.0F).toHTML(1.0F), "ff7f00");
}

TEST(LxCFloat3, HtmlTakesNegativeElementsAsZero)
{
    EXPECT_EQ(LxCFloat3(-20.0F, 32.0F, -0.5F).toHTML(1.0F), "002000");
    EXPECT_EQ(LxCFloat3(-1.0F, -2.0F, -3.0F).toHTML(1.0F), "000000");
}

TEST(LxCFloat3, HtmlIsDefinedForBlackAndForNoNumber)
{
    EXPECT_EQ(LxCFloat3().toHTML(1.0F), "000000");
    EXPECT_EQ(LxCFloat3(c_fNaN, c_fNaN, c_fNaN).toHTML(1.0F), "000000");
    EXPECT_EQ(LxCFloat3().toHTML(std::numeric_limits<float>::infinity()), "000000");
    EXPECT_EQ(LxCFloat3(c_fNaN, 300.0F, 16.0F).toHTML(1.0F), "00ff10");
    EXPECT_EQ(LxCFloat3(std::numeric_limits<float>::infinity(), 5.0F, 0.0F).toHTML(1.0F), "000000");
}

TEST(LxCXYZValue, NamesTheElementsInOrder)
{
    LxCXYZValue xyz(1.0F, 2.0F, 3.0F);
    EXPECT_EQ(xyz.GetX(), 1.0F);
    EXPECT_EQ(xyz.GetY(), 2.0F);
    EXPECT_EQ(xyz.GetZ(), 3.0F);
    xyz.SetX(4.0F);
    xyz.SetY(5.0F);
    xyz.SetZ(6.0F);
    ExpectTriple(xyz, 4.0F, 5.0F, 6.0F);
    xyz = LxCFloat3(7.0F, 8.0F, 9.0F) + xyz;
    ExpectTriple(xyz, 11.0F, 13.0F, 15.0F);
    xyz = 2.0F;
    ExpectTriple(xyz, 2.0F, 2.0F, 2.0F);
}

} // namespace
} // namespace LxCV
