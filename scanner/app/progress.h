// Names the stages of a run, times them and shows them on a terminal.
#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace app {

/// Runs the stages of a command one by one. On a terminal a bar on the standard error stream shows how far it
/// is; elsewhere nothing is written.
class Progress
{
public:
    /// @param stages how many stages will run, for the length of the bar
    explicit Progress(int stages);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Runs `work` as the stage `name` and keeps its time.
    template <typename Work>
    void Run(const std::string& name, Work&& work)
    {
        Show(name);
        const auto start = std::chrono::steady_clock::now();
        std::forward<Work>(work)();
        const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
        m_times.emplace_back(name, time.count());
    }

    /// Name and milliseconds of each stage that has run, in order.
    const std::vector<std::pair<std::string, double>>& GetTimes() const { return m_times; }

private:
    void Show(const std::string& name) const;

    int m_stages;
    bool m_terminal;
    std::vector<std::pair<std::string, double>> m_times;
};

} // namespace app
