// What all calibration targets have in common.
#pragma once

#include "ecaliberror.h"
#include "ecaliborientation.h"
#include "lxc3dcoordscct.h"
#include "lxccalibmark.h"
#include "lxccalibthres.h"
#include "lxcintrinsicparams.h"
#include "orx/base/export.h"

#include <array>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace LxCV {

class CCTImage;
class LxCCalibData;
class LxCCalibrationData;
class LxCCBRect;
class LxCCCTSerializer;

/// A calibration target: the marks that were found of it in the present image, its world coordinates, read once from
/// a data file, and its thresholds. It exports pairs of world point and image point to the camera model.
///
/// Positions of marks are pixels of the distorted image, sub-pixel; truncated ones are truncated towards zero. World
/// coordinates are millimetres in the target's frame, of a projector's slide slide units; entry i belongs to the mark
/// with the id i + 1. An id of 0 means not identified.
///
/// For each view: `Reset`, which locating begins with, `LocateCalibMarks`, `IdentifyCalibMarks`, `AssessMarkQual`,
/// `ExportCalibrationData`. Everything may be called at any time and in any order; without marks or coordinates there
/// is just nothing to do. There is no lock: one thread at a time.
///
/// Ownership: the target owns its marks, thresholds and intrinsic parameters. The list of marks holds plain pointers
/// that are never null; who takes one out of the list owns it, who puts one in hands it over. Copies are deep and keep
/// the dynamic type of marks and thresholds by their `Clone`; what marks point to without owning it, such as edges,
/// is for the class to mend that owns it.
///
/// The order of the virtual operations is fixed; concrete targets append theirs.
class ORX_EXPORT LxCCalibBody
{
public:
    using ECalibOrientation = LxCV::ECalibOrientation;
    using enum LxCV::ECalibOrientation;

    // Coordinate files that are none: the value of the target data store, and the built-in data of two slides of the
    // projector.
    static constexpr const char* sc_FilenameReadFromRegistry = "registry";
    static constexpr const char* sc_StandardParammsDiaA2 = "StandardParamsDiaA2";
    static constexpr const char* sc_StandardParammsDiaC = "StandardParamsDiaC";

    /// @param createThres whether the target gets thresholds of the base class; concrete targets pass false and
    ///        set their own
    /// Throws as `GetAppPathA` does.
    explicit LxCCalibBody(bool createThres);
    LxCCalibBody(const LxCCalibBody& other);
    LxCCalibBody& operator=(const LxCCalibBody& other);
    virtual ~LxCCalibBody();

    /// Finds the marks in an image of `data`; `debug` asks for pictures of what was found.
    virtual ECalibError LocateCalibMarks(LxCCalibData& data, bool debug) = 0;

    /// Sets the marks' qualities. Does nothing here. @return 0
    virtual ECalibError AssessMarkQual(const CCTImage* image);

    /// Draws an X at each mark, and its id where it has one, while the setting DrawMarkerPosForDebugging is on. A null
    /// is ignored.
    virtual void DrawCalibMarks(CCTImage* image) const;

    /// Appends a headline and a line for each mark.
    virtual void PrintCalibMarks(std::string& out) const;

    /// Gives the marks that were found their ids.
    virtual ECalibError IdentifyCalibMarks() = 0;

    /// Number of marks that have an id and are used for calibration.
    virtual int GetNrOfGoodMarks() const;

    virtual std::vector<LxCCalibMark*>& GetCalibMarks() { return m_vMarks; }
    virtual const std::vector<LxCCalibMark*>& GetCalibMarks() const { return m_vMarks; }

    // The exports append new records, which the caller owns, to `out`: world point, image position (pixels), quality
    // as weight.

    /// `ExportCalibrationDataUsingWCDataFile`, of the dynamic type.
    virtual ECalibError ExportCalibrationData(std::vector<LxCCalibrationData*>& out);

    /// A record of each good mark with the world position that `IdToWCDirect` sets in the mark, or, where it
    /// refuses, that stands there. The marks stay. @return 0
    virtual ECalibError ExportCalibrationDataDirect(std::vector<LxCCalibrationData*>& out);

    /// A record of each mark that is used for calibration and has an id of 2 to one below the number of world
    /// coordinates, with its coordinates. Afterwards the target has no marks. @return 0
    virtual ECalibError ExportCalibrationDataUsingWCDataFile(std::vector<LxCCalibrationData*>& out);

    /// Replaces `out`, without freeing what it held, by the records of a text file: "Xw Yw Zw Xi Yi" a line, single
    /// precision; empty lines and lines that begin with '!' do not count. Weights are 1.
    /// @return 0, then without marks; 3 without the file; 4 at a line of another form, with the records before it, and
    ///         for a file without any line that counts; 7 without memory
    virtual ECalibError ExportCalibrationDataUsingWCandICDataFile(std::vector<LxCCalibrationData*>& out,
                                                                  const std::string& fileName);

    /// The world coordinates of a mark with an id from 2 to their number; the origin for any other. Deliberately, that
    /// is so for id 1 too.
    virtual LxC3DCoordsCCT GetWorldCoords(const LxCCalibMark& mark) const;

    /// The first mark with this id; null for id 0.
    virtual LxCCalibMark* FindCalibMark(int id) const;

    // The mark nearest to a position (pixels) among those within a box around it, border excluded; the first one on a
    // tie, null where there is none.

    virtual LxCCalibMark* FindCalibMark(double x, double y, double tolX, double tolY) const;
    virtual LxCCalibMark* FindCalibMark(double x, double y, double tol) const;

    /// Whether a mark lies in the box is a matter of its truncated position here.
    virtual LxCCalibMark* FindCalibMark(int x, int y, int tol) const;

    /// Toggles the validity of every mark with its truncated position within the box, border excluded.
    /// @return 0; 1 where there is none
    virtual ECalibError ToggleCalibMark(int x, int y, int tol);

    /// Gives the mark next to a pixel, less than 10 pixels off along either axis, an id. @return 0; 1 without one
    virtual ECalibError ManAssignId(int x, int y, int id);

    /// World coordinates by formula, for targets that have one. @return 12, which leaves `coords` alone
    virtual ECalibError IdToWCDirect(int id, LxC3DCoordsCCT& coords) const;

    /// Deletes all marks.
    virtual void Reset();

    /// Draws a white square of about `size` pixels a side, filled, at each mark. A null and a size below 1 are logged.
    virtual void DrawMask(CCTImage* mask, int size) const;

    /// Makes each mark invalid at whose truncated position the mask has no pixel that differs from 0. A null is logged.
    virtual void ApplyMask(const CCTImage* mask);

    /// Makes marks within the margins that the thresholds tell unusable, and those outside the image invalid. A
    /// position that is no number is outside.
    /// @param width,height pixels
    virtual void FilterOutMarksInImgMargin(int width, int height);

    /// Reads world coordinates and thresholds of the coordinate file; nothing where it is the one that was loaded
    /// last. After a failure the next call reads again. A file whose path has no '.' gives the default thresholds.
    /// @return 0, 3, 4, 35 as `Read3DCoordsFromDataFile`; 44 where the target data store has no value
    virtual ECalibError LoadDataFile();

    /// Replaces the world coordinates by those of a file of target data.
    /// @param path complete; either separator counts
    /// @return 3 for what cannot be opened and read as a file, else as `Read3DCoordsFromStream`
    virtual ECalibError Read3DCoordsFromDataFile(const std::string& path);

    /// Replaces the world coordinates by the lines behind the line "::Coords": two or three numbers a line, single
    /// precision, in the classic locale, z of the line before where there are two (0 at first). Empty lines and lines
    /// that begin with '#' do not count; a line that begins with ':' ends the list, as does one of another form.
    /// @return 0; 3 for a stream that is not good; 35 for a list without points; 4 where the list ends with a line of
    ///         another form, and where it has no line that counts
    virtual ECalibError Read3DCoordsFromStream(std::istream& stream);

    /// Moves the world coordinates, once, so that their mean is the origin. @return 0
    virtual ECalibError NormalizeTargetCoordsToCenter();

    /// Blanks the target out of a mask. Logged as missing here. @return 1
    virtual ECalibError FilterOutCalibMarks(CCTImage* mask, double margin);

    /// Statistics of the brightness at the marks: of the means of the pixels from (x - 5, y - 5) to (x + 4, y + 4)
    /// with (x, y) a mark's truncated position, each truncated to an integer.
    /// @param mean,min,max one entry a channel, 1 for a grey image and 3 else, in the order blue, green, red
    /// @param overSat percentage of marks that are brighter than `limit`, one entry a channel
    /// @param onlyIdentified whether marks without an id are left out; invalid ones always are
    /// @return 0; 1 where no mark lies in the image, with 0 everywhere and 0x7FFFFFFF as minimum; 1 for a null
    virtual ECalibError AnalyzeBrightnessDist(const CCTImage* image, int* mean, int* min, int* max,
                                              int* overSat, int limit, bool onlyIdentified) const;

    /// Mean position (pixels) of the marks that are not invalid and, if asked for, have an id.
    /// @return 0; 1 where there is none, with (0, 0); 1 for a null
    virtual ECalibError GetMeanPos(double* x, double* y, bool onlyIdentified) const;

    /// The box (mm, target frame) that the target fills: without limits here. @return 0; 1 for a null
    virtual ECalibError GetPositionInWC(double* minX, double* minY, double* maxX, double* maxY) const;

    /// The position (pixels, distorted image) one step behind two marks on a line, first and second: in the plane of
    /// the undistorted image where the thresholds tell a distortion. A null leaves x and y alone.
    virtual void EstimateNewPosition(LxCCalibMark* const marks[2], double* x, double* y);

    /// Spreads ids over a grid that is numbered row by row from 1, from pairs of neighbours that have theirs. Columns
    /// and rows next to the first ones are deliberately no goals to the left and upwards.
    /// @param tolerance pixels, along each axis
    /// @param passes how often all marks are gone through at most
    /// @return 0; 1 for a grid without columns or rows; 7 without memory
    virtual ECalibError PropagateIdsOverGrid(int columns, int rows, double tolerance, int passes);

    /// Gives ids to the marks on the line through two, to both sides, as far as there are marks where the last two let
    /// expect one. No id is given twice or replaced.
    /// @param seeds two marks with different ids
    /// @param lowest,highest ids to keep to
    /// @return 0; 1 for a null, an id of 0 or equal ids
    virtual ECalibError PropagateIdsFromSeeds(LxCCalibMark* const seeds[2], double tolerance, int lowest,
                                              int highest);

    /// The index of the first mark with this id; -1 without one, and for id 0.
    virtual int FindCalibMarkIndex(int id) const;

    /// Undoes ids that do not fit. Does nothing here. @return 0
    virtual ECalibError DoubleCheckIds(int columns, int rows);

    /// The last id that continues the line from one id through another, on a grid that is numbered row by row from 1:
    /// before it leaves the grid or, unless both ids share a column, comes round to the column of `from`.
    /// @return `to` where the line ends there; 0 for equal ids and for 0 columns
    static int CompPropLimit(int from, int to, int columns, int rows);

    /// Averages measured marks offline: reads "../Results/calib_marker_N.txt", three numbers a line, for N from 0 to
    /// one below the number of measurements, and writes "../Results/calib_marker_mean.txt", the mean of four lines a
    /// rectangle. A file that is missing or ends early takes no part in a line's mean.
    /// @param numMeasurements kept as it is; at most 10000 files are read
    void CalculateMeanPositionOutOfMultiMeasurement(int numMeasurements, int numRects);

    /// A debugging aid: logs, at debug level, the sum of x (pixels) of the upper left corners of every n-th rectangle
    /// over n, the number of measurements of the last averaging. Nothing before the first. Not owned; null entries
    /// and corners do not count.
    void CalculateMeanPositionOutOfMultiMeasurement(const std::vector<LxCCBRect*>& rects) const;

    const std::string& GetPath() const { return m_sPath; }
    const std::string& GetCoordFile() const { return m_sCoordFile; }

    /// A file name below `GetPath`, or one of the special names. Loads nothing.
    void SetCoordFile(const std::string& coordFile) { m_sCoordFile = coordFile; }

    /// Which data file, how many iterations, and in `section`::Thres the thresholds; what an image or the data file
    /// told is not stored. A name of a file that would leave the folder is logged and not taken. After reading, the next
    /// `LoadDataFile` reads again.
    void Serialize(LxCCCTSerializer& serializer, const std::string& section);

    /// Lets the next `LoadDataFile` read again.
    void ForgetDataFile() { m_bDataLoaded = false; }

    ECalibOrientation GetCalibOrientation() const { return m_eOrientation; }
    void SetCalibOrientation(ECalibOrientation orientation) { m_eOrientation = orientation; }

    int GetMaxCalibrationIteration() const { return m_iMaxCalibrationIteration; }
    void SetMaxCalibrationIteration(int iterations) { m_iMaxCalibrationIteration = iterations; }

    /// Null where a concrete target has set none.
    LxCCalibThres* GetThres() { return m_pThres.get(); }
    const LxCCalibThres* GetThres() const { return m_pThres.get(); }

protected:
    /// The thresholds, or the defaults where there are none.
    const LxCCalibThres& GetThresOrDefaults() const;

    /// Whether a mark is not invalid and, if asked for, has an id.
    static bool IsSeen(const LxCCalibMark& mark, bool onlyIdentified);

    /// Appends a new record of a mark, which the owner of the list owns. Throws std::bad_alloc.
    static void AppendRecord(std::vector<LxCCalibrationData*>& out, const LxC3DCoordsCCT& world,
                             const LxCCalibMark& mark);

    /// Copies that the caller owns.
    static std::vector<LxCCalibMark*> CloneMarks(const std::vector<LxCCalibMark*>& marks);

    /// Deletes the marks and empties the list.
    static void DeleteMarks(std::vector<LxCCalibMark*>& marks);

    std::unique_ptr<LxCCalibThres> m_pThres;
    std::string m_sPath;                        ///< folder of data files, with its separator
    std::string m_sCoordFile;                   ///< file below the folder, or a special name
    bool m_bDataLoaded = false;                 ///< the loaded file's data stand
    std::string m_sLoadedFile;                  ///< the coordinate file of the last load
    bool m_bNormalized = false;                 ///< the mean of the world coordinates is 0
    std::vector<LxC3DCoordsCCT> m_vWorldCoords; ///< mm, target frame
    std::vector<LxCCalibMark*> m_vMarks;        ///< owned, never null
    ECalibOrientation m_eOrientation = eCO_Unknown;
    std::unique_ptr<LxCIntrinsicParams> m_pIntrinsicParams; ///< for extrapolation in undistorted space
    int m_iNumMeasurements = 0;                             ///< of the last offline averaging
    int m_iMaxCalibrationIteration = 100;

private:
    ECalibError ReadCoordFile();
    ECalibError LoadFromText(const std::string& text);

    using LineFlags = std::array<bool, 4>; ///< horizontal, vertical, and the two diagonals
    bool FollowLines(int columns, int rows, double tolerance, std::vector<LineFlags>& followed);
    void ExtendLine(LxCCalibMark* previous, LxCCalibMark* current, std::int64_t step, double tolerance,
                    int lowest, int highest);
};

} // namespace LxCV
