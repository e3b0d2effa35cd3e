// Any text as a settings file: it is refused with a reason or gives tables, after bounded work.
#include "orx/settingsvalue/settingsfile.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t c_longestMessage = 200;
    std::string error;
    const auto table = LxCV::ParseSettings({reinterpret_cast<const char*>(data), size}, error);
    if (table.has_value() != error.empty() || error.size() > c_longestMessage) {
        std::abort();
    }
    return 0;
}
