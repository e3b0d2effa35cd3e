// Words as little-endian bytes.
#include "orx/btservices/ymstream.h"

#include <array>
#include <bit>

YmStream::~YmStream() = default;

bool YmStream::Serialize(std::int32_t& value)
{
    auto word = std::bit_cast<std::uint32_t>(value);
    if (SerializeWord(word)) {
        value = std::bit_cast<std::int32_t>(word);
    }
    return m_bGood;
}

bool YmStream::Serialize(float& value)
{
    auto word = std::bit_cast<std::uint32_t>(value);
    if (SerializeWord(word)) {
        value = std::bit_cast<float>(word);
    }
    return m_bGood;
}

bool YmStream::SerializeWord(std::uint32_t& word)
{
    std::array<std::byte, 4> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::byte>(word >> (8 * i));
    }
    m_bGood = m_bGood && Transfer(bytes);
    if (!m_bGood) {
        return false;
    }
    word = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        word |= std::to_integer<std::uint32_t>(bytes[i]) << (8 * i);
    }
    return true;
}
