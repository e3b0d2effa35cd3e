// Surface files that no code of the library had a hand in.
#pragma once

#include "tests/lxcvlib/scantestsupport.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace LxCV::TestSupport {

/// What a surface file tells, with the sections in it that its flags tell.
struct SSurfaceFile
{
    float version = 12.5F;
    std::array<std::uint8_t, 15> flags{};
    std::uint32_t rows = 0;
    std::uint32_t columns = 0;
    std::uint32_t motorPositions = 0;
    std::int32_t a = 0;
    std::int32_t b = 0;
    std::uint8_t byte = 0;
    double c = 0.0;
    double d = 0.0;
    std::uint32_t sensorRecords = 0; ///< of each block; block i has that many and i more
    std::vector<float> points;
    std::vector<float> qualities;
    std::vector<float> floatPlane;

    std::string Header() const
    {
        std::string bytes = LittleEndian(version);
        for (std::size_t i = 0; i <= 6; ++i) {
            bytes.push_back(static_cast<char>(flags[i]));
        }
        bytes += "\x55\x66";
        for (std::size_t i = 7; i <= 14; ++i) {
            if (version > 12.0F || i < 10 || i > 12) {
                bytes.push_back(static_cast<char>(flags[i]));
            }
        }
        return bytes;
    }

    std::string MetaData() const
    {
        return LittleEndian(rows) + LittleEndian(columns) + LittleEndian(motorPositions) +
               std::string(8 + 4 + 8, '\x77') + LittleEndian(a) + LittleEndian(b) +
               std::string(1, static_cast<char>(byte)) + std::string(8, '\x78') + LittleEndian(c) +
               LittleEndian(d) + std::string(12, '\x79');
    }

    int SensorBlocks() const
    {
        const std::array<int, 15> blocks = {0, 0, 0, 0, 0, 0, 0, 1, 4, 2, 1, 1, 1, 1, 1};
        int count = 0;
        for (std::size_t i = 7; i < blocks.size(); ++i) {
            const bool isInFile = version > 12.0F || i < 10 || i > 12;
            count += flags[i] != 0 && isInFile ? blocks[i] : 0;
        }
        return count;
    }

    std::string SensorData() const
    {
        std::string bytes;
        for (int i = 0; i < SensorBlocks(); ++i) {
            const std::uint32_t records = sensorRecords + static_cast<std::uint32_t>(i);
            bytes += LittleEndian(records) + std::string(20 * records, '\x7A');
        }
        return bytes;
    }

    /// All in front of the points.
    std::string Preamble() const
    {
        return Header() + MetaData() + std::string(4 * motorPositions, '\x7B') + SensorData();
    }

    static std::string Floats(const std::vector<float>& values)
    {
        std::string bytes;
        for (const float value : values) {
            bytes += LittleEndian(value);
        }
        return bytes;
    }

    std::string Bytes() const
    {
        const std::size_t pixels = points.size() / 3;
        std::string bytes = Preamble() + Floats(points);
        bytes += flags[2] != 0 ? Floats(qualities) : std::string();
        bytes += flags[3] != 0 ? std::string(4 * pixels, '\x7C') : std::string();
        bytes += flags[5] != 0 ? std::string(4 * pixels, '\x7D') : std::string();
        bytes += flags[6] != 0 ? Floats(floatPlane) : std::string();
        bytes += flags[4] != 0 ? std::string(3 * pixels, '\x7E') : std::string();
        return bytes;
    }
};

/// A cloud of that size, with all sections.
inline SSurfaceFile WholeSurfaceFile(std::uint32_t rows, std::uint32_t columns)
{
    SSurfaceFile file;
    file.flags = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    file.rows = rows;
    file.columns = columns;
    file.motorPositions = 3;
    file.a = -17;
    file.b = 0x01020304;
    file.byte = 200;
    file.c = 0.1;
    file.d = -1e100;
    file.sensorRecords = 1;
    for (std::uint32_t i = 0; i < rows * columns; ++i) {
        const auto at = static_cast<float>(i);
        file.points.insert(file.points.end(), {at + 0.25F, 100.0F + at, -1.5F * at - 0.5F});
        file.qualities.push_back(0.5F + at);
        file.floatPlane.push_back(1000.0F + at);
    }
    return file;
}

} // namespace LxCV::TestSupport
