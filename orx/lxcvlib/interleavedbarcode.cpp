// Runs of pixels to elements, and elements to digits.
#include "interleavedbarcode.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace LxCV::InterleavedBarcode {
namespace {

constexpr unsigned char c_SpaceValue = 1;
constexpr std::size_t c_QuietZoneLetters = 1;
constexpr std::size_t c_StartCodeLetters = 4;
constexpr std::size_t c_StopCodeLetters = 3;
constexpr std::size_t c_DigitLetters = 5;

constexpr std::array<std::string_view, 10> c_Digits = {"nnwwn", "wnnnw", "nwnnw", "wwnnn", "nnwnw",
                                                       "wnwnn", "nwwnn", "nnnww", "wnnwn", "nwnwn"};

/// One letter for each run, the first one for a run of spaces that may be empty.
std::string RunsOf(const unsigned char* line)
{
    std::string letters;
    unsigned char value = c_SpaceValue;
    int length = 0; // counts no further than what it is compared with
    const auto endRun = [&] { letters += length >= c_WidePixels ? 'w' : 'n'; };
    for (; *line != 0; ++line) {
        if (*line != value) {
            endRun();
            value = *line;
            length = 0;
        }
        length = std::min(length + 1, c_WidePixels);
    }
    endRun();
    return letters;
}

/// The digit whose five letters are every second one of `group`, or the number of digits if there is none.
std::size_t FindDigit(std::string_view group, std::size_t first)
{
    std::array<char, c_DigitLetters> letters{};
    for (std::size_t i = 0; i < c_DigitLetters; ++i) {
        letters[i] = group[first + 2 * i];
    }
    const auto found =
        std::find(c_Digits.begin(), c_Digits.end(), std::string_view(letters.data(), letters.size()));
    return static_cast<std::size_t>(found - c_Digits.begin());
}

} // namespace

std::string GetPattern(const unsigned char* line)
{
    if (line == nullptr) {
        return {};
    }
    const std::string letters = RunsOf(line);
    constexpr std::size_t begin = c_QuietZoneLetters + c_StartCodeLetters;
    if (letters.size() < begin + c_StopCodeLetters) {
        return {};
    }
    return letters.substr(begin, letters.size() - begin - c_StopCodeLetters);
}

std::string Decode(const std::string& pattern)
{
    constexpr std::size_t groupLetters = 2 * c_DigitLetters;
    std::string digits;
    for (std::string_view rest = pattern; rest.size() >= groupLetters; rest.remove_prefix(groupLetters)) {
        const std::size_t first = FindDigit(rest, 0);
        const std::size_t second = FindDigit(rest, 1);
        if (first < c_Digits.size() && second < c_Digits.size()) {
            digits += static_cast<char>('0' + first);
            digits += static_cast<char>('0' + second);
        }
    }
    return digits;
}

} // namespace LxCV::InterleavedBarcode
