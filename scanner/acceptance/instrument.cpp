#include "scanner/acceptance/instrument.h"

#include "lxcfloat3.h"
#include "lxcpinholeframework.h"
#include "lxsscandatacct.h"
#include "scanner/calibration/devicecoupling.h"
#include "scanner/calibration/imageview.h"
#include "scanner/calibration/modelreading.h"

namespace acceptance {

namespace {

constexpr const char* c_root = "::Device";

std::vector<RecordedPoint> PointsOf(const LxCV::LxSScanDataCCT& record, const device::VirtualDevice& device)
{
    const LxCV::CCTImage& positions = *record.GetFull3DPoints();
    const LxCV::CCTImage& mask = *record.GetFullValidMask();
    std::vector<RecordedPoint> points;
    for (int row = 0; row < positions.GetHeight(); ++row) {
        for (int column = 0; column < positions.GetWidth(); ++column) {
            if (mask.GetBytePixelFast(column, row) != 0) {
                const LxCV::LxCFloat3& at = positions.GetFloat3Fast(column, row);
                const device::Vec3 position{at.get(0), at.get(1), at.get(2)};
                points.push_back({position, device.ImageFromPoint(position)});
            }
        }
    }
    return points;
}

decoder::DecoderConfig WithCoupling(const device::DeviceParameters& parameters, decoder::DecoderConfig config)
{
    calibration::SetCoupling(parameters.optics, config.algorithm);
    return config;
}

} // namespace

Instrument::Instrument(const device::DeviceParameters& parameters, const decoder::DecoderConfig& config)
    : m_device(parameters), m_model(calibration::ReadModel(m_device.ParameterText(c_root), c_root)),
      m_decoder(*m_model, WithCoupling(parameters, config))
{
    m_decoder.Init(parameters.camera.width, parameters.camera.height);
}

Instrument::~Instrument() = default;

void Instrument::Observe(const device::Scene& scene, std::span<const device::Exposure> exposures,
                         bool isCompared, const std::function<void(const Reading&)>& take)
{
    device::RenderOptions options;
    options.truth = isCompared;
    m_device.RenderEach(scene, exposures, options,
                        [&](device::RenderedPair& pair) { take(Measure(scene, pair, isCompared)); });
}

Reading Instrument::Measure(const device::Scene& scene, device::RenderedPair& pair, bool isCompared)
{
    const LxCV::CCTImage reference = calibration::ViewOf(pair.reference);
    m_decoder.ComputeSignal(reference, calibration::ViewOf(pair.pattern));
    m_decoder.FindEdges();
    m_decoder.ReadCodeWords();
    m_decoder.TraceEdges();
    m_decoder.Triangulate();
    m_decoder.Deliver(reference);
    Reading reading{PointsOf(m_decoder.GetRecord(), m_device), {}};
    if (isCompared) {
        reading.accuracy =
            CompareWithTruth(m_device, scene, pair.truth, m_decoder.GetRegion(), m_decoder.GetPoints());
    }
    return reading;
}

} // namespace acceptance
