#include "scanner/decoder/edgeorder.h"

#include "tests/lxcvlib/allocationcount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

namespace decoder {
namespace {

/// Pixels of a column from the top, one for each number.
std::vector<EdgePixel> Column(const std::vector<int>& numbers, int column = 0)
{
    std::vector<EdgePixel> edges;
    for (const int number : numbers) {
        edges.push_back({column, 4.0 * static_cast<double>(edges.size()), number});
    }
    return edges;
}

std::vector<int> NumbersOf(const std::vector<EdgePixel>& edges, int column = 0)
{
    std::vector<int> numbers;
    for (const EdgePixel& edge : edges) {
        if (edge.column == column) {
            numbers.push_back(edge.stripeEdge);
        }
    }
    return numbers;
}

std::vector<int> Kept(const std::vector<int>& numbers)
{
    std::vector<EdgePixel> edges = Column(numbers);
    EdgeOrder().Apply(1, edges);
    return NumbersOf(edges);
}

TEST(EdgeOrder, KeepsWhatRises)
{
    EXPECT_EQ(Kept({3, 4, 5, 9, 10}), (std::vector<int>{3, 4, 5, 9, 10}));
    EXPECT_TRUE(Kept({}).empty());
}

TEST(EdgeOrder, DropsAsFewAsCanBe)
{
    EXPECT_EQ(Kept({3, 4, 90, 5, 6}), (std::vector<int>{3, 4, 5, 6}));
    EXPECT_EQ(Kept({80, 81, 3, 4, 5}), (std::vector<int>{3, 4, 5}));
    EXPECT_EQ(Kept({3, 4, 5, 1}), (std::vector<int>{3, 4, 5}));
}

TEST(EdgeOrder, KeepsOnePixelOfAnEdgeSeenTwice)
{
    EXPECT_EQ(Kept({3, 4, 4, 5}), (std::vector<int>{3, 4, 5}));
    EXPECT_EQ(Kept({7, 7, 7}), (std::vector<int>{7}));
}

TEST(EdgeOrder, OfTwoHalvesKeepsTheOneWithTheSmallerLastNumber)
{
    EXPECT_EQ(Kept({5, 6, 1, 2}), (std::vector<int>{1, 2}));
}

TEST(EdgeOrder, LooksAtEachColumnAlone)
{
    // Row by row: column 0 rises, column 1 falls, column 2 is empty.
    std::vector<EdgePixel> edges{{0, 1.0, 5}, {1, 1.5, 9}, {1, 4.0, 8},
                                 {0, 4.5, 6}, {1, 7.0, 7}, {0, 8.0, 7}};
    EdgeOrder().Apply(3, edges);
    EXPECT_EQ(NumbersOf(edges, 0), (std::vector<int>{5, 6, 7}));
    EXPECT_EQ(NumbersOf(edges, 1), (std::vector<int>{7}));
    EXPECT_TRUE(std::ranges::is_sorted(edges, {}, &EdgePixel::row));
}

TEST(EdgeOrder, KeepsNothingBesideTheImage)
{
    std::vector<EdgePixel> edges{{5, 0.0, 3}, {-1, 1.0, 2}, {0, 2.0, 9}, {0, 3.0, 8}};
    EdgeOrder().Apply(1, edges);
    EXPECT_EQ(edges.size(), 1U);
    EXPECT_EQ(NumbersOf(edges), (std::vector<int>{8}));
}

/// The length of the longest rising choice among all choices.
int LongestRise(const std::vector<int>& numbers)
{
    int longest = 0;
    for (std::uint32_t choice = 0; choice < 1U << numbers.size(); ++choice) {
        int last = -1;
        bool rises = true;
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            if ((choice >> i & 1U) != 0) {
                rises &= numbers[i] > last;
                last = numbers[i];
            }
        }
        longest = std::max(longest, rises ? std::popcount(choice) : 0);
    }
    return longest;
}

TEST(EdgeOrder, KeepsALongestRisingChoiceOfAnyColumn)
{
    std::mt19937 random(3);
    EdgeOrder order;
    for (int trial = 0; trial < 500; ++trial) {
        std::vector<int> numbers(random() % 11);
        for (int& number : numbers) {
            number = static_cast<int>(random() % 12);
        }
        std::vector<EdgePixel> edges = Column(numbers);
        order.Apply(1, edges);
        const std::vector<int> kept = NumbersOf(edges);
        ASSERT_EQ(static_cast<int>(kept.size()), LongestRise(numbers)) << trial;
        ASSERT_TRUE(std::ranges::adjacent_find(kept, std::greater_equal<>()) == kept.end()) << trial;
        ASSERT_TRUE(std::ranges::is_sorted(edges, {}, &EdgePixel::row));
    }
}

TEST(EdgeOrder, SortsOutWithoutTakingMemory)
{
    constexpr int kWidth = 40;
    constexpr int kHeight = 90;
    std::mt19937 random(11);
    EdgeOrder order;
    order.Init(kWidth, kHeight, std::size_t{kWidth} * kHeight);
    for (int trial = 0; trial < 20; ++trial) {
        // Row by row, most pixels an edge of any number, so that no column rises.
        std::vector<EdgePixel> edges;
        for (int row = 0; row < kHeight; ++row) {
            for (int column = 0; column < kWidth; ++column) {
                if (trial == 0 || random() % 4 != 0) {
                    edges.push_back({column, double(row), static_cast<int>(random() % 122)});
                }
            }
        }
        const std::size_t before = edges.size();
        const LxCV::AllocationCount allocations;
        order.Apply(kWidth, edges);
        ASSERT_EQ(allocations.Get(), 0U) << trial;
        ASSERT_LT(edges.size(), before / 2);
        ASSERT_GT(edges.size(), std::size_t{kWidth});
    }
}

} // namespace
} // namespace decoder
