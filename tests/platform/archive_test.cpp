#include "orx/platform/archive.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace platform {
namespace {

std::string Stored(const auto&... values)
{
    std::ostringstream stream;
    CArchive archive(stream);
    (archive << ... << values);
    EXPECT_TRUE(archive.IsOk());
    return stream.str();
}

TEST(CArchive, NumbersAreLittleEndian)
{
    EXPECT_EQ(Stored(std::uint32_t{0x04030201}), "\1\2\3\4");
    EXPECT_EQ(Stored(std::int16_t{-2}, std::uint8_t{7}), "\xFE\xFF\7");
    EXPECT_EQ(Stored(1.0F), std::string("\0\0\x80\x3F", 4)); // IEEE 754: 0x3F800000
    EXPECT_EQ(Stored(std::uint64_t{1}), std::string("\1\0\0\0\0\0\0\0", 8));
}

TEST(CArchive, TextIsItsLengthAndItsBytes)
{
    EXPECT_EQ(Stored(std::string("a\0b", 3)), std::string("\3\0\0\0a\0b", 7));
    EXPECT_EQ(Stored(std::string()), std::string(4, '\0'));
}

TEST(CArchive, WhatIsStoredLoadsAgain)
{
    const double number = -std::numeric_limits<double>::denorm_min();
    const std::string text(200000, 'x');
    std::istringstream stream(Stored(std::int64_t{-5}, text, number, std::string(), std::uint8_t{255}));
    CArchive archive(stream);
    std::int64_t first = 0;
    std::string second;
    double third = 0;
    std::string fourth = "before";
    std::uint8_t fifth = 0;
    archive >> first >> second >> third >> fourth >> fifth;
    EXPECT_TRUE(archive.IsOk());
    EXPECT_EQ(first, -5);
    EXPECT_EQ(second, text);
    EXPECT_EQ(third, number);
    EXPECT_EQ(fourth, "");
    EXPECT_EQ(fifth, 255);
}

TEST(CArchive, StoresOrLoads)
{
    std::stringstream stream;
    CArchive out(static_cast<std::ostream&>(stream));
    CArchive in(static_cast<std::istream&>(stream));
    EXPECT_TRUE(out.IsStoring());
    EXPECT_FALSE(out.IsLoading());
    EXPECT_FALSE(in.IsStoring());
    EXPECT_TRUE(in.IsLoading());
    in << 1;
    EXPECT_FALSE(in.IsOk());
    EXPECT_EQ(stream.str(), "");
    int number = 3;
    out >> number;
    EXPECT_FALSE(out.IsOk());
    EXPECT_EQ(number, 0);
}

TEST(CArchive, EndOfTheStreamIsAFailureThatStays)
{
    std::istringstream stream("\1\2\3");
    CArchive archive(stream);
    std::uint16_t whole = 0;
    std::uint16_t half = 9;
    std::string text = "before";
    std::uint8_t after = 9;
    archive >> whole;
    EXPECT_TRUE(archive.IsOk());
    archive >> half >> text >> after;
    EXPECT_FALSE(archive.IsOk());
    EXPECT_EQ(whole, 0x0201);
    EXPECT_EQ(half, 0);
    EXPECT_EQ(text, "");
    EXPECT_EQ(after, 0);
    EXPECT_TRUE(archive.ReadBlock(1).empty());
}

TEST(CArchive, EverythingUpToTheEndCanBeRead)
{
    std::istringstream stream("ab");
    CArchive archive(stream);
    EXPECT_EQ(archive.ReadBlock(2), (std::vector<std::byte>{std::byte{'a'}, std::byte{'b'}}));
    EXPECT_TRUE(archive.ReadBlock(0).empty());
    EXPECT_TRUE(archive.IsOk());
}

TEST(CArchive, BlocksOfAllSizesReadBack)
{
    for (const std::size_t size : {1U, 65535U, 65536U, 65537U, 131072U, 131073U, 1000000U}) {
        std::string bytes(size, '\0');
        for (std::size_t i = 0; i < size; ++i) {
            bytes[i] = static_cast<char>(i * 31 % 251);
        }
        std::istringstream stream(bytes);
        CArchive archive(stream);
        const std::vector<std::byte> block = archive.ReadBlock(size);
        ASSERT_EQ(block.size(), size);
        EXPECT_TRUE(std::equal(block.begin(), block.end(), std::as_bytes(std::span(bytes)).begin())) << size;
        EXPECT_TRUE(archive.IsOk());
    }
}

TEST(CArchive, LengthsBeyondTheStreamTakeNoMemory)
{
    std::istringstream stream(std::string(1000, '\xFF'));
    CArchive archive(stream);
    EXPECT_TRUE(archive.ReadBlock(std::numeric_limits<std::uint64_t>::max()).empty());
    EXPECT_FALSE(archive.IsOk());

    std::istringstream longText("\xFF\xFF\xFF\xFFtext");
    CArchive texts(longText);
    std::string text = "before";
    texts >> text;
    EXPECT_FALSE(texts.IsOk());
    EXPECT_EQ(text, "");
}

TEST(CArchive, TextsHaveALargestLength)
{
    std::stringstream stream;
    const std::string longest(CArchive::sc_uiMaxTextBytes, 'x');
    CArchive out(static_cast<std::ostream&>(stream));
    out << longest;
    EXPECT_TRUE(out.IsOk());
    out << longest + "x";
    EXPECT_FALSE(out.IsOk());
    EXPECT_EQ(stream.str().size(), 4 + longest.size());
    CArchive in(static_cast<std::istream&>(stream));
    std::string text;
    in >> text;
    EXPECT_TRUE(in.IsOk());
    EXPECT_TRUE(text == longest);
}

TEST(CArchive, StreamThatTakesNothingIsAFailure)
{
    std::ostringstream stream;
    stream.setstate(std::ios::badbit);
    CArchive archive(stream);
    EXPECT_TRUE(archive.IsOk());
    archive << 1;
    EXPECT_FALSE(archive.IsOk());
    stream.clear();
    archive << 1;
    EXPECT_EQ(stream.str(), "");
}

} // namespace
} // namespace platform
