// Values to bytes and back, in one place for both directions.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <cstdint>
#include <span>

/// A sequence of words of four bytes, little-endian on every machine, that is either written or read. So one function
/// of a class tells the order of its values for both directions. An integer is its two's complement, a float its
/// IEEE 754 single.
///
/// The first failure is kept: everything after it fails as well, and reads leave their values as they were.
class ORX_EXPORT YmStream
{
public:
    virtual ~YmStream();
    YmStream(const YmStream&) = delete;
    YmStream& operator=(const YmStream&) = delete;

    /// Whether values go into the stream; otherwise they come out of it.
    virtual bool IsStoring() const = 0;

    /// Writes or reads one value. @return `IsGood`
    bool Serialize(std::int32_t& value);
    bool Serialize(float& value);

    /// Whether all has gone well so far.
    bool IsGood() const { return m_bGood; }

protected:
    YmStream() = default;

    /// Takes the bytes in or fills them. @return whether all of them
    virtual bool Transfer(std::span<std::byte> bytes) = 0;

    void SetFailed() { m_bGood = false; }

private:
    bool SerializeWord(std::uint32_t& word);

    bool m_bGood = true;
};
