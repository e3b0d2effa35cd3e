// Runs independent pieces of work on several threads.
#pragma once

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace device {

/// Calls work(index) once for every index in 0..count-1, on `threads` threads or, for 0, on as many as the machine
/// runs at once. The calls must not throw and must not depend on each other.
template <typename Work>
void ParallelFor(int count, int threads, const Work& work)
{
    const int available = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    const int wanted = std::clamp(threads > 0 ? threads : available, 1, std::max(1, count));
    std::atomic<int> next{0};
    const auto run = [&] {
        for (int index = next++; index < count; index = next++) {
            work(index);
        }
    };
    std::vector<std::jthread> helpers;
    for (int helper = 1; helper < wanted; ++helper) {
        helpers.emplace_back(run);
    }
    run();
}

} // namespace device
