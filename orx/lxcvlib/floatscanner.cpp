// Reads numbers by C's own scanner, whatever the locale of the process.
#include "floatscanner.h"

#include <clocale>
#include <cstddef>
#include <cstdio>
#include <locale.h>

namespace LxCV {

namespace {

/// While it lives, the calling thread scans and prints numbers in the classic locale.
class CClassicNumbers
{
public:
    CClassicNumbers()
    {
        static const locale_t c_classic = newlocale(LC_ALL_MASK, "C", nullptr);
        m_Previous = uselocale(c_classic);
    }
    CClassicNumbers(const CClassicNumbers&) = delete;
    CClassicNumbers& operator=(const CClassicNumbers&) = delete;
    ~CClassicNumbers() { uselocale(m_Previous); }

private:
    locale_t m_Previous;
};

} // namespace

std::size_t ScanFloats(const std::string& text, std::span<float> values)
{
    const CClassicNumbers classic;
    const char* rest = text.c_str();
    for (std::size_t count = 0; count < values.size(); ++count) {
        std::ptrdiff_t length = 0; // a line may be longer than int counts
        if (std::sscanf(rest, "%f%tn", &values[count], &length) != 1) {
            return count;
        }
        rest += length;
    }
    return values.size();
}

} // namespace LxCV
