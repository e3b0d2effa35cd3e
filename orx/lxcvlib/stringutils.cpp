// Replacement and transcoding of text.
#include "stringutils.h"

#include "orx/platform/unicode.h"

namespace LxCV {

namespace {

template <typename Text>
Text ReplaceAllIn(const Text& text, const Text& from, const Text& to)
{
    if (from.empty() || from == to) {
        return text;
    }
    Text replaced;
    std::size_t begin = 0;
    for (std::size_t at = text.find(from); at != Text::npos; at = text.find(from, begin)) {
        replaced.append(text, begin, at - begin).append(to);
        begin = at + from.size();
    }
    return replaced.append(text, begin, Text::npos);
}

} // namespace

std::string ReplaceAll(const std::string& text, const std::string& from, const std::string& to)
{
    return ReplaceAllIn(text, from, to);
}

std::wstring ReplaceAll(const std::wstring& text, const std::wstring& from, const std::wstring& to)
{
    return ReplaceAllIn(text, from, to);
}

std::wstring s2ws(const std::string& text)
{
    return platform::WidenUtf8(text);
}

std::string ws2s(const std::wstring& text)
{
    return platform::NarrowUtf8(text);
}

} // namespace LxCV
