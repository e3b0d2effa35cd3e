// Values out of a binary file.
#pragma once

#include "orx/btservices/btstring.h"
#include "orx/btservices/ymstream.h"

#include <fstream>

/// Reads values from a file, in the order in which `YmStreamWriteBinaryFile` took them in. Only regular files open,
/// since a pipe or a device could keep the reader waiting.
class ORX_EXPORT YmStreamReadBinaryFile : public YmStream
{
public:
    /// Opens the file; `IsGood` is false where that fails.
    /// @param path path text, see `platform::NativePath`
    explicit YmStreamReadBinaryFile(const BtString& path);
    ~YmStreamReadBinaryFile() override;

    bool IsStoring() const override { return false; }

protected:
    bool Transfer(std::span<std::byte> bytes) override;

private:
    std::ifstream m_File;
};
