// The result of a measurement, and the table that makes its points.
#pragma once

#include "cctimage.h"
#include "lxcgpubasedata.h"
#include "lxcgpubuffer2d.h"
#include "lxsscandatacct.h"
#include "orx/base/export.h"
#include "orx/gpgpu/icontext.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace LxCV {

class LxCFrameGrabberReqs;
class LxCPinholeFramework;
class LxCTriangulationLUT;

/// What triangulation works on: the record of a measurement, three images of packed and of 16-bit words, and the
/// tabulated points of all stripe edges, in host memory and, with a context, on the GPU.
///
/// The record has a column for each column of the camera image and a row for each stripe edge. All memory is taken by
/// `Init`, so that a measurement takes none. Stages use the object one after the other; nothing locks.
class ORX_EXPORT LxC3DData : public LxCGPUBaseData
{
public:
    using GPUBuffers = std::vector<std::shared_ptr<LxCGPUBuffer2D>>;

    LxC3DData();
    LxC3DData(const LxC3DData&) = delete;
    LxC3DData& operator=(const LxC3DData&) = delete;
    ~LxC3DData();

    /// Builds the table of `InitTriangulationLUT`. Unless that was done before, then makes the images of the record
    /// where it has none, and the three images, all cleared, and with a context the buffers on the GPU: sizes of a
    /// second call count for the table alone.
    /// @param width, height       pixels of the camera image, for which the table is; size of the record's ARGB image
    /// @param rawWidth, rawHeight, rawType tell the camera's raw images; nothing here depends on them
    /// @param width2, height2     pixels of the record: columns, and a row for each stripe edge
    /// @param framework           calibrated model; not kept
    /// @param context             may be null
    /// @return false, with a line in the log, where the table cannot be built, for sizes below 1, and where the memory
    ///         does not suffice, also that of the GPU; `IsInitialized` stays as it was then
    bool Init(int width, int height, int rawWidth, int rawHeight, int width2, int height2,
              CCTImage::EImageDataType rawType, const LxCPinholeFramework* framework,
              std::shared_ptr<GPGPU::IContext> context);

    /// The same with the sizes of a camera, its width, and the model's number of stripe edges.
    /// @return also false for null requirements
    bool Init(const std::shared_ptr<const LxCFrameGrabberReqs>& requirements,
              const LxCPinholeFramework* framework, std::shared_ptr<GPGPU::IContext> context);

    /// Makes a new table of all stripe edges and fills it by `LxCPinholeFramework::ComputeEdgeXYZ`, in camera
    /// coordinates and without points near the marks of the slide. Grid points that are not finite as floats count as
    /// none. With a context, a copy of the table goes to the GPU. An earlier table is dropped in any case; whoever
    /// shares it keeps it.
    /// @param width, height pixels of the camera image
    /// @return false, with a line in the log and no table, for a null model, one whose pattern is not valid, and where
    ///         the memory does not suffice, also that of the GPU
    bool InitTriangulationLUT(int width, int height, const LxCPinholeFramework* framework,
                              std::shared_ptr<GPGPU::IContext> context);

    /// Whether an `Init` has reached its end.
    bool IsInitialized() const { return m_bInitialized; }

    LxSScanDataCCT& GetScanData() { return m_ScanData; }
    const LxSScanDataCCT& GetScanData() const { return m_ScanData; }

    /// Packed words of `width` by `height` pixels, `eIDT_INT32`.
    CCTImage& GetWordImage() { return m_WordImage; }

    /// 16-bit words of a third of the record's width, rounded down, by `height2`, `eIDT_UINT16`.
    CCTImage& GetReducedUInt16Image() { return m_ReducedUInt16Image; }

    /// 16-bit words of `width` by `height2`, `eIDT_UINT16`.
    CCTImage& GetUInt16Image() { return m_UInt16Image; }

    /// Buffers beside images of the record, in this order: 3D points, validity mask, normals, 16-bit plane and colour
    /// of the base, respectively full ones. Empty without a context.
    const GPUBuffers& GetReducedGPUBuffers() const { return m_vReducedGPUBuffers; }
    const GPUBuffers& GetFullGPUBuffers() const { return m_vFullGPUBuffers; }

    /// Null before the first table.
    std::shared_ptr<const LxCTriangulationLUT> GetTriangulationLUT() const { return m_pTriangulationLUT; }

    /// The table on the GPU: one plane for each of X, Y and Z, of one row with all grid points in the order of the
    /// table's block. Null without a context, and for a table without entries.
    std::shared_ptr<LxCGPUBuffer2D> GetTriangulationLUTGPU() const { return m_pTriangulationLUTGPU; }

private:
    bool CreateImages(int width, int height, int width2, int height2);
    bool CreateGPUBuffers(int width, int height, int rawWidth, int rawHeight,
                          CCTImage::EImageDataType rawType, const std::shared_ptr<GPGPU::IContext>& context);
    bool CreateTableOnGPU(const LxCTriangulationLUT& table, const std::shared_ptr<GPGPU::IContext>& context);
    bool CopyTableToGPU(const LxCTriangulationLUT& table);

    LxSScanDataCCT m_ScanData;
    CCTImage m_WordImage;
    CCTImage m_ReducedUInt16Image;
    CCTImage m_UInt16Image;
    GPUBuffers m_vReducedGPUBuffers;
    GPUBuffers m_vFullGPUBuffers;
    std::shared_ptr<LxCTriangulationLUT> m_pTriangulationLUT;
    std::shared_ptr<LxCGPUBuffer2D> m_pTriangulationLUTGPU;
    bool m_bInitialized = false;
};

} // namespace LxCV
