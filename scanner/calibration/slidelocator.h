// From images of the projected slide to its named marks.
#pragma once

#include "cctimage.h"
#include "ecaliberror.h"
#include "lxccalibdata.h"
#include "lxccalibrationdata.h"
#include "lxccclalgodata.h"
#include "scanner/calibration/stagetimes.h"
#include "scanner/decoder/decoder.h"
#include "scanner/device/geometry.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace LxCV {
class LxCImageData;
class LxCPinholeFramework;
} // namespace LxCV

namespace calibration {

/// The slides with marks that the library has data of.
enum class MarkedSlide
{
    eDarkMarks,  ///< black marks on white stripes, 13 by 3
    eBrightMarks ///< white marks in black stripes, 11 by 3
};

/// A corner of a mark as it was found.
struct SlideMark
{
    int id = 0; ///< 4 (square - 1) + 1 to 4: upper left, upper right, lower left, lower right in the image
    device::Vec2 image;   ///< pixels, distorted image, integers being pixel centres
    device::Vec2 slide;   ///< u along the stripes, v across, slide units; what the id stands for
    double quality = 0.0; ///< lower is better
    bool usable = false;  ///< whether calibration takes it
    bool discarded =
        false; ///< whether it lies too far off the others of its row; then not usable, and not refined
};

/// What one pair of images shows of the slide.
struct LocatedSlide
{
    LxCV::ECalibError error = LxCV::eCalibNotDone; ///< 0 if marks were located and identified
    std::string problem;                           ///< what is wrong in words; empty for error 0
    std::size_t corners = 0;                       ///< all corners that were found, with names or without
    std::vector<SlideMark>
        marks; ///< those with an id, by rising id, discarded ones too; also where the fits of a row are poor
    std::vector<LxCV::LxCCalibrationData>
        records;      ///< what calibration gets: the usable marks; empty after an error
    StageTimes times; ///< decode (from the images to stripe edges), locate, identify
};

/// Where marks get their row of the slide from.
enum class RowSource
{
    eModel, ///< triangulation by the model
    eImage  ///< the image's column: a third of the image holds one of the three rows
};

/// Finds the marks of one kind of slide in pairs of images that a calibrated device took of it, one after the other;
/// working images are kept from pair to pair. One thread at a time.
class SlideLocator
{
public:
    /// @param model calibrated; must outlive the locator
    SlideLocator(MarkedSlide slide, LxCV::LxCPinholeFramework& model);
    ~SlideLocator();

    void SetRowSource(RowSource source) { m_rowSource = source; }

    /// @param reference under white light
    /// @param pattern   under the slide's stripes; both `eIDT_FLOAT32_3`, grey levels 0 to 255, of one size
    /// @throws std::invalid_argument for other images
    LocatedSlide Locate(const LxCV::CCTImage& reference, const LxCV::CCTImage& pattern);

    /// The images that the last pair was worked on with: the pattern image, its gradients and edges, and the stripe
    /// edges along marks.
    const LxCV::LxCCalibData& Images() const { return m_images; }

private:
    class Target;

    void Prepare(const LxCV::CCTImage& pattern);
    void WriteStripeEdges();
    LxCV::ECalibError Find(StageTimes& times);
    std::vector<SlideMark> NamedMarks() const;

    std::unique_ptr<Target> m_target; ///< never null
    LxCV::LxCPinholeFramework& m_model;
    decoder::Decoder m_decoder;
    RowSource m_rowSource = RowSource::eModel;
    LxCV::LxCCalibData m_images;
    LxCV::LxCCCLAlgoData m_algo;
    std::shared_ptr<LxCV::LxCImageData> m_measurement; ///< the pattern image, for automatic thresholds
};

} // namespace calibration
