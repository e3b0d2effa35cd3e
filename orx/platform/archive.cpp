#include "orx/platform/archive.h"

#include <algorithm>
#include <istream>
#include <ostream>

namespace platform {

CArchive::CArchive(std::ostream& stream) : m_pOut(&stream) {}

CArchive::CArchive(std::istream& stream) : m_pIn(&stream) {}

CArchive& CArchive::operator<<(const std::string& text)
{
    m_bOk = m_bOk && text.size() <= sc_uiMaxTextBytes;
    *this << static_cast<std::uint32_t>(text.size());
    WriteBytes(std::as_bytes(std::span(text)));
    return *this;
}

CArchive& CArchive::operator>>(std::string& text)
{
    std::uint32_t length = 0;
    *this >> length;
    m_bOk = m_bOk && length <= sc_uiMaxTextBytes;
    ReadGrowing(length, text);
    return *this;
}

void CArchive::WriteBytes(std::span<const std::byte> bytes)
{
    m_bOk = m_bOk && IsStoring();
    if (m_bOk && !bytes.empty()) {
        m_pOut->write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
        m_bOk = m_pOut->good();
    }
}

void CArchive::ReadBytes(std::span<std::byte> bytes)
{
    m_bOk = m_bOk && IsLoading();
    if (m_bOk && !bytes.empty()) {
        m_pIn->read(reinterpret_cast<char*>(bytes.data()), std::ssize(bytes));
        m_bOk = m_pIn->good() && m_pIn->gcount() == std::ssize(bytes);
    }
    if (!m_bOk) {
        std::ranges::fill(bytes, std::byte{0});
    }
}

std::vector<std::byte> CArchive::ReadBlock(std::uint64_t count)
{
    std::vector<std::byte> bytes;
    ReadGrowing(count, bytes);
    return bytes;
}

/// Reads piece by piece, each at most as long as all before it, so that a count beyond the end of the stream costs no
/// memory of that size.
template <typename Container>
void CArchive::ReadGrowing(std::uint64_t count, Container& bytes)
{
    constexpr std::uint64_t c_iFirstPiece = std::uint64_t{1} << 16;
    bytes.clear();
    while (m_bOk && bytes.size() < count) {
        const std::uint64_t read = bytes.size();
        bytes.resize(read + std::min(count - read, std::max(read, c_iFirstPiece)));
        ReadBytes(std::as_writable_bytes(std::span(bytes)).subspan(read));
    }
    if (!m_bOk) {
        bytes = Container();
    }
}

} // namespace platform
