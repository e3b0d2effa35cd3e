// The memory that a virtual device keeps its settings file in.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace acquisition {

/// A byte area of fixed size, as the flash memory of a camera is one, that may also be kept in a file, which then is
/// the area byte for byte. What is not written reads as `kErased`.
class DeviceMemory
{
public:
    /// The longest container of a settings file: its head, the longest compressed text, nonce and tag of the cipher.
    static constexpr std::size_t kSize = 13 + 65522 + 28;
    static constexpr char kErased = '\xFF';

    /// Takes the content of a file, and writes to it from now on. A file that does not exist is an erased area; of one
    /// that is shorter than the area the rest is erased.
    /// @return false, with nothing changed, for what is longer than the area, cannot be read or is no regular file
    bool Open(const std::filesystem::path& file);

    /// Keeps the content, and writes to no file from now on.
    void Close() { m_file.clear(); }

    /// The whole area.
    std::string_view GetContent() const { return m_content; }

    /// Replaces the content by `bytes` and erased ones behind them; the file as a whole or not at all.
    /// @return false, with nothing changed, for more bytes than the area has, and where the file cannot be written
    bool Write(std::string_view bytes);

private:
    std::string m_content = std::string(kSize, kErased);
    std::filesystem::path m_file; ///< empty for none
};

} // namespace acquisition
