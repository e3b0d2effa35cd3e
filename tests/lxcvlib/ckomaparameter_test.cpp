#include "ckomaparameter.h"

#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace LxCV {
namespace {

constexpr double c_dNaN = std::numeric_limits<double>::quiet_NaN();

struct CPoint
{
    double x;
    double y;
    double z;
};

CPoint Corrected(const CKomaParameter& koma, CPoint p)
{
    koma.CorrectPoint(&p.x, &p.y, &p.z);
    return p;
}

CKomaParameter Switched(bool use)
{
    CKomaParameter koma;
    koma.SetUse(use);
    return koma;
}

TEST(CKomaParameter, IsAtFirstSwitchedOffWithoutCoefficients)
{
    const CKomaParameter koma;
    EXPECT_FALSE(koma.GetUse());
    EXPECT_EQ(koma.GetMaxDelta(), 0.025);
    EXPECT_FALSE(koma.IsCalibrated());
    for (const auto axis : {CKomaParameter::eAxisX, CKomaParameter::eAxisY, CKomaParameter::eAxisZ}) {
        for (std::size_t i = 0; i < CKomaParameter::sc_uiNumCoefficients; ++i) {
            EXPECT_EQ(koma.GetCoefficient(axis, i), 0.0);
        }
    }
}

TEST(CKomaParameter, LeavesAPointBitForBitWhileSwitchedOff)
{
    CKomaParameter koma = Switched(false);
    koma.SetCoefficient(CKomaParameter::eAxisX, 0, 1.0);
    koma.SetCoefficient(CKomaParameter::eAxisZ, 9, c_dNaN);
    const CPoint p = Corrected(koma, {0.1, -0.0, 1e300});
    EXPECT_EQ(p.x, 0.1);
    EXPECT_TRUE(p.y == 0.0 && std::signbit(p.y));
    EXPECT_EQ(p.z, 1e300);
}

TEST(CKomaParameter, LimitsACorrectionOnEachAxis)
{
    CKomaParameter koma = Switched(true);
    koma.SetCoefficient(CKomaParameter::eAxisX, 0, 1.0);
    koma.SetCoefficient(CKomaParameter::eAxisY, 0, -1.0);
    const CPoint p = Corrected(koma, {1.0, 2.0, 33.0});
    EXPECT_EQ(p.x, 1.0 - 0.025);
    EXPECT_EQ(p.y, 2.0 + 0.025);
    EXPECT_EQ(p.z, 33.0);
}

TEST(CKomaParameter, KeepsACorrectionOfExactlyTheLimit)
{
    CKomaParameter koma = Switched(true);
    koma.SetMaxDelta(0.5);
    koma.SetCoefficient(CKomaParameter::eAxisX, 0, 0.5);
    koma.SetCoefficient(CKomaParameter::eAxisY, 0, -0.5);
    koma.SetCoefficient(CKomaParameter::eAxisZ, 0, std::nextafter(0.5, 0.0));
    const CPoint p = Corrected(koma, {0.0, 0.0, 0.0});
    EXPECT_EQ(p.x, -0.5);
    EXPECT_EQ(p.y, 0.5);
    EXPECT_EQ(p.z, -std::nextafter(0.5, 0.0));
}

TEST(CKomaParameter, TakesACorrectionThatIsNoNumberForTheLowerLimit)
{
    CKomaParameter koma = Switched(true);
    koma.SetCoefficient(CKomaParameter::eAxisX, 0, c_dNaN);
    koma.SetCoefficient(CKomaParameter::eAxisY, 0, std::numeric_limits<double>::infinity());
    koma.SetCoefficient(CKomaParameter::eAxisZ, 0, -std::numeric_limits<double>::infinity());
    const CPoint p = Corrected(koma, {0.0, 0.0, 0.0});
    EXPECT_EQ(p.x, 0.025);
    EXPECT_EQ(p.y, -0.025);
    EXPECT_EQ(p.z, 0.025);
}

TEST(CKomaParameter, SubtractsTheConstantTermsWhereTheShiftedPointIsTheOrigin)
{
    CKomaParameter koma = Switched(true);
    koma.SetMaxDelta(100.0);
    const double constants[] = {0.25, -0.5, 2.0};
    for (int axis = 0; axis < 3; ++axis) {
        for (std::size_t i = 0; i < CKomaParameter::sc_uiNumCoefficients; ++i) {
            koma.SetCoefficient(static_cast<CKomaParameter::EAxis>(axis), i, i == 0 ? constants[axis] : 7.0);
        }
    }
    const CPoint p = Corrected(koma, {0.0, -3.5, 33.0});
    EXPECT_EQ(p.x, -0.25);
    EXPECT_EQ(p.y, -3.0);
    EXPECT_EQ(p.z, 31.0);
}

/// The powers of x, y and z of each coefficient, as a table.
constexpr int c_aiPowers[10][3] = {{0, 0, 0}, {0, 0, 1}, {0, 0, 2}, {0, 1, 0}, {0, 1, 1},
                                   {0, 2, 0}, {1, 0, 0}, {1, 0, 1}, {1, 1, 0}, {2, 0, 0}};

TEST(CKomaParameter, EqualsTheSumOverItsTableOfPowers)
{
    std::mt19937_64 random(20240611);
    std::uniform_real_distribution<double> coordinate(-30.0, 60.0);
    std::uniform_real_distribution<double> coefficient(-1e-3, 1e-3);
    // Ten terms of at most 1e-3 * 63.5^2 = 4 each, a dozen roundings of 2^-53 relative.
    constexpr double tolerance = 12 * 10 * 4.0 * 1.2e-16;
    for (int trial = 0; trial < 5000; ++trial) {
        CKomaParameter koma = Switched(true);
        koma.SetMaxDelta(1000.0);
        double c[3][10];
        for (int axis = 0; axis < 3; ++axis) {
            for (std::size_t i = 0; i < 10; ++i) {
                c[axis][i] = coefficient(random);
                koma.SetCoefficient(static_cast<CKomaParameter::EAxis>(axis), i, c[axis][i]);
            }
        }
        const double at[3] = {coordinate(random), coordinate(random), coordinate(random)};
        const long double shifted[3] = {at[0], at[1] + 3.5L, at[2] - 33.0L};
        const CPoint p = Corrected(koma, {at[0], at[1], at[2]});
        const double result[3] = {p.x, p.y, p.z};
        for (int axis = 0; axis < 3; ++axis) {
            long double sum = 0.0L;
            for (int i = 0; i < 10; ++i) {
                long double term = c[axis][i];
                for (int k = 0; k < 3; ++k) {
                    term *= std::pow(shifted[k], static_cast<long double>(c_aiPowers[i][k]));
                }
                sum += term;
            }
            ASSERT_NEAR(result[axis], static_cast<double>(at[axis] - sum), tolerance) << trial << " " << axis;
        }
    }
}

TEST(CKomaParameter, ClearsItsPolynomialsAndKeepsLimitAndSwitch)
{
    CKomaParameter koma = Switched(true);
    koma.SetMaxDelta(0.5);
    koma.SetCoefficient(CKomaParameter::eAxisY, 4, 3.0);
    koma.ClearPolynomials();
    EXPECT_TRUE(koma.GetUse());
    EXPECT_EQ(koma.GetMaxDelta(), 0.5);
    EXPECT_EQ(koma.GetCoefficient(CKomaParameter::eAxisY, 4), 0.0);
    const CPoint p = Corrected(koma, {1.5, 2.5, 3.5});
    EXPECT_EQ(p.x, 1.5);
    EXPECT_EQ(p.y, 2.5);
    EXPECT_EQ(p.z, 3.5);
}

TEST(CKomaParameter, RefusesACoefficientThatItDoesNotHave)
{
    CKomaParameter koma;
    EXPECT_THROW(koma.SetCoefficient(CKomaParameter::eAxisX, 10, 0.0), std::out_of_range);
    EXPECT_THROW(koma.GetCoefficient(CKomaParameter::eAxisX, 10), std::out_of_range);
}

TEST(CKomaParameter, WritesThirtyCoefficientsThenLimitAndSwitchButNoState)
{
    CKomaParameter koma = Switched(true);
    koma.SetMaxDelta(0.5);
    koma.FinishedCalibrationSuccessful(L"somewhere");
    std::string expected = "::PolynomKoma\n";
    for (int axis = 0; axis < 3; ++axis) {
        for (int i = 0; i < 10; ++i) {
            const int value = 10 * axis + i;
            koma.SetCoefficient(static_cast<CKomaParameter::EAxis>(axis), static_cast<std::size_t>(i), value);
            expected += "P" + std::to_string(axis) + std::to_string(i) + "=" + std::to_string(value) +
                        ".00000000000000000000\n";
        }
    }
    expected += "MaxDelta=0.50000000000000000000\nUse=1\n";
    EXPECT_EQ(TestSupport::Store(koma, "::PolynomKoma"), expected);
}

TEST(CKomaParameter, ReadsWhatItsTextHoldsAndKeepsTheRest)
{
    CKomaParameter koma;
    koma.SetCoefficient(CKomaParameter::eAxisX, 1, 4.0);
    koma.SetCoefficient(CKomaParameter::eAxisX, 2, 5.0);
    TestSupport::Load(koma, "::PolynomKoma", "::PolynomKoma\nP02=0.5\nP29=-1e-3\nP30=1\nUse=1\nMaxDelta=x\n");
    EXPECT_EQ(koma.GetCoefficient(CKomaParameter::eAxisX, 1), 4.0);
    EXPECT_EQ(koma.GetCoefficient(CKomaParameter::eAxisX, 2), 0.5);
    EXPECT_EQ(koma.GetCoefficient(CKomaParameter::eAxisZ, 9), -1e-3);
    EXPECT_EQ(koma.GetMaxDelta(), 0.025);
    EXPECT_TRUE(koma.GetUse());
}

TEST(CKomaParameter, CopiesStateCoefficientsLimitAndSwitch)
{
    CKomaParameter koma = Switched(true);
    koma.SetCoefficient(CKomaParameter::eAxisZ, 3, 9.0);
    koma.SetMaxDelta(2.0);
    koma.FinishedCalibrationSuccessful(L"info");
    const CKomaParameter copy(koma);
    EXPECT_TRUE(copy.IsCalibrated());
    EXPECT_EQ(copy.GetCalibInfos(), L"info");
    EXPECT_TRUE(copy.GetUse());
    EXPECT_EQ(copy.GetMaxDelta(), 2.0);
    EXPECT_EQ(copy.GetCoefficient(CKomaParameter::eAxisZ, 3), 9.0);
}

} // namespace
} // namespace LxCV
