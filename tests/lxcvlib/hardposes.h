// Poses that rigid transforms find hard, for every test of geometry.
#pragma once

#include <numbers>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace LxCV::TestSupport {

/// Euler angles in radians, R = X(rx)·Y(ry)·Z(rz), and a translation in mm.
struct Pose
{
    std::string name;
    double rx, ry, rz;
    double tx, ty, tz;
};

/// Identity, tiny rotations, half turns, gimbal lock and its neighbourhood, large translations.
inline std::vector<Pose> HardPoses()
{
    constexpr double tiny = 1e-5;
    constexpr double pi = std::numbers::pi;
    constexpr double right = pi / 2.0;
    return {
        {"identity", 0, 0, 0, 0, 0, 0},
        {"tiny about x", tiny, 0, 0, 1, 2, 3},
        {"tiny about y", 0, tiny, 0, 1, 2, 3},
        {"tiny about z", 0, 0, tiny, 1, 2, 3},
        {"tiny about all", tiny, -tiny, tiny, 0, 0, 0},
        {"pi about x", pi, 0, 0, 1, 2, 3},
        {"pi about z", 0, 0, pi, 1, 2, 3},
        {"minus pi about x and z", -pi, 0, -pi, -1, -2, -3},
        {"nearly pi about x", pi - tiny, 0, 0, 1, 2, 3},
        {"right angle about x", right, 0, 0, 4, 5, 6},
        {"right angle about z", 0, 0, -right, 4, 5, 6},
        {"gimbal lock up", 0, right, 0, 1, 2, 3},
        {"gimbal lock up, turned", 0.3, right, -0.8, 1, 2, 3},
        {"gimbal lock down, turned", 0.3, -right, -0.8, 1, 2, 3},
        {"gimbal lock up, half turn", pi, right, 1, 1, 2, 3},
        {"within the lock's bound", 0.3, right - 5e-7, -0.8, 1, 2, 3},
        {"just outside the lock", 0.3, right - 2e-6, -0.8, 1, 2, 3},
        {"near the lock below", 0.3, -right + 1e-4, -0.8, 1, 2, 3},
        {"large translation", 0.2, -0.4, 0.6, 1e6, -1e6, 1e6},
        {"large translation at the lock", 0.2, right, 0.6, -1e6, 1e6, 5e5},
    };
}

/// Angles over the whole range, translations up to 500 mm.
inline std::vector<Pose> RandomPoses(int count, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> turn(-std::numbers::pi, std::numbers::pi);
    std::uniform_real_distribution<double> tilt(-std::numbers::pi / 2.0, std::numbers::pi / 2.0);
    std::uniform_real_distribution<double> shift(-500.0, 500.0);
    std::vector<Pose> poses;
    for (int i = 0; i < count; ++i) {
        const double rx = turn(random);
        const double ry = tilt(random);
        const double rz = turn(random);
        const double tx = shift(random);
        const double ty = shift(random);
        const double tz = shift(random);
        poses.push_back({"random " + std::to_string(i), rx, ry, rz, tx, ty, tz});
    }
    return poses;
}

/// The hard poses and some thousands of random ones.
inline std::vector<Pose> AllPoses()
{
    constexpr int randomPoses = 3000;
    std::vector<Pose> poses = HardPoses();
    for (Pose& pose : RandomPoses(randomPoses, 1)) {
        poses.push_back(std::move(pose));
    }
    return poses;
}

} // namespace LxCV::TestSupport
