// From an image of a checkerboard target to named corners with world coordinates.
#pragma once

#include "cctimage.h"
#include "ecaliberror.h"
#include "lxccalibdata.h"
#include "lxccalibrationdata.h"
#include "scanner/calibration/boardmark.h"
#include "scanner/calibration/stagetimes.h"
#include "scanner/device/checkerboard.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace LxCV {
class LxCCBCalibThres;
} // namespace LxCV

namespace calibration {

/// The text of a board's data file, as `BoardLocator::LoadFile` and the library's targets read it.
std::string DataFileOf(const device::Checkerboard& board);

/// How corners are placed once they have names.
enum class Refinement
{
    eNone,           ///< where lines through the ends of two edges cross, as they were located
    eWholeEdges,     ///< where lines through the whole edges of a square cross
    eRowPolynomials, ///< where parabolas through all edges of a row and of a column of the target cross
};

/// What one image shows of a target.
struct LocatedBoard
{
    LxCV::ECalibError error = LxCV::eCalibNotDone; ///< 0 if the target was identified
    std::string problem;          ///< what is wrong in words; empty if the target was identified
    std::vector<BoardMark> marks; ///< those with an id, by rising id; empty unless the target was identified
    int orientation = -1;         ///< quarter turns of the target in the image, -1 unless it was identified
    /// Whether the target was identified in the image turned by 45 degrees. The marks are turned back; orientation and
    /// places of corners in their squares are those of the turned image.
    bool isTurned = false;
    std::size_t corners = 0; ///< all corners of dark squares that were found, with names or without
    std::size_t squares = 0; ///< dark squares that were found
    std::size_t marked = 0;  ///< of them, those with a bright square inside
    StageTimes times; ///< prepare (pixels of the types that the steps want), locate, identify, assess, refine
};

/// Locates and identifies the corners of one checkerboard target in images, one after the other; working images are
/// kept from image to image. One thread at a time.
///
/// A side of a square belongs to the edges along rows or along columns. Sides near the diagonal are both in pieces; an
/// image in which the marked squares are not found is therefore turned by 45 degrees and searched again, if it has at
/// most `sc_largestTurned` pixels. Corners found there come back with the error of the interpolation.
class BoardLocator
{
public:
    /// Pixels; working on a larger image takes memory out of proportion.
    static constexpr int sc_largestTurned = 1 << 22;

    /// Knows the nominal target, `device::Checkerboard`.
    BoardLocator();
    ~BoardLocator();

    /// Takes coordinates and thresholds of the board, as exact as it is described.
    /// @throws std::runtime_error for a board whose squares have no coordinates
    void UseBoard(const device::Checkerboard& board);

    /// Takes coordinates and thresholds of a target's data file.
    /// @throws std::runtime_error naming the file that is missing, is no data file, or has too few coordinates
    void LoadFile(const std::filesystem::path& file);

    /// Takes those of the target that is installed in the store.
    /// @return false, with everything as it was, if none is
    /// @throws std::runtime_error for an installed target that cannot be used
    bool LoadInstalled();

    void SetRefinement(Refinement refinement) { m_refinement = refinement; }

    /// Never null; the locator owns them.
    LxCV::LxCCBCalibThres& Thresholds();

    /// @param image grey or colour, of any of the types that files are loaded as
    LocatedBoard Locate(const LxCV::CCTImage& image);

    /// What calibration gets of the last image: usable marks with their world coordinates (mm, target frame with its
    /// origin in the middle of the corners) and qualities. Only once, and after anything is drawn: the marks are gone
    /// then. Empty unless the target was identified.
    std::vector<LxCV::LxCCalibrationData> ExportRecords();

    /// Draws what the last image showed: outlines of dark squares green, of bright ones yellow; crosses on corners, red
    /// with an id and magenta without; the numbers of the squares.
    /// @param picture `eIDT_ARGB8`, of the last image's size
    void Draw(LxCV::CCTImage& picture);

    /// The smoothed vertical and horizontal edges of the last image, turned if it was searched so: bright to dark green, dark to bright red, in the
    /// direction of rising coordinates.
    /// @return `eIDT_ARGB8`
    LxCV::CCTImage DrawEdges() const;

private:
    class Target;

    std::unique_ptr<Target> LoadText(const std::string& text, const std::string& name) const;
    bool Prepare(const LxCV::CCTImage& image);
    LxCV::ECalibError Find(StageTimes& times);
    void FindTurned(LocatedBoard& board);
    void Count(LocatedBoard& board) const;
    void Refine();
    std::vector<BoardMark> NamedMarks() const;

    std::unique_ptr<Target> m_target; ///< never null
    LxCV::LxCCalibData m_images;
    LxCV::CCTImage m_colours; ///< the last image as `eIDT_ARGB8`
    Refinement m_refinement = Refinement::eNone;
};

} // namespace calibration
