// Conversion between lists of integers and text.
#include "integerlist.h"

#include <locale>
#include <sstream>

namespace LxCV {

std::string JoinIntegers(const std::vector<int>& values)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    const char* separator = "";
    for (const int value : values) {
        text << separator << value;
        separator = ",";
    }
    return text.str();
}

int ParseInteger(const std::string& text)
{
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    int value = 0;
    stream >> value;
    return stream.fail() ? 0 : value;
}

std::vector<int> SplitIntegers(const std::string& text)
{
    std::vector<int> values;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t comma = text.find(',', begin);
        values.push_back(ParseInteger(text.substr(begin, comma - begin)));
        if (comma == std::string::npos) {
            return values;
        }
        begin = comma + 1;
    }
}

} // namespace LxCV
