#include "scanner/acquisition/posetext.h"

#include "scanner/acquisition/numbertext.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>

namespace acquisition {

bool ReadPose(std::string_view text, device::MeshPose& pose)
{
    constexpr std::size_t kOfRotation = 3;
    std::array<double, 6> numbers{};
    std::size_t count = 0;
    for (bool isLast = false; !isLast; ++count) {
        const std::size_t comma = text.find(',');
        isLast = comma == std::string_view::npos;
        const bool isNumber = count < numbers.size() && ReadNumber(text.substr(0, comma), numbers[count]) &&
                              std::isfinite(numbers[count]);
        if (!isNumber) {
            return false;
        }
        text.remove_prefix(isLast ? text.size() : comma + 1);
    }
    if (count != kOfRotation && count != numbers.size()) {
        return false;
    }
    pose.rotation = {numbers[0], numbers[1], numbers[2]};
    pose.translation.reset();
    if (count == numbers.size()) {
        pose.translation = device::Vec3{numbers[3], numbers[4], numbers[5]};
    }
    return true;
}

std::string PoseText(const device::MeshPose& pose)
{
    const auto textOf = [](const device::Vec3& a) {
        return NumberText(a.x) + "," + NumberText(a.y) + "," + NumberText(a.z);
    };
    return textOf(pose.rotation) + (pose.translation ? "," + textOf(*pose.translation) : "");
}

std::string NumberText(double number)
{
    std::array<char, 32> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), number + 0.0); // no -0
    return {text.data(), end};
}

} // namespace acquisition
