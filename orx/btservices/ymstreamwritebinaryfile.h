// Values into a binary file.
#pragma once

#include "orx/btservices/btstring.h"
#include "orx/btservices/ymstream.h"

#include <vector>

/// Collects values and writes them to a file at once. Until `Close` nothing happens on the disk.
class ORX_EXPORT YmStreamWriteBinaryFile : public YmStream
{
public:
    /// @param path path text, see `platform::NativePath`
    explicit YmStreamWriteBinaryFile(const BtString& path);
    ~YmStreamWriteBinaryFile() override;

    bool IsStoring() const override { return true; }

    /// Replaces the file by what was collected: a reader finds the old file or the whole new one. The folder must be
    /// there. What follows in the stream, fails.
    /// @return whether the file is written; otherwise an old one is as it was
    bool Close();

protected:
    bool Transfer(std::span<std::byte> bytes) override;

private:
    BtString m_sPath;
    std::vector<std::byte> m_vBytes;
};
