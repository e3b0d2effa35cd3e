// Reads surface files.
#pragma once

#include "orx/base/export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace LxCV {

class LxSScanDataQCC;

/// Reads the organised point cloud of a surface file into a scan; docs/formats.md tells the format. What a scan has no
/// place for is passed over. Surface files are never written.
///
/// The steps of `LoadSurfaceFile` may be called one by one on a stream of bytes, in the order in which they stand
/// here. A value that the stream does not hold any more leaves its member as it was: 0 in a new reader, the value of
/// the file before in one that is used again.
///
/// No step takes more than a small, fixed amount of memory, whatever counts the stream has.
class ORX_EXPORT LxCQCCSerializer
{
public:
    static constexpr std::size_t c_uiNumFlags = 15;

    /// Reads a file into a scan of `GetNumColumns` by `GetNumRows` pixels. To know these before, read header and
    /// metadata from a stream of the file.
    ///
    /// The file's name without folder and extension becomes the file name in the metadata. A file that cannot be opened
    /// reads like an empty one.
    /// @return false if `scan` is null
    bool LoadSurfaceFile(const std::string& path, LxSScanDataQCC* scan);

    /// Reads the flags, and logs the version.
    void ReadSurfaceHeader(std::istream& stream);

    /// Reads the counts of the cloud and the five numbers of the scanner.
    void ReadSurfaceMetaData(std::istream& stream);

    void ReadMotorPositions(std::istream& stream) const;

    /// Passes over the blocks that the flags tell.
    void ReadSensorData(std::istream& stream) const;

    /// Passes over one block.
    void ReadSingleSensorData(std::istream& stream) const;

    /// Reads the cloud into the scan, pixel by pixel, and the five numbers into its scan info.
    ///
    /// A point (p, q, s) of the file becomes (q, p, -s). It is valid if none of the three is a NaN; the number of valid
    /// points is stored. Its colour becomes white. The qualities are stored where the scan was made with them. The float
    /// plane goes to the float plane of the scan and, where that has the size of the cloud, to its float image too.
    ///
    /// Pixels for which the stream has no values any more stay as they are. So do all pixels, with a line in the log,
    /// if an image of the base is not of the type and the size that it needs.
    /// @param scan null is ignored
    void ReadPointCloud(std::istream& stream, LxSScanDataQCC* scan) const;

    /// A byte of the header, by its index below `c_uiNumFlags`; 0 for another one.
    std::uint8_t GetFlag(std::size_t index) const { return index < c_uiNumFlags ? m_uivFlags[index] : 0; }

    std::uint32_t GetNumRows() const { return m_uiNumRows; }
    std::uint32_t GetNumColumns() const { return m_uiNumColumns; }
    std::uint32_t GetNumMotorPositions() const { return m_uiNumMotorPositions; }
    std::uint64_t GetNumPixels() const { return std::uint64_t{m_uiNumRows} * m_uiNumColumns; }

private:
    bool Fits(const LxSScanDataQCC& scan) const;
    std::size_t ReadPoints(std::istream& stream, LxSScanDataQCC& scan) const;
    void ReadQualities(std::istream& stream, LxSScanDataQCC& scan) const;
    void ReadFloatPlane(std::istream& stream, LxSScanDataQCC& scan) const;

    std::array<std::uint8_t, c_uiNumFlags> m_uivFlags{};
    std::uint32_t m_uiNumRows = 0;
    std::uint32_t m_uiNumColumns = 0;
    std::uint32_t m_uiNumMotorPositions = 0;
    double m_dC = 0.0;
    double m_dD = 0.0;
    std::int32_t m_iA = 0;
    std::int32_t m_iB = 0;
    std::uint8_t m_uiByte = 0;
};

} // namespace LxCV
