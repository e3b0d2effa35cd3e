// The model of the 3D camera: from a stripe edge in an image to a point in space.
#pragma once

#include "ckomaparameter.h"
#include "clightplane.h"
#include "ecaliberror.h"
#include "lxccbcalibbody.h"
#include "lxcpatternprojector.h"
#include "lxcprojslidecalibbody.h"
#include "lxcroi.h"
#include "lxcworkingspace.h"
#include "orx/base/export.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace LxCV {

class CCTImage;
class LxAFrameGrabber;

/// One calibrated camera, one calibrated projector with its stripe pattern, the coma polynomial and the
/// working space, joined into the model that turns a pixel on a stripe edge into a 3D point; and the two targets
/// with which camera and projector are calibrated.
///
/// A camera pixel is a ray from the camera's centre; a stripe edge is a plane through the projector's centre
/// and the edge on the slide; the point is where they meet. The slide is not perfect, so the edge's position
/// on it is looked up by the place along the stripe and the depth, for which a first intersection with the
/// edge's nominal plane is made.
///
/// The code of the pattern is cyclic: a decoded id means one stripe edge in each repetition. Which repetition
/// is meant follows from the working space, tabulated for every eighth image row.
///
/// Pixels are columns and rows of the distorted camera image. Points are in millimetres, in camera
/// coordinates or in world coordinates. Slide positions are in slide units.
///
/// Tables are derived from camera, projector, pattern and working space by `CalibStatusChanged`; whoever
/// changes one of these through its accessor calls it afterwards.
///
/// Marks that a target found are filed in camera and projector by `AddCamCalibData` and `AddProjCalibData`, which
/// tell about it in a status text for the user. Marks and tables know nothing of each other. Camera, targets and
/// filed marks are owned.
///
/// `ComputeEdgeXYZ`, `ComputeEdgesXYZ`,
/// `ComputeEdgeXYZSubEdge`, `ComputeEdgeDepth` and `UnwrapStripeId` only read, take no lock and allocate nothing: any number of
/// threads may call them at once, but not while the model changes.
class ORX_EXPORT LxCPinholeFramework
{
public:
    enum EReturnCode
    {
        eOk = 0,               ///< ready to measure
        eNotCalibrated = 1,    ///< the tables are not valid
        eInvalidPattern = 2,   ///< the pattern lacks its geometry or its digits
        eImageSizeMismatch = 3 ///< the camera was calibrated with images of another size
    };

    /// What `UnwrapStripeId` answers where no stripe edge fits; equals LxCPatternPosition's invalid position.
    static constexpr std::int32_t sc_iInvalidStripeEdge = 4095;

    /// Marks that `AddCamCalibData` takes at least.
    static constexpr int sc_iMinNumCalibPoints = LxCPinholeCamera::sc_iMinNumCalibPoints;

    /// An uncalibrated camera, an uncalibrated projector with the camera as master, and targets that have loaded no
    /// data. Throws as `LxCCalibBody` does.
    LxCPinholeFramework();
    LxCPinholeFramework(const LxCPinholeFramework&) = delete;
    LxCPinholeFramework& operator=(const LxCPinholeFramework&) = delete;
    virtual ~LxCPinholeFramework();

    /// Reads or writes the whole model below `section`: "::MV3DCamBase" (working space), "::Cams[0]",
    /// "::Projector", "::PolynomKoma", "::RoiIgnore" with a "::RoiIgnore::Roi[i]" for each region, "::CamCalibBody"
    /// and "::ProjCalibBody". Missing sections and keys leave what the object holds, but for placements, which become
    /// the identity, the pattern, which takes its defaults and is invalid without a size, and the targets' thresholds,
    /// which take theirs; the log tells how many keys are missing and how many sections are repeated. A working range
    /// that was set in world coordinates stays, and the camera's is derived from it. Reading makes the camera the
    /// projector's master and rebuilds the tables; it must not overlap with measuring. A count of regions that the text
    /// cannot hold is logged and replaced by the number of regions that are there.
    ///
    /// The projector's target takes the built-in data of the slide that belongs to the pattern that was read, that of
    /// pattern A if it is neither. Their thresholds go before those of the text, deliberately: a slide has one set.
    /// @throws std::out_of_range for a row of edge positions that is longer than the pattern has edges; the
    ///     model is uncalibrated then
    virtual void Serialize(LxCCCTSerializer& serializer, const std::string& section);

    /// Files the marks of one view of the camera's target in the camera, which owns them from now on.
    ///
    /// Fewer than `sc_iMinNumCalibPoints` are refused: they are deleted and the list is emptied. The status text tells
    /// either. Null counts as an empty list.
    /// @param marks world point (mm) and pixel of each mark
    /// @param newView whether the target or the camera has moved since the last call
    /// @return 0; 8 for too few marks
    virtual ECalibError AddCamCalibData(std::vector<LxCCalibrationData*>* marks, bool newView);

    /// Files marks of the slide in the projector, which owns them from now on. The status text tells how many came in,
    /// which with `screen` can be more than were filed.
    ///
    /// With `screen`, marks are slide position (slide units) as x and y of the world point, and pixel where the camera
    /// sees them on the plane Zw = 0 of its target. Each mark that is not seen within the target's box is deleted,
    /// and null stands in its place in the list. The others become world point on that plane (mm) and slide position.
    /// Without `screen` marks are filed as they are, and the camera takes no part.
    /// @param marks null takes the marks that the projector's target exports
    /// @param toCameraCoords whether screened points are in camera coordinates, and join the current view; otherwise,
    ///        and without `screen`, a new view begins
    /// @return 0, also without marks; 9, which is logged, for `screen` with a camera that is not calibrated, and
    ///         nothing has changed; what the export of the target returned
    virtual ECalibError AddProjCalibData(std::vector<LxCCalibrationData*>* marks, bool screen,
                                         bool toCameraCoords);

    // Estimating is left to other tools, whose results come in by `Serialize`: these use none of their arguments and
    // change nothing. @return 1

    virtual ECalibError CalibCamProjCombined(LxCPinholeCamera::ECalibMethod method,
                                             std::vector<LxCCoordSysTrans>& transforms, bool, bool,
                                             const std::string& directory, const std::string& text,
                                             const CCTImage* camImage, const CCTImage* projImage);
    virtual ECalibError CalibCamProjCombined3D(LxCPinholeCamera::ECalibMethod method,
                                               std::vector<LxCCoordSysTrans>& transforms, bool, bool,
                                               const std::string& directory, const std::string& text,
                                               const CCTImage* camImage, const CCTImage* projImage);
    ECalibError CalibProjectorBasedOnLSEPosCalib(LxCPinholeCamera::ECalibMethod method,
                                                 std::vector<LxCCoordSysTrans>& transforms);

    /// Deletes all marks that are filed, those of the projector first.
    void RemoveAllCalibData();

    /// Views of filed marks.
    int GetNrOfViewsCurCamCalib() const { return m_pCamera->GetNrOfViews(); }
    int GetNrOfViewsCurProjCalib() const { return m_Projector.GetNrOfViews(); }

    /// Whether images of this size, in pixels, can be measured.
    ///
    /// For an image of 658 by 494 pixels a camera that was calibrated on a larger sensor window is cut to
    /// this window, in each direction for itself: its image size is set and its principal point moves by 3
    /// columns or 2 rows. That changes the camera although the operation is const, so it belongs to the start
    /// of a measurement. A camera without an image size takes any.
    virtual EReturnCode GetStatus(int width, int height) const;

    /// The same for the converted images of a source. Null is a source whose images match no camera.
    virtual EReturnCode GetStatus(const LxAFrameGrabber* grabber) const;

    /// Rebuilds what is derived from the model and sets or clears `IsCalibrated`.
    /// @param minEdge, maxEdge the stripe edges whose light planes are wanted, see `PrepareLightPlanes`
    /// @param intrinsicsChanged whether to derive the reduced intrinsic parameters of camera and projector
    /// @param rebuildUnwrap whether to build the unwrap table; without a calibrated camera and projector it
    ///     is built in any case, from a plain model
    /// @param workingSpaceChanged whether to derive the other coordinates of the working space
    virtual void CalibStatusChanged(int minEdge, int maxEdge, bool intrinsicsChanged, bool rebuildUnwrap,
                                    bool workingSpaceChanged);

    /// Clears the coma polynomial, unless the settings want a reduced one kept, resets the marks' mask and
    /// rebuilds the tables. The argument has no effect.
    void ResetCalibration(bool);

    /// Sets the range of depths in which points are expected, mm, and rebuilds the unwrap table of a
    /// calibrated system. The range is kept also where this fails, which is logged.
    /// @param camCoords whether the range is z in camera coordinates; otherwise in world coordinates
    virtual void SetWorkingSpace(double min, double max, bool camCoords);

    /// The 3D point of a pixel on a stripe edge, mm.
    ///
    /// The outputs are 0 where there is no point: the camera is not calibrated, the edge has no light plane,
    /// or it lies near a mark of the slide and `skipNearMarks` is set. A ray that no plane meets gives a
    /// point that is far off or not finite.
    /// @param col, row pixel in the distorted camera image
    /// @param stripeEdge number of the stripe edge on the slide, from 0 to the pattern's number of edges - 1
    /// @param camCoords whether X, Y and Z are in camera coordinates; otherwise in world coordinates
    /// @param X, Y, Z receive the point; must not be null
    void ComputeEdgeXYZ(double col, double row, int stripeEdge, bool camCoords, double* X, double* Y,
                        double* Z, bool skipNearMarks) const;

    /// The points of one pixel on the stripe edges `firstEdge`, `firstEdge` + 1 ..., each as by `ComputeEdgeXYZ`, bit
    /// for bit. Faster than single calls, since the pixel is undistorted once.
    /// @param points receives a point for each edge, mm
    void ComputeEdgesXYZ(double col, double row, int firstEdge, bool camCoords,
                         std::span<LxC3DCoordsCCT> points, bool skipNearMarks) const;

    /// The 3D point of a pixel for a known place on the slide: the plane through the projector's centre and
    /// the slide row, two columns wide about the slide column.
    /// @param projCol, slideRow slide units; `projRow` and `skipNearMarks` take no part
    void ComputeEdgeXYZSubEdge(double col, double row, double projCol, double projRow, double slideRow,
                               bool camCoords, double* X, double* Y, double* Z, bool skipNearMarks) const;

    /// Z of `ComputeEdgeXYZ`.
    double ComputeEdgeDepth(double col, double row, int stripeEdge, bool camCoords, bool skipNearMarks) const;

    /// The stripe edge that a cyclic id means at an image row; `sc_iInvalidStripeEdge` where none fits, and
    /// for a row outside of the table. The id counts as unsigned and modulo the number of ids.
    int UnwrapStripeId(int id, double row) const;

    LxCPinholeCamera* GetCamera() { return m_pCamera.get(); }
    const LxCPinholeCamera* GetCamera() const { return m_pCamera.get(); }
    LxCPatternProjector* GetProjector() { return &m_Projector; }
    const LxCPatternProjector* GetProjector() const { return &m_Projector; }
    LxCStripePattern* GetCLPattern() { return m_Projector.GetCLPattern(); }
    const LxCStripePattern* GetCLPattern() const { return m_Projector.GetCLPattern(); }
    CKomaParameter* GetPolynomKoma() { return &m_PolynomKoma; }
    const CKomaParameter* GetPolynomKoma() const { return &m_PolynomKoma; }

    /// The checkerboard that calibrates the camera, and the slide that calibrates the projector. Owned here.
    LxCCBCalibBody* GetCamCalibBody() { return m_pCamCalibBody.get(); }
    const LxCCBCalibBody* GetCamCalibBody() const { return m_pCamCalibBody.get(); }
    LxCProjSlideCalibBody* GetProjCalibBody() { return m_pProjCalibBody.get(); }
    const LxCProjSlideCalibBody* GetProjCalibBody() const { return m_pProjCalibBody.get(); }

    /// The thresholds of the projector's target: where the marks on the slide are, which `skipNearMarks` leaves out.
    /// Null where that target was given thresholds of another class; no place is near a mark then.
    LxCCProjSlideCalibThres* GetProjCalibThres()
    {
        return const_cast<LxCCProjSlideCalibThres*>(std::as_const(*this).GetProjCalibThres());
    }
    const LxCCProjSlideCalibThres* GetProjCalibThres() const;

    /// Regions of the camera image that measuring leaves out, in pixels.
    std::vector<LxCRoi>& GetRoiIgnore() { return m_vRoiIgnore; }
    const std::vector<LxCRoi>& GetRoiIgnore() const { return m_vRoiIgnore; }

    /// The nominal light plane of each stripe edge, in camera coordinates.
    const std::vector<CLightPlane>& GetEdgePlanes() const { return m_vEdgePlanes; }

    /// Whether camera and projector are calibrated and all tables are built.
    bool IsCalibrated() const { return m_bCalibrated; }

    /// The working space, mm: z in camera coordinates (Zc) and in world coordinates (Zw).
    double GetMinZc() const { return m_WorkingSpace.GetMinWorkingDistCC(); }
    double GetMaxZc() const { return m_WorkingSpace.GetMaxWorkingDistCC(); }
    double GetMinZw() const { return m_WorkingSpace.GetMinWorkingDistWC(); }
    double GetMaxZw() const { return m_WorkingSpace.GetMaxWorkingDistWC(); }
    double GetMinDistCamToScene() const { return GetMinZc(); }
    double GetMaxDistCamToScene() const { return GetMaxZc(); }

    // Reports for the user. Their numbers do not depend on the locale.

    /// Appends the text of a result of calibration and a line feed to the calibration's status text; "general error" for
    /// a number without a text of its own, and nothing for success.
    void InterpretCalibError(ECalibError code);

    /// What calibration has told since `PrintCalibStatus` handed it over.
    std::string GetCalibStatus() const { return m_sCalibStatus; }

    /// Hands the status text over, with an empty line behind it, and forgets it. Without a status text nothing
    /// happens: `out` stays as it is even with `clear`.
    /// @param append whether the text goes behind what `out` holds; otherwise before it
    /// @param clear empties `out` first
    void PrintCalibStatus(std::string& out, bool append, bool clear);

    /// Replaces `out` by places and intrinsic parameters of camera and projector in words, or by the sentence that
    /// the system is not calibrated. Places are in the world, mm. The label of the projector's place says camera
    /// coordinates, which holds where the camera is the world; reports are compared with older ones, so it stays.
    virtual void PrintCalibData(std::string& out) const;

    /// Kept for its callers: no file is written. The other parts are for calibration tools, which derive.
    /// @param transforms target orientations of the camera's views
    void DebugPrintCalibResults(const std::string& directory, std::string text,
                                std::vector<LxCCoordSysTrans>& transforms);

protected:
    /// Row of the unwrap table for an image row; negative for a negative row.
    int UnwrappingLutIndexFromPosition(int row) const { return row >> m_iUnwrapRowShift; }

    /// Depth of the point where the ray (ux, uy, f) from the origin meets the plane through `p0` spanned by
    /// `d1` and `d2`; the lowest double for a plane that holds the direction of the y axis.
    /// @param ux, uy undistorted sensor coordinates, mm
    /// @param f focal length, mm
    double AuxComputeDepth(const LxC3DCoordsCCT& p0, const LxC3DCoordsCCT& d1, const LxC3DCoordsCCT& d2,
                           double ux, double uy, double f) const;

    /// The point of a device's ray at depth z of that device, mm, in another device's frame; in the world for a
    /// null `to`.
    /// @param u, v image coordinates of `from`
    void AuxTrafoProjImgToCamCoords(const LxCPinholeCamera* from, const LxCPinholeCamera* to, double u,
                                    double v, double z, double* x, double* y, double* zOut) const;

    /// Builds the light planes of the edges from min(max(minEdge, 0), 70) up to, not including,
    /// max(min(maxEdge, number of edges), 70): the middle of the pattern is always among them. Other planes
    /// keep what they held.
    /// @return false, with a log line, for a pattern whose edge positions are not those of its geometry
    bool PrepareLightPlanes(int minEdge, int maxEdge);

    /// Builds the unwrap table for the working space and the pattern as they are.
    bool InitIdUnwrapLUTCC();

    /// Builds a table with a row for every eighth image row and an entry for each id: the stripe edge among
    /// id, id + numIds, id + 2 numIds ... whose point in the image's middle column is nearest to the middle
    /// of the depth range among those inside, else the one nearest to the range and closer than 100 mm.
    /// @param zMin, zMax depth range in world coordinates, mm
    /// @return false for no ids, with the table untouched, and for a table out of proportion to any camera,
    ///     with an empty table and a log line
    bool InitIdUnwrapLUTGeneric(double zMin, double zMax, int numIds, int numEdges,
                                std::vector<std::vector<std::int32_t>>& lut);

    // Files of the marks that are held, for looking at a calibration. Each view has a file of its own with its number
    // in three digits or more, each mark that is not zero a line of numbers with blanks between, which read back give
    // the same doubles. World points are in mm, image points (u, v) in pixels, a projector's in slide units. A null
    // device has no files.
    //
    // A file is made anew. One that cannot be written is logged as an error, the others are written all the same. A
    // path is the directory followed by a separator and the name, so that no directory means the root folder; a
    // directory with a NUL is none.

    /// By view: ProjCalib_SensorCoords_ (u v) and ProjCalib_pre_5dArray_ (x y z u v) of the projector's marks,
    /// CamCalib_SensorCoords_ (u v) of the camera's.
    void DebugPrintCalibResultsPart1(std::string& directory, const LxCPinholeCamera* camera,
                                     const LxCPinholeCamera* projector);

    /// Ignores all arguments.
    void DebugPrintCalibResultsPart2(const std::string& directory, std::string text,
                                     const LxCPinholeCamera* camera, const LxCPinholeCamera* projector,
                                     LxCCoordSysTrans* transforms);

    /// By view of the camera: CamCalib_3D_Coords_ (the world point in the camera's frame), CamCalib_5DArray_ (x y z u v)
    /// and CamCalib_8DArray_ (where the ray of the pixel meets the plane of the mark's z, that z, x y z u v). Of the
    /// projector's first view: ProjCalib_3dCoords (x y z) and ProjCalib_5dArray (x y z u v). Last log.txt: the status
    /// text and the calibration results of camera and projector. The status text is forgotten once the log is
    /// written, and kept where that fails.
    /// @param transforms one for each view of the camera, which leads from the target's frame into the camera's. The
    ///     array of the camera itself may have fewer. A view without one, and any view for null, has empty files in
    ///     place of those that need it
    void DebugPrintCalibResultsPart3(std::string& directory, const LxCPinholeCamera* camera,
                                     const LxCPinholeCamera* projector, LxCCoordSysTrans* transforms);

private:
    struct CSensorPoint
    {
        double x; ///< undistorted sensor coordinates, mm
        double y;
    };
    struct CSlidePoint
    {
        double col; ///< slide units
        double row;
        double depth; ///< z in the projector frame, mm
    };

    /// Whether pattern and calibration are fit for measuring.
    EReturnCode GetModelStatus() const;

    /// The points of a ray on some stripe edges that have light planes. The camera is calibrated.
    /// @param points zeros, which stay where there is no point
    void ComputePointsOnEdges(const CSensorPoint& undistorted, int firstEdge, bool camCoords,
                              std::span<LxC3DCoordsCCT> points, bool skipNearMarks) const;

    /// Where on the slide, and how deep, the ray of a sensor position meets a nominal light plane.
    CSlidePoint EstimateSlidePoint(const CSensorPoint& undistorted, const CLightPlane& plane) const;

    /// The point of a ray in the plane through the projector's centre and the slide row, and its output.
    /// @param origin projector's centre, camera frame
    void ComputeXYZInLocalPlane(const CSensorPoint& undistorted, const LxC3DCoordsCCT& origin, double projCol,
                                double slideRow, bool camCoords, double* X, double* Y, double* Z) const;

    /// The projector's centre in the camera frame, mm.
    LxC3DCoordsCCT ProjectorInCamera() const;

    /// Points one column left and right of a slide position, in camera coordinates, mm.
    void TwoPointsOnEdge(double projCol, double slideRow, LxC3DCoordsCCT (&points)[2]) const;

    void FillUnwrapLUTByDepth(double zMin, double zMax, int numEdges,
                              std::vector<std::vector<std::int32_t>>& lut) const;
    /// The marks that are seen on the camera's target, rewritten; the others are deleted, null takes their places.
    std::vector<LxCCalibrationData*> ScreenProjMarks(std::vector<LxCCalibrationData*>& marks,
                                                     bool toCameraCoords) const;
    void SerializeRoiIgnore(LxCCCTSerializer& serializer, const std::string& section);

    /// Gives the projector's target the built-in data of the pattern's slide.
    void LoadStandardSlide();

    std::unique_ptr<LxCPinholeCamera> m_pCamera;
    LxCPatternProjector m_Projector;
    CKomaParameter m_PolynomKoma;
    bool m_bCalibrated = false;
    LxCWorkingSpace m_WorkingSpace;
    std::vector<LxCRoi> m_vRoiIgnore;
    std::unique_ptr<LxCProjSlideCalibBody> m_pProjCalibBody;
    std::unique_ptr<LxCCBCalibBody> m_pCamCalibBody;
    std::string m_sCalibStatus;                           ///< for the user; grows until it is handed over
    std::vector<CLightPlane> m_vEdgePlanes;               ///< index stripe edge; camera frame
    std::vector<std::vector<std::int32_t>> m_viUnwrapLUT; ///< [image row / step][id]: stripe edge
    std::int32_t m_iUnwrapRowStep = 8;                    ///< image rows for each row of the table
    std::int32_t m_iUnwrapRowShift = 3;                   ///< log2 of the step
};

} // namespace LxCV
