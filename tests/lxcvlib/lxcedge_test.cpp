#include "lxcedge.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace LxCV {
namespace {

constexpr int c_iMin = std::numeric_limits<int>::min();
constexpr int c_iMax = std::numeric_limits<int>::max();

/// An edge whose geometry and own entries can be set.
class CEdge : public LxCEdge
{
public:
    using LxCEdge::LxCEdge;

    void SetGeometry(int seedCol, int leftCount, int rightCount)
    {
        m_iSeedCol = seedCol;
        m_iLeftCount = leftCount;
        m_iRightCount = rightCount;
    }
    std::vector<LxCDataBufferEntry>& Own() { return *m_pOwnBuffer; }
};

LxCDataBufferEntry Entry(std::uint32_t word)
{
    return LxCDataBufferEntry(word);
}

/// Seed in column 10, two more columns to the left, three to the right. In buffer order: seed, 9, 8, 11, 12, 13.
class Edge : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_Edge.SetExtDataBuffer(m_Entries.data());
        m_Edge.SetGeometry(10, 3, 3);
    }

    std::array<LxCDataBufferEntry, 6> m_Entries = {Entry(1000), Entry(900),   Entry(800),
                                                   Entry(1100), Entry(60000), Entry(1300)};
    CEdge m_Edge{false};
};

TEST_F(Edge, TellsItsColumns)
{
    EXPECT_EQ(m_Edge.First(), 8);
    EXPECT_EQ(m_Edge.Last(), 13);
    EXPECT_EQ(m_Edge.GetLen(), 6);
}

TEST_F(Edge, IsReadFromLeftToRight)
{
    const std::array<std::uint32_t, 6> byColumn = {800, 900, 1000, 1100, 60000, 1300};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(m_Edge.GetElement(i).GetWord(), byColumn[static_cast<std::size_t>(i)]) << i;
        EXPECT_EQ(m_Edge.GetElementAtSubsection(8 + i).GetWord(), byColumn[static_cast<std::size_t>(i)]) << i;
    }
}

TEST_F(Edge, IsWrittenFromLeftToRight)
{
    for (int i = 0; i < 6; ++i) {
        EXPECT_TRUE(m_Edge.SetElement(i, Entry(static_cast<std::uint32_t>(i))));
    }
    const std::array<std::uint32_t, 6> inBufferOrder = {2, 1, 0, 3, 4, 5};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(m_Entries.at(i).GetWord(), inBufferOrder.at(i)) << i;
    }
}

TEST_F(Edge, TellsRowsInPixels)
{
    // 800/64 and 1300/64
    EXPECT_EQ(m_Edge.GetElementWSubpixelAcc(0), 12.5);
    EXPECT_EQ(m_Edge.GetElementWSubpixelAcc(5), 20.3125);
    EXPECT_EQ(m_Edge.GetElementAtSubsectionWSubpixelAcc(8), 12.5);
    // A word that no float holds: 2^26 - 1 pixels and 63/64.
    m_Edge.SetElement(0, Entry(0xFFFFFFFF));
    EXPECT_EQ(m_Edge.GetElementWSubpixelAcc(0), 67108863.984375);
}

TEST_F(Edge, TellsAGapByMinusOneAndByItsEntry)
{
    EXPECT_EQ(m_Edge.GetElement(4).GetWord(), 60000U);
    EXPECT_EQ(m_Edge.GetElementWSubpixelAcc(4), -1.0);
    EXPECT_EQ(m_Edge.GetElementAtSubsectionWSubpixelAcc(12), -1.0);
}

template <typename Call>
void ExpectInvalidIndex(Call call)
{
    try {
        call();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::exception& error) {
        EXPECT_EQ(std::string(error.what()), " LxCEdge::GetElement: invalid index");
    }
}

TEST_F(Edge, RefusesToReadBesideItself)
{
    for (const int bad : {-1, 6, c_iMin, c_iMax}) {
        ExpectInvalidIndex([&] { static_cast<void>(m_Edge.GetElement(bad)); });
        ExpectInvalidIndex([&] { static_cast<void>(m_Edge.GetElementWSubpixelAcc(bad)); });
    }
    for (const int bad : {7, 14, c_iMin, c_iMax}) {
        ExpectInvalidIndex([&] { static_cast<void>(m_Edge.GetElementAtSubsection(bad)); });
        ExpectInvalidIndex([&] { static_cast<void>(m_Edge.GetElementAtSubsectionWSubpixelAcc(bad)); });
    }
}

TEST_F(Edge, RefusesToWriteBesideItself)
{
    const auto before = m_Entries;
    for (const int bad : {-1, 6, c_iMin, c_iMax}) {
        EXPECT_FALSE(m_Edge.SetElement(bad, Entry(1)));
    }
    for (std::size_t i = 0; i < before.size(); ++i) {
        EXPECT_EQ(m_Entries.at(i).GetWord(), before.at(i).GetWord());
    }
}

TEST_F(Edge, CopiesShareTheExternalEntries)
{
    const CEdge copy(m_Edge);
    CEdge assigned(true);
    assigned = m_Edge;
    m_Entries[0] = Entry(77);
    for (const CEdge& edge : {copy, assigned}) {
        EXPECT_EQ(edge.First(), 8);
        EXPECT_EQ(edge.Last(), 13);
        EXPECT_EQ(edge.GetLen(), 6);
        EXPECT_EQ(edge.GetElement(2).GetWord(), 77U);
    }
}

TEST(LxCEdge, HasNoElementsAtFirst)
{
    for (const bool own : {false, true}) {
        LxCEdge edge(own);
        EXPECT_EQ(edge.GetLen(), 0);
        EXPECT_EQ(edge.First(), 1); // 0 - 0 + 1
        EXPECT_EQ(edge.Last(), 0);
        ExpectInvalidIndex([&] { static_cast<void>(edge.GetElement(0)); });
        EXPECT_FALSE(edge.SetElement(0, Entry(1)));
    }
}

TEST(LxCEdge, WithoutABufferHoldsNothing)
{
    CEdge edge(false);
    edge.SetGeometry(5, 2, 2);
    EXPECT_EQ(edge.GetLen(), 4);
    ExpectInvalidIndex([&] { static_cast<void>(edge.GetElement(0)); });
    EXPECT_FALSE(edge.SetElement(0, Entry(1)));
}

TEST(LxCEdge, ReadsItsOwnBufferNoFurtherThanItGoes)
{
    CEdge edge(true);
    LxCDataBufferEntry foreign(9);
    edge.SetExtDataBuffer(&foreign);
    edge.Own() = {Entry(10), Entry(20), Entry(30)};
    edge.SetGeometry(5, 2, 2);
    EXPECT_EQ(edge.GetElement(0).GetWord(), 20U);
    EXPECT_EQ(edge.GetElement(1).GetWord(), 10U);
    EXPECT_EQ(edge.GetElement(2).GetWord(), 30U);
    ExpectInvalidIndex([&] { static_cast<void>(edge.GetElement(3)); });
    EXPECT_FALSE(edge.SetElement(3, Entry(1)));
}

TEST(LxCEdge, CopiesHaveTheirOwnBuffer)
{
    CEdge edge(true);
    edge.Own() = {Entry(10)};
    edge.SetGeometry(5, 1, 0);
    CEdge copy(edge);
    CEdge assigned(false);
    assigned = edge;
    const CEdge& self = assigned;
    assigned = self;
    edge.Own().at(0) = Entry(11);
    EXPECT_EQ(copy.GetElement(0).GetWord(), 10U);
    EXPECT_EQ(assigned.GetElement(0).GetWord(), 10U);
    EXPECT_TRUE(copy.SetElement(0, Entry(12)));
    EXPECT_EQ(edge.GetElement(0).GetWord(), 11U);
}

TEST(LxCEdge, SurvivesAnyGeometry)
{
    LxCDataBufferEntry entry(64);
    for (const int seed : {c_iMin, -1, 0, c_iMax}) {
        for (const int left : {c_iMin, -1, 0, 1, c_iMax}) {
            CEdge edge(false);
            edge.SetExtDataBuffer(&entry);
            edge.SetGeometry(seed, left, 1 - std::max(left, -1));
            static_cast<void>(edge.First());
            static_cast<void>(edge.Last());
            static_cast<void>(edge.GetLen());
            ExpectInvalidIndex([&] { static_cast<void>(edge.GetElement(c_iMax)); });
        }
    }
}

TEST(LxCEdge, IsPolymorphic)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<LxCEdge>);
}

} // namespace
} // namespace LxCV
