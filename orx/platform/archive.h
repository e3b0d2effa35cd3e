// Objects as bytes on a stream.
#pragma once

#include "orx/base/export.h"

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// Writes numbers, texts and blocks of bytes to a stream one after the other, or reads them in the same order.
///
/// Numbers are little-endian; a text is its length in bytes, 32 bits unsigned, and its bytes. An archive either stores
/// or loads. The first failure stays: after it nothing is written, and what is read is 0 or empty. Streams are
/// hostile: no more memory is taken than a few times what the stream holds, whatever lengths stand in it.
///
/// The stream belongs to the caller, must be in binary mode and outlive the archive. One thread at a time.
class ORX_EXPORT CArchive
{
public:
    explicit CArchive(std::ostream& stream); ///< stores
    explicit CArchive(std::istream& stream); ///< loads
    CArchive(const CArchive&) = delete;
    CArchive& operator=(const CArchive&) = delete;

    bool IsStoring() const { return m_pOut != nullptr; }
    bool IsLoading() const { return m_pIn != nullptr; }

    /// Whether everything so far was written or read whole. Storing, a loading operator is a failure, and vice versa.
    bool IsOk() const { return m_bOk; }

    template <typename T>
    static constexpr bool
        sc_bIsNumber = (std::integral<T> || std::floating_point<T>)&&!std::same_as<T, bool> && sizeof(T) <= 8;

    template <typename T>
    requires sc_bIsNumber<T> CArchive& operator<<(T number)
    {
        WriteBytes(std::as_bytes(std::span(&number, 1)));
        return *this;
    }

    template <typename T>
    requires sc_bIsNumber<T> CArchive& operator>>(T& number)
    {
        std::array<std::byte, sizeof(T)> bytes{};
        ReadBytes(bytes);
        number = std::bit_cast<T>(bytes);
        return *this;
    }

    /// A longer text is a failure.
    static constexpr std::size_t sc_uiMaxTextBytes = std::size_t{1} << 24;
    CArchive& operator<<(const std::string& text);
    CArchive& operator>>(std::string& text);

    void WriteBytes(std::span<const std::byte> bytes);

    /// Fills all of `bytes`, with zeros on failure.
    void ReadBytes(std::span<std::byte> bytes);

    /// Reads as many bytes as `count` tells; on failure there are none.
    std::vector<std::byte> ReadBlock(std::uint64_t count);

private:
    template <typename Container>
    void ReadGrowing(std::uint64_t count, Container& bytes);

    std::ostream* m_pOut = nullptr;
    std::istream* m_pIn = nullptr;
    bool m_bOk = true;
};

static_assert(std::endian::native == std::endian::little, "numbers are stored as they lie in memory");

} // namespace platform
