#include "lxcccllocextremum.h"

#include <gtest/gtest.h>

namespace LxCV {
namespace {

LxCCCLLocExtremum Record(LxCColorValueFloat::EColor color, std::uint32_t position, std::uint32_t symbol,
                         float weight)
{
    LxCCCLLocExtremum record(color);
    record.m_Position = LxCEdgePosition(position);
    record.m_Symbol = LxCSymbol(symbol);
    record.m_fWeight = weight;
    return record;
}

TEST(LxCCCLLocExtremum, BeginsValidAndEmpty)
{
    const LxCCCLLocExtremum record(LxCColorValueFloat::eGreen);
    EXPECT_TRUE(record.m_bValid);
    EXPECT_EQ(record.m_iCounter, 0);
    EXPECT_EQ(record.m_Position.GetWord(), 0U);
    EXPECT_EQ(record.m_Symbol.GetValue(), 0U);
    EXPECT_EQ(record.m_iValue, 0);
    EXPECT_EQ(record.m_eColor, LxCColorValueFloat::eGreen);
}

TEST(LxCCCLLocExtremum, CopiesCarryAllFields)
{
    LxCCCLLocExtremum record = Record(LxCColorValueFloat::eRed, 640, 32, 2.5F);
    record.m_bValid = false;
    record.m_iCounter = 7;
    record.m_iValue = -3;
    LxCCCLLocExtremum copy(LxCColorValueFloat::eBlue);
    copy = record;
    EXPECT_FALSE(copy.m_bValid);
    EXPECT_EQ(copy.m_iCounter, 7);
    EXPECT_EQ(copy.m_Position.GetWord(), 640U);
    EXPECT_EQ(copy.m_Symbol.GetValue(), 32U);
    EXPECT_EQ(copy.m_iValue, -3);
    EXPECT_EQ(copy.m_fWeight, 2.5F);
    EXPECT_EQ(copy.m_eColor, LxCColorValueFloat::eRed);
}

TEST(LxCCCLLocExtremum, MergesTwoRecordsByWeight)
{
    LxCEdgePosition position;
    LxCSymbol symbol;
    LxCCCLLocExtremum::Combine(Record(LxCColorValueFloat::eBlue, 100, 2, 1.0F),
                               Record(LxCColorValueFloat::eGreen, 200, 4, 3.0F), position, symbol);
    EXPECT_EQ(position.GetWord(), 175U); // (100 + 600) / 4
    EXPECT_EQ(symbol.GetValue(), 6U);
}

TEST(LxCCCLLocExtremum, MergesThreeRecordsByWeight)
{
    LxCEdgePosition position;
    LxCSymbol symbol;
    LxCCCLLocExtremum::Combine(Record(LxCColorValueFloat::eBlue, 100, 2, 1.0F),
                               Record(LxCColorValueFloat::eGreen, 200, 4, 2.0F),
                               Record(LxCColorValueFloat::eRed, 400, 32, 5.0F), position, symbol);
    EXPECT_EQ(position.GetWord(), 312U); // (100 + 400 + 2000) / 8 = 312.5
    EXPECT_EQ(symbol.GetValue(), 38U);
}

TEST(LxCCCLLocExtremum, SymbolsOfMergedRecordsAreAdded)
{
    LxCEdgePosition position;
    LxCSymbol symbol;
    const LxCCCLLocExtremum record = Record(LxCColorValueFloat::eBlue, 100, 2, 1.0F);
    LxCCCLLocExtremum::Combine(record, record, position, symbol);
    EXPECT_EQ(symbol.GetValue(), 4U);
}

TEST(LxCCCLLocExtremum, ARecordCanTakeTheMergedExtremum)
{
    const LxCCCLLocExtremum blue = Record(LxCColorValueFloat::eBlue, 100, 2, 1.0F);
    const LxCCCLLocExtremum green = Record(LxCColorValueFloat::eGreen, 200, 4, 2.0F);
    LxCCCLLocExtremum red = Record(LxCColorValueFloat::eRed, 400, 32, 5.0F);
    LxCCCLLocExtremum::Combine(blue, green, red, red.m_Position, red.m_Symbol);
    EXPECT_EQ(red.m_Position.GetWord(), 312U);
    EXPECT_EQ(red.m_Symbol.GetValue(), 38U);
    LxCCCLLocExtremum last = Record(LxCColorValueFloat::eGreen, 200, 4, 3.0F);
    LxCCCLLocExtremum::Combine(blue, last, last.m_Position, last.m_Symbol);
    EXPECT_EQ(last.m_Position.GetWord(), 175U);
    EXPECT_EQ(last.m_Symbol.GetValue(), 6U);
}

TEST(LxCCCLLocExtremum, DifferencesAreSigned)
{
    const LxCCCLLocExtremum a = Record(LxCColorValueFloat::eBlue, 100, 0, 1.0F);
    const LxCCCLLocExtremum b = Record(LxCColorValueFloat::eBlue, 164, 0, 1.0F);
    EXPECT_EQ(LxCCCLLocExtremum::SubtractExtremas(a, b), -64);
    EXPECT_EQ(LxCCCLLocExtremum::SubtractExtremas(b, a), 64);
}

} // namespace
} // namespace LxCV
