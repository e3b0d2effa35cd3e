// How long the stages of a process took.
#pragma once

#include <chrono>
#include <cstddef>
#include <string_view>
#include <vector>

namespace calibration {

/// Stages by name, in the order in which they first ran, with their times in milliseconds.
class StageTimes
{
public:
    struct Stage
    {
        std::string_view name; ///< of static storage
        double milliseconds = 0.0;
    };

    /// Runs a step and adds its time to that of a stage.
    template <typename Step>
    void Run(std::string_view name, const Step& step)
    {
        const auto begin = std::chrono::steady_clock::now();
        step();
        Add(name,
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
    }

    void Add(std::string_view name, double milliseconds);

    /// 0 for a stage that never ran.
    double Of(std::string_view name) const;
    double Total() const;
    const std::vector<Stage>& Stages() const { return m_stages; }

    StageTimes& operator+=(const StageTimes& other);

    /// The mean over `count` runs; without runs without stages.
    StageTimes MeanOver(std::size_t count) const;

private:
    std::vector<Stage> m_stages;
};

} // namespace calibration
