#include "scanner/acquisition/devicememory.h"

#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <string>

#include <sys/stat.h>

namespace acquisition {
namespace {

using TestSupport::ReadFile;
using TestSupport::WriteFile;

std::string ContentOf(const DeviceMemory& memory)
{
    return std::string(memory.GetContent());
}

/// Bytes as they stand in an area: with erased ones behind them.
std::string Area(const std::string& bytes)
{
    return bytes + std::string(DeviceMemory::kSize - bytes.size(), '\xFF');
}

class DeviceMemoryInFile : public testing::Test
{
protected:
    TestSupport::CTemporaryFolder m_folder;
    std::string m_file = m_folder / "memory.bin";
    DeviceMemory m_memory;
};

TEST(DeviceMemory, IsErasedAtFirst)
{
    EXPECT_EQ(ContentOf(DeviceMemory()), Area(""));
}

TEST(DeviceMemory, TakesAsManyBytesAsItHas)
{
    DeviceMemory memory;
    EXPECT_TRUE(memory.Write("longer"));
    EXPECT_TRUE(memory.Write("short"));
    EXPECT_EQ(ContentOf(memory), Area("short"));
    const std::string full(DeviceMemory::kSize, 'x');
    EXPECT_FALSE(memory.Write(full + "x"));
    EXPECT_EQ(ContentOf(memory), Area("short"));
    EXPECT_TRUE(memory.Write(full));
    EXPECT_EQ(ContentOf(memory), full);
    EXPECT_TRUE(memory.Write(""));
    EXPECT_EQ(ContentOf(memory), Area(""));
}

TEST_F(DeviceMemoryInFile, TheFileIsTheArea)
{
    ASSERT_TRUE(m_memory.Open(m_file));
    EXPECT_FALSE(std::filesystem::exists(m_file)) << "nothing is written before there is something to keep";
    ASSERT_TRUE(m_memory.Write("kept"));
    EXPECT_EQ(ReadFile(m_file), Area("kept"));
    DeviceMemory other;
    ASSERT_TRUE(other.Open(m_file));
    EXPECT_EQ(ContentOf(other), Area("kept"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder.GetPath()), {}), 1);
}

TEST_F(DeviceMemoryInFile, WhatAFileLacksIsErased)
{
    WriteFile(m_file, "cut");
    ASSERT_TRUE(m_memory.Open(m_file));
    EXPECT_EQ(ContentOf(m_memory), Area("cut"));
    WriteFile(m_file, "");
    ASSERT_TRUE(m_memory.Open(m_file));
    EXPECT_EQ(ContentOf(m_memory), Area(""));
    ASSERT_TRUE(m_memory.Open(m_folder / "missing"));
    EXPECT_EQ(ContentOf(m_memory), Area(""));
}

TEST_F(DeviceMemoryInFile, AFileOfTheAreasSizeIsTheLongest)
{
    const std::string full(DeviceMemory::kSize, 'x');
    WriteFile(m_file, full);
    ASSERT_TRUE(m_memory.Open(m_file));
    EXPECT_EQ(ContentOf(m_memory), full);
    WriteFile(m_file, full + "x");
    EXPECT_FALSE(m_memory.Open(m_file));
    EXPECT_EQ(ContentOf(m_memory), full);
    EXPECT_EQ(ReadFile(m_file).size(), full.size() + 1) << "a file of something else stays as it is";
}

TEST_F(DeviceMemoryInFile, OnlyRegularFilesOpen)
{
    const std::string pipe = m_folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& file : {pipe, m_folder.GetPath().string(), std::string("/dev/zero")}) {
        EXPECT_FALSE(m_memory.Open(file)) << file;
    }
}

TEST_F(DeviceMemoryInFile, AFileThatCannotBeWrittenLeavesTheContent)
{
    ASSERT_TRUE(m_memory.Open(m_folder / "no such folder/memory.bin"));
    EXPECT_FALSE(m_memory.Write("lost"));
    EXPECT_EQ(ContentOf(m_memory), Area(""));
    ASSERT_TRUE(m_memory.Open(m_file));
    ASSERT_TRUE(m_memory.Write("old"));
    std::filesystem::remove(m_file);
    std::filesystem::create_directory(m_file); // in the way of the new file
    EXPECT_FALSE(m_memory.Write("new"));
    EXPECT_EQ(ContentOf(m_memory), Area("old"));
}

TEST_F(DeviceMemoryInFile, ClosedItKeepsItsContentToItself)
{
    ASSERT_TRUE(m_memory.Open(m_file));
    ASSERT_TRUE(m_memory.Write("old"));
    m_memory.Close();
    EXPECT_EQ(ContentOf(m_memory), Area("old"));
    EXPECT_TRUE(m_memory.Write("new"));
    EXPECT_EQ(ReadFile(m_file), Area("old"));
}

} // namespace
} // namespace acquisition
