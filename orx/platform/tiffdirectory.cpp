#include "orx/platform/tiffdirectory.h"

#include "orx/platform/imagereaders.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace platform::ImageFiles {

namespace {

constexpr const char* c_sKind = "TIFF";

/// Where the parts of a directory stand in one of the two forms of TIFF, in bytes.
struct CForm
{
    std::uint64_t directoryAt; ///< where the header says where the directory begins
    std::uint64_t numberBytes; ///< of a place in the file and of a number of values
    std::uint64_t countBytes;  ///< of the number of entries
    std::uint64_t entryBytes;
};

constexpr CForm c_Classic{4, 4, 2, 12};
constexpr CForm c_Big{8, 8, 8, 20};

/// Unsigned numbers in the byte order of the file.
class CNumbers
{
public:
    explicit CNumbers(std::span<const std::byte> file) : m_File(file), m_bBigEndian(file[0] == std::byte{'M'})
    {}

    /// The number of `bytes` bytes, at most 8.
    std::uint64_t At(std::uint64_t position, std::uint64_t bytes) const
    {
        Require(position, bytes);
        std::uint64_t number = 0;
        for (std::uint64_t i = 0; i < bytes; ++i) {
            const std::uint64_t place = position + (m_bBigEndian ? i : bytes - 1 - i);
            number = number << 8U | std::to_integer<std::uint64_t>(m_File[place]);
        }
        return number;
    }

    /// Refuses a file that has no `bytes` bytes at the position.
    void Require(std::uint64_t position, std::uint64_t bytes) const
    {
        if (position > m_File.size()) {
            RefuseBroken("TIFF cut short: " + std::to_string(m_File.size()) +
                         " bytes, its directory begins at " + std::to_string(position));
        }
        RequireBytes(c_sKind, m_File.size(), position + bytes);
    }

private:
    std::span<const std::byte> m_File;
    bool m_bBigEndian;
};

/// Of one value; 0 for types that are none, whose entries are skipped.
std::uint64_t BytesOfType(std::uint64_t type)
{
    switch (type) {
    case 1: // unsigned, text, signed and any byte
    case 2:
    case 6:
    case 7:
        return 1;
    case 3: // 16 bits, unsigned and signed
    case 8:
        return 2;
    case 4: // 32 bits, unsigned, signed, float and a directory's place
    case 9:
    case 11:
    case 13:
        return 4;
    case 5: // fractions, double and 64 bits
    case 10:
    case 12:
    case 16:
    case 17:
    case 18:
        return 8;
    default:
        return 0;
    }
}

} // namespace

void CheckTiffDirectory(std::span<const std::byte> file)
{
    const CNumbers numbers(file);
    const CForm& form = numbers.At(2, 2) == 43 ? c_Big : c_Classic;
    const std::uint64_t directory = numbers.At(form.directoryAt, form.numberBytes);
    const std::uint64_t entries = numbers.At(directory, form.countBytes);
    const std::uint64_t first = directory + form.countBytes;
    // No directory has more entries than there are tags.
    numbers.Require(first, std::min(entries, std::uint64_t{1} << 16) * form.entryBytes);
    if (entries >= std::uint64_t{1} << 16) {
        RefuseBroken("TIFF with a directory of " + std::to_string(entries) + " entries");
    }

    std::uint64_t values = 0;
    for (std::uint64_t i = 0; i < entries; ++i) {
        const std::uint64_t entry = first + i * form.entryBytes;
        const std::uint64_t bytesPerValue = BytesOfType(numbers.At(entry + 2, 2));
        const std::uint64_t count = numbers.At(entry + 4, form.numberBytes);
        // Values that the file cannot hold are not loaded, and those that the entry itself holds are few.
        if (bytesPerValue != 0 && count <= file.size() / bytesPerValue) {
            values += count * bytesPerValue;
        }
    }
    constexpr std::uint64_t shared = std::uint64_t{64} << 10; // that small values may have in common
    if (values > file.size() + shared) {
        RefuseBroken("TIFF of " + std::to_string(file.size()) + " bytes whose directory refers to " +
                     std::to_string(values));
    }
}

} // namespace platform::ImageFiles
