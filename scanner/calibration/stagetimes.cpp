#include "scanner/calibration/stagetimes.h"

#include <algorithm>

namespace calibration {

void StageTimes::Add(std::string_view name, double milliseconds)
{
    const auto stage = std::find_if(m_stages.begin(), m_stages.end(),
                                    [name](const Stage& known) { return known.name == name; });
    if (stage == m_stages.end()) {
        m_stages.push_back({name, milliseconds});
    } else {
        stage->milliseconds += milliseconds;
    }
}

double StageTimes::Of(std::string_view name) const
{
    for (const Stage& stage : m_stages) {
        if (stage.name == name) {
            return stage.milliseconds;
        }
    }
    return 0.0;
}

double StageTimes::Total() const
{
    double total = 0.0;
    for (const Stage& stage : m_stages) {
        total += stage.milliseconds;
    }
    return total;
}

StageTimes& StageTimes::operator+=(const StageTimes& other)
{
    for (const Stage& stage : other.m_stages) {
        Add(stage.name, stage.milliseconds);
    }
    return *this;
}

StageTimes StageTimes::MeanOver(std::size_t count) const
{
    StageTimes mean;
    if (count > 0) {
        for (const Stage& stage : m_stages) {
            mean.Add(stage.name, stage.milliseconds / static_cast<double>(count));
        }
    }
    return mean;
}

} // namespace calibration
