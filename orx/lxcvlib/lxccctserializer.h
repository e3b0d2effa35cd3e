// The section-text format that every persistent object of the library reads and writes.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <sstream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace LxCV {

/// Formats of a written number, as callers and files of other tools number them.
inline constexpr int c_iFormatDecimal = 512;
inline constexpr int c_iFormatHexadecimal = 2048;

/// Reads and writes section text: lines of "::Name" headers, each followed by key=value lines.
///
/// One object serves one direction, chosen by `Init`; each persistent class has one `Serialize` for both. The
/// text lives in one in-memory stream; descendants decide where it comes from and where `Exit` puts it.
///
/// On reading, " \t\r\n" is stripped from both ends of a line; empty lines and lines that begin with '#' are
/// dropped. A section runs to the next line that begins with ':'. Of several sections with one name the first
/// counts; of several equal keys in a section the first counts. Values are not trimmed at the '='.
///
/// Bad text never throws: a missing section, a missing key or a value that does not convert leaves the default.
/// Text is UTF-8; numbers are read and written in the classic locale. Not thread-safe.
class ORX_EXPORT LxCCCTSerializer
{
public:
    /// A section as `FindExtractSection` delivers it: the section name, then keys and values in turn.
    using SectionData = std::vector<std::string>;

    LxCCCTSerializer();
    virtual ~LxCCCTSerializer();
    LxCCCTSerializer(LxCCCTSerializer&&) noexcept;
    LxCCCTSerializer& operator=(LxCCCTSerializer&&) noexcept;

    /// Begins storing into, or loading from, the text stream. The text that is in the stream stays there.
    /// Returns false, with the comments flag unchanged, when loading a text without any line.
    virtual bool Init(bool storing, bool withComments);

    /// Ends the work; descendants deliver the text here. Returns true.
    virtual bool Exit();

    bool IsStoring() const { return m_bStoring; }

    void WriteSection(const std::string& name);

    /// Writes a separator, the lines of `text` behind "# ", and a separator; nothing without comments.
    void WriteBlockComment(const std::string& text);

    /// Writes "key=value", with a comment line above it if comments are on and `comment` is not empty.
    /// T: bool, int, unsigned int, float, double, std::string or std::wstring.
    /// @param format `c_iFormatDecimal` or `c_iFormatHexadecimal`; integers carry their base prefix
    /// @return whether the stream is still good
    template <typename T>
    bool Write(const std::string& key, const T& value, const std::string& comment, const int& format);

    /// Reads the value of `key` from a section; the same types as `Write`. A numeric text that begins with "0x"
    /// is read in base 16.
    /// @return whether the key is there; a value that does not convert is logged, gives the default, and true
    template <typename T>
    bool Read(const SectionData& section, const std::string& key, T& value, const T& defaultValue);

    /// Extracts a section into the serializer's own section data. A missing one is logged at info level,
    /// leaves the section data empty and gives false.
    bool FindExtractSection(const std::string& name);
    bool FindExtractSection(const std::string& name, SectionData& out);

    /// Keys since `Init` that a list of persistent members asked for in vain, in a section that is there or in none.
    /// Each is silent, so that who has read a whole file can tell about all of them.
    std::size_t GetNrOfMissingKeys() const { return m_uiMissingKeys; }
    void CountMissingKey() { ++m_uiMissingKeys; }

    /// Section headers of the loaded text that repeat an earlier one, and so are never read.
    std::size_t GetNrOfRepeatedSections() const { return m_uiRepeatedSections; }

    /// What the one-argument `FindExtractSection` extracted last.
    const SectionData& GetSectionData() const { return m_vSectionData; }

    /// Whether both texts are the same bytes, trailing NUL bytes aside.
    bool HasSameData(LxCCCTSerializer& other);

    /// Appends the whole content of `source`, wherever it has been read to, to the text; `Init` is called after it.
    void ReadFromStringStream(std::stringstream& source);

    /// Bytes of text held; bounds what a count in the text can ask for.
    std::size_t GetTextSize() const;

    void logInfo(std::string& text);

protected:
    std::stringstream& GetStream() { return m_Stream; }
    void SetStoring(bool storing) { m_bStoring = storing; }

    /// Appends to the text, also where the stream was read to its end before.
    void AppendText(std::string_view text);

private:
    void BuildLineTable();

    /// Index of the first line that is `text`; the number of lines where none is.
    std::size_t FindLine(const std::string& text) const;

    std::vector<std::string> m_vLines;
    SectionData m_vSectionData;
    std::stringstream m_Stream;
    bool m_bStoring = false;
    bool m_bComments = false;
    std::size_t m_uiMissingKeys = 0;
    std::size_t m_uiRepeatedSections = 0;
    std::unordered_map<std::string, std::size_t>
        m_SectionIndex; ///< header line to its first place in m_vLines
};

} // namespace LxCV
