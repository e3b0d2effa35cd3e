// From a reference and a pattern image to 3D points.
#pragma once

#include "cctimage.h"
#include "lxsscandatacct.h"
#include "scanner/decoder/codewords.h"
#include "scanner/decoder/decoderconfig.h"
#include "scanner/decoder/edgecolumns.h"
#include "scanner/decoder/edgefinder.h"
#include "scanner/decoder/edgeorder.h"
#include "scanner/decoder/edgerepair.h"
#include "scanner/decoder/edgetracer.h"
#include "scanner/decoder/greyscene.h"
#include "scanner/decoder/pointcleaning.h"
#include "scanner/decoder/pointculling.h"
#include "scanner/decoder/referenceshift.h"
#include "scanner/decoder/scanrecord.h"
#include "scanner/decoder/stripesignal.h"
#include "scanner/decoder/tablelookup.h"

#include <optional>
#include <vector>

namespace decoder {

/// The decoding stage: signal, edges, code words, traced edges, points and record, one call for each, so that a caller
/// can time and look at every step. Each step takes what the one before it left, in this order. The working buffers are
/// kept from measurement to measurement.
///
/// Any pixel values will do, also infinite ones and such that are not numbers, and any model: what cannot be
/// decoded gives no points.
class Decoder
{
public:
    /// @param model calibrated; must outlive the decoder
    explicit Decoder(const LxCV::LxCPinholeFramework& model, const DecoderConfig& config = {});

    /// Makes the working buffers for images of so many pixels, and the table of triangulated points, if points are
    /// looked up. Measurements of such images on the calling thread then take no memory, not even the first one, unless
    /// they find far more edges than a striped surface has. Optional without a table: the steps make what is missing.
    /// @throws std::bad_alloc, std::invalid_argument for sizes below 1
    void Init(int width, int height);

    /// Frees the pattern image of shading and texture. As the active preset tells, the reference image is first shifted for
    /// the motion of the camera, and its colours count or not: see `ReferenceShift` and `GreyScene`.
    /// @param reference, pattern type FLOAT32_3, grey levels 0 to 255, one size
    /// @throws std::invalid_argument if they do not fit; nothing is to be delivered then before the next signal
    void ComputeSignal(const LxCV::CCTImage& reference, const LxCV::CCTImage& pattern);

    /// Finds the stripe edges of the signal.
    void FindEdges();

    /// Names the stripe edges by their code words, and makes a word for each.
    void ReadCodeWords();

    /// Follows the named pixels along the image and numbers the stripe edges. As the active preset tells, short gaps are
    /// closed and edges out of order are dropped: see `EdgeRepair` and `EdgeOrder`.
    void TraceEdges();

    /// Triangulates the traced edges whose pixels lie in the measured region. Points outside the working range are left
    /// out, and those that the active preset drops: see `PointCulling` and `PointCleaning`.
    /// @throws std::logic_error if points are looked up and `Init` has made no table
    void Triangulate();

    /// Makes the record of the measurement: the points in a grid of image columns and stripe edges, their colours and
    /// normals, and their qualities, if the configuration asks for them. The active preset tells whether the record is
    /// reduced and smoothed; see `FillRecord` and `FillQualities`.
    /// @param reference the image that the signal was computed from
    /// @throws std::invalid_argument for an image of another type or without pixels, std::bad_alloc
    void Deliver(const LxCV::CCTImage& reference);

    /// The part of the image in which points are measured: that of the active preset, see `MeasuredRegion`. A position
    /// belongs to the pixel with the nearest centre.
    LxCV::LxCRoi GetRegion() const;

    /// What `FindEdges` found.
    const EdgeColumns& GetEdgeColumns() const { return m_columns; }

    /// `LxCExtremum` words of the edges, named where their code words are read; after tracing, pixels of traced edges are
    /// `LxCLightStripeEdgeSinglePixel` words.
    const LxCV::CCTImage& GetEdgeWords() const { return m_words; }
    const std::vector<EdgePixel>& GetEdgePixels() const { return m_edges; }
    const std::vector<MeasuredPoint>& GetPoints() const { return m_points; }

    /// What `Deliver` made. The full images have a column for each image column and a row for each stripe edge.
    const LxCV::LxSScanDataCCT& GetRecord() const { return m_record; }
    LxCV::LxSScanDataCCT& GetRecord() { return m_record; }

private:
    void FitWords(int width, int height);
    void FitRecord(int width, int height);

    /// Whether all parts of the record have the sizes of images of so many pixels.
    bool DoesRecordFit(int width, int height) const;
    int RecordWidth(int width) const;

    /// The points of the edges in the region.
    void FindPoints();

    /// The point of an edge pixel by the model's equations; of depth 0 where there is none.
    LxCV::LxC3DCoordsCCT ComputePoint(const EdgePixel& edge) const;

    const LxCV::LxCPinholeFramework& m_model;
    DecoderConfig m_config;
    std::optional<ColourMatrix> m_unmixing; ///< of the colours of the images
    ReferenceShift m_shift;
    GreyScene m_greyScene;
    StripeSignal m_signal;
    EdgeFinder m_finder;
    CodeWordReader m_reader;
    EdgeTracer m_tracer;
    PointCulling m_culling;
    PointCleaning m_cleaning;
    bool m_isReduced; ///< whether the record is
    EdgeRepair m_repair;
    EdgeOrder m_order;
    EdgeColumns m_columns;
    LxCV::CCTImage m_words; ///< INT32
    std::vector<EdgePixel> m_edges;
    std::vector<MeasuredPoint> m_points;
    PointTable m_table; ///< empty where points are not looked up
    LxCV::LxSScanDataCCT m_record;
};

} // namespace decoder
