// The progress bar.
#include "scanner/app/progress.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>

namespace app {

namespace {

constexpr int kBarWidth = 24;
constexpr const char* kEraseLine = "\r\033[K";

} // namespace

Progress::Progress(int stages) : m_stages(std::max(stages, 1)), m_terminal(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress()
{
    if (m_terminal) {
        std::cerr << kEraseLine << std::flush;
    }
}

void Progress::Show(const std::string& name) const
{
    if (!m_terminal) {
        return;
    }
    const int done = std::min(static_cast<int>(m_times.size()), m_stages);
    const auto filled = static_cast<std::size_t>(kBarWidth * done / m_stages);
    std::cerr << kEraseLine << '[' << std::string(filled, '#') << std::string(kBarWidth - filled, ' ') << "] "
              << name << std::flush;
}

} // namespace app
