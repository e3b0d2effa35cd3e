// The result of a measurement, and the table that makes its points.
#include "lxc3ddata.h"

#include "gpuimages.h"
#include "lxcframegrabberreqs.h"
#include "lxcpinholeframework.h"
#include "lxctriangulationlut.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <initializer_list>
#include <span>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxC3DData");

constexpr unsigned int c_uiChannels = 3;
constexpr int c_iReduction = 3; ///< columns of the record for one of its reduced part

/// Stripe edges that have a number; a model from outside can tell any.
constexpr int c_iMaxEdges = static_cast<int>(LxCPatternPosition::ms_uiInvalidPosition);

/// A point as the table stores it: zeros for none, and for one that is no finite float.
LxCFloat3 TablePoint(const LxC3DCoordsCCT& point)
{
    const auto x = static_cast<float>(point.x);
    const auto y = static_cast<float>(point.y);
    const auto z = static_cast<float>(point.z);
    const bool isPoint = std::isfinite(x) && std::isfinite(y) && std::isfinite(z);
    return isPoint ? LxCFloat3(x, y, z) : LxCFloat3(0.0F, 0.0F, 0.0F);
}

/// Grid position by grid position for all edges: what depends on the pixel alone is computed once for them.
void FillTable(LxCTriangulationLUT& table, const LxCPinholeFramework& framework)
{
    if (table.GetNrEntries() == 0) {
        return;
    }
    const auto numEdges = static_cast<std::size_t>(table.GetNrEntries());
    std::vector<LxC3DCoordsCCT> points(numEdges);
    std::vector<LxCFloat3*> next(numEdges); // where the entries take their next point
    for (std::size_t edge = 0; edge < numEdges; ++edge) {
        next[edge] = static_cast<LxCFloat3*>(table.GetLUTEntry(static_cast<int>(edge))->GetBuffer());
    }
    const int gridWidth = table.GetLUTEntry(0)->GetWidth();
    const int gridHeight = table.GetLUTEntry(0)->GetHeight();
    for (int y = 0; y < gridHeight; ++y) {
        for (int x = 0; x < gridWidth; ++x) {
            framework.ComputeEdgesXYZ(x * LxCTriangulationLUT::sc_iGridStepX,
                                      y * LxCTriangulationLUT::sc_iGridStepY, 0, true, points, true);
            for (std::size_t edge = 0; edge < numEdges; ++edge) {
                *next[edge]++ = TablePoint(points[edge]);
            }
        }
    }
}

/// Copies one coordinate of all points to a plane, an entry of the table at a time.
void CopyChannel(const LxCTriangulationLUT& table, unsigned int channel, GPGPU::IBuffer& plane)
{
    const auto pointsPerEntry = static_cast<std::size_t>(table.GetLUTEntry(0)->GetSizeInPixels());
    std::vector<float> values(pointsPerEntry);
    const float* next = table.GetBlock() + channel;
    for (int entry = 0; entry < table.GetNrEntries(); ++entry) {
        for (float& value : values) {
            value = *next;
            next += c_uiChannels;
        }
        const std::span<const std::byte> bytes = std::as_bytes(std::span(values));
        plane.Write(static_cast<std::size_t>(entry) * bytes.size(), bytes);
    }
}

LxC3DData::GPUBuffers CreateCounterparts(const std::shared_ptr<GPGPU::IContext>& context,
                                         std::initializer_list<const CCTImage*> images)
{
    LxC3DData::GPUBuffers buffers;
    for (const CCTImage* image : images) {
        buffers.push_back(CreateGPUCounterpart(context, *image));
    }
    return buffers;
}

} // namespace

LxC3DData::LxC3DData() = default;

LxC3DData::~LxC3DData() = default;

bool LxC3DData::Init(int width, int height, int rawWidth, int rawHeight, int width2, int height2,
                     CCTImage::EImageDataType rawType, const LxCPinholeFramework* framework,
                     // NOLINTNEXTLINE(performance-unnecessary-value-param): the interface passes a copy
                     std::shared_ptr<GPGPU::IContext> context)
{
    if (std::min({width, height, width2, height2}) < 1) {
        s_Logger.Error(L"LxC3DData::Init: no images of %i by %i and %i by %i pixels", width, height, width2,
                       height2);
        return false;
    }
    if (!InitTriangulationLUT(width, height, framework, context)) {
        return false;
    }
    m_bInitialized =
        m_bInitialized || (CreateImages(width, height, width2, height2) &&
                           CreateGPUBuffers(width, height, rawWidth, rawHeight, rawType, context));
    return m_bInitialized;
}

bool LxC3DData::Init(const std::shared_ptr<const LxCFrameGrabberReqs>& requirements,
                     const LxCPinholeFramework* framework, std::shared_ptr<GPGPU::IContext> context)
{
    if (requirements == nullptr || framework == nullptr) {
        s_Logger.Error(L"LxC3DData::Init: no requirements or no model");
        return false;
    }
    const int width = requirements->GetWidth();
    return Init(width, requirements->GetHeight(), requirements->GetWidthRaw(), requirements->GetHeightRaw(),
                width, framework->GetCLPattern()->GetNrOfStripeEdges(), requirements->GetImgTypeRaw(),
                framework, std::move(context));
}

bool LxC3DData::CreateImages(int width, int height, int width2, int height2)
{
    // Where the last images of base and record were made, all others were.
    const bool hasImages = m_ScanData.GetUInt16Plane() != nullptr && m_ScanData.GetARGBImage() != nullptr;
    bool done = hasImages || m_ScanData.Initialize(width2, height2, width, height, false);
    done = done && m_WordImage.Resize(width, height, CCTImage::eIDT_INT32) == CCTImage::eRC_OK &&
           m_ReducedUInt16Image.Resize(m_ScanData.GetFull3DPoints()->GetWidth() / c_iReduction, height2,
                                       CCTImage::eIDT_UINT16) == CCTImage::eRC_OK &&
           m_UInt16Image.Resize(width, height2, CCTImage::eIDT_UINT16) == CCTImage::eRC_OK;
    if (!done) {
        s_Logger.Error(L"LxC3DData::Init: out of memory");
    }
    return done;
}

bool LxC3DData::CreateGPUBuffers(int width, int height, int rawWidth, int rawHeight,
                                 CCTImage::EImageDataType rawType,
                                 const std::shared_ptr<GPGPU::IContext>& context)
{
    // An attempt that failed may have left some.
    m_vReducedGPUBuffers.clear();
    m_vFullGPUBuffers.clear();
    return context == nullptr || RunGPUInit(s_Logger, [&] {
               LxCGPUBaseData::Init(width, height, rawWidth, rawHeight, rawType, context);
               m_vReducedGPUBuffers = CreateCounterparts(
                   context, {m_ScanData.Get3DPoints(), m_ScanData.GetValidMask(), m_ScanData.GetNormals(),
                             m_ScanData.GetUInt16Plane(), m_ScanData.GetColor()});
               m_vFullGPUBuffers =
                   CreateCounterparts(context, {m_ScanData.GetFull3DPoints(), m_ScanData.GetFullValidMask(),
                                                m_ScanData.GetFullNormals(), m_ScanData.GetFullUInt16Plane(),
                                                m_ScanData.GetFullColor()});
           });
}

bool LxC3DData::InitTriangulationLUT(
    int width, int height, const LxCPinholeFramework* framework,
    // NOLINTNEXTLINE(performance-unnecessary-value-param): the interface passes a copy
    std::shared_ptr<GPGPU::IContext> context)
{
    // Dropped first, so that two tables never need memory at once.
    m_pTriangulationLUT.reset();
    m_pTriangulationLUTGPU.reset();
    if (framework == nullptr || !framework->GetCLPattern()->IsValid()) {
        s_Logger.Error(L"LxC3DData::InitTriangulationLUT: no model, or its pattern is not valid");
        return false;
    }
    const int numEdges = framework->GetCLPattern()->GetNrOfStripeEdges();
    if (numEdges > c_iMaxEdges) {
        s_Logger.Error(L"LxC3DData::InitTriangulationLUT: %i stripe edges are too many", numEdges);
        return false;
    }
    auto table = std::make_shared<LxCTriangulationLUT>();
    if (!table->Init(numEdges, width, height)) {
        return false;
    }
    // Before the points, so that a device without room costs no time.
    if (context != nullptr && !CreateTableOnGPU(*table, context)) {
        return false;
    }
    FillTable(*table, *framework);
    if (m_pTriangulationLUTGPU != nullptr && !CopyTableToGPU(*table)) {
        return false;
    }
    m_pTriangulationLUT = std::move(table);
    return true;
}

bool LxC3DData::CreateTableOnGPU(const LxCTriangulationLUT& table,
                                 const std::shared_ptr<GPGPU::IContext>& context)
{
    const auto points = static_cast<unsigned int>(table.GetNrElements()) / c_uiChannels;
    return points == 0 || RunGPUInit(s_Logger, [&] {
               m_pTriangulationLUTGPU =
                   std::make_shared<LxCGPUBuffer2D>(context, eGPT_Float32, points, 1U, c_uiChannels);
           });
}

bool LxC3DData::CopyTableToGPU(const LxCTriangulationLUT& table)
{
    const bool done = RunGPUInit(s_Logger, [&] {
        for (unsigned int channel = 0; channel < c_uiChannels; ++channel) {
            CopyChannel(table, channel, *m_pTriangulationLUTGPU->getBufferHandle(channel));
        }
    });
    if (!done) {
        m_pTriangulationLUTGPU.reset();
    }
    return done;
}

} // namespace LxCV
