#include "scanner/app/processmemory.h"

#include <fstream>
#include <string>

namespace app {

double PeakMemoryMb()
{
    constexpr double kibibytes = 1024.0; // in a mebibyte
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (double size = 0.0; word == "VmHWM:" && status >> size) {
            return size / kibibytes;
        }
    }
    return 0.0;
}

} // namespace app
