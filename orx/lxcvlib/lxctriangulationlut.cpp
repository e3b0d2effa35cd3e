// Tabulated triangulation.
#include "lxctriangulationlut.h"

#include "orx/logging/logger.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <exception>
#include <limits>
#include <new>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCTriangulationLUT");

constexpr int c_iChannels = 3; ///< X, Y, Z of a grid point
constexpr int c_iZ = 2;

// Grid indices up to here are exact as floats, so that comparing positions with the size of the grid is too.
constexpr std::int64_t c_iMaxGridSize = std::int64_t{1} << 24;

std::int64_t GridSize(int size, int step)
{
    return std::int64_t{size} / step + 2;
}

/// Whether the grid has indices that floats tell apart, and the block a size that an int can tell.
bool IsPossible(int numEdges, int width, int height)
{
    if (std::min({numEdges, width, height}) < 0) {
        return false;
    }
    const std::int64_t gridWidth = GridSize(width, LxCTriangulationLUT::sc_iGridStepX);
    const std::int64_t gridHeight = GridSize(height, LxCTriangulationLUT::sc_iGridStepY);
    constexpr std::int64_t c_iMaxFloats = std::numeric_limits<int>::max();
    return gridWidth <= c_iMaxGridSize && gridHeight <= c_iMaxGridSize &&
           gridWidth * gridHeight * c_iChannels <= c_iMaxFloats / std::max(numEdges, 1);
}

} // namespace

/// Where a position lies between four points of the grid.
struct LxCTriangulationLUT::SCell
{
    const float* pUpper; ///< X of the upper left point; the point to its right follows it
    const float* pLower; ///< X of the lower left point
    float fA;            ///< from the left points to the right ones, of a step
    float fB;            ///< from the upper points to the lower ones, of a step

    bool HasPoints() const
    {
        constexpr int c_iRightZ = c_iChannels + c_iZ;
        return pUpper[c_iZ] != 0.0F && pUpper[c_iRightZ] != 0.0F && pLower[c_iZ] != 0.0F &&
               pLower[c_iRightZ] != 0.0F;
    }

    float Interpolate(int channel) const
    {
        const int right = c_iChannels + channel;
        return ((1.0F - fA) * pUpper[channel] + fA * pUpper[right]) * (1.0F - fB) +
               ((1.0F - fA) * pLower[channel] + fA * pLower[right]) * fB;
    }
};

bool LxCTriangulationLUT::Init(int numEdges, int width, int height)
{
    Reset();
    if (!IsPossible(numEdges, width, height)) {
        s_Logger.Error(L"LxCTriangulationLUT::Init: no table of %i edges on %i by %i pixels", numEdges, width,
                       height);
        return false;
    }
    m_iNumEntries = numEdges;
    m_iGridStepX = sc_iGridStepX;
    m_iGridStepY = sc_iGridStepY;
    m_iPaddedWidth = static_cast<int>(std::ceil(width * 0.125)) * m_iGridStepX;
    m_iPaddedHeight = static_cast<int>(std::ceil(height * 0.25)) * m_iGridStepY;
    m_fInverseStepX = 1.0F / static_cast<float>(m_iGridStepX);
    m_fInverseStepY = 1.0F / static_cast<float>(m_iGridStepY);
    m_iGridWidth = static_cast<int>(GridSize(width, m_iGridStepX));
    m_iGridHeight = static_cast<int>(GridSize(height, m_iGridStepY));
    m_iFloatsPerEntry = m_iGridWidth * m_iGridHeight * c_iChannels;
    if (!CreateBlock() || !CreateEntries()) {
        s_Logger.Error(L"LxCTriangulationLUT::Init: out of memory");
        Reset();
        return false;
    }
    return true;
}

bool LxCTriangulationLUT::CreateBlock()
{
    m_pBlock.reset(new (std::nothrow) float[static_cast<std::size_t>(GetNrElements())]);
    return m_pBlock != nullptr;
}

bool LxCTriangulationLUT::CreateEntries()
{
    try {
        m_vEntries.reserve(static_cast<std::size_t>(m_iNumEntries));
    } catch (const std::exception&) {
        return false;
    }
    float* part = m_pBlock.get();
    for (int i = 0; i < m_iNumEntries; ++i, part += m_iFloatsPerEntry) {
        CCTImage* entry = nullptr;
        if (CreateImage(&entry, m_iGridWidth, m_iGridHeight, CCTImage::eIDT_FLOAT32_3, false, part) !=
            CCTImage::eRC_OK) {
            return false;
        }
        m_vEntries.emplace_back(entry);
        entry->Clear();
    }
    return true;
}

void LxCTriangulationLUT::Reset()
{
    m_vEntries = std::vector<std::unique_ptr<CCTImage>>();
    m_pBlock.reset();
    m_iNumEntries = 0;
}

CCTImage* LxCTriangulationLUT::GetLUTEntry(int index)
{
    const auto i = static_cast<std::size_t>(index); // a negative number is beyond every table
    return i < m_vEntries.size() ? m_vEntries[i].get() : nullptr;
}

const CCTImage* LxCTriangulationLUT::GetLUTEntry(int index) const
{
    const auto i = static_cast<std::size_t>(index);
    return i < m_vEntries.size() ? m_vEntries[i].get() : nullptr;
}

/// @return false for an entry and for a position that the table does not have
inline bool LxCTriangulationLUT::FindCell(float col, float row, std::uint32_t entry, SCell& cell) const
{
    const float fx = col * m_fInverseStepX;
    const float fy = row * m_fInverseStepY;
    // Written so that what is no number fails. The last cell begins a point before the last one.
    if (entry >= static_cast<std::uint32_t>(m_iNumEntries) || !(fx >= 0.0F) || !(fy >= 0.0F) ||
        !(fx < static_cast<float>(m_iGridWidth - 1)) || !(fy < static_cast<float>(m_iGridHeight - 1))) {
        return false;
    }
    const int ix = static_cast<int>(fx);
    const int iy = static_cast<int>(fy);
    cell.fA = fx - static_cast<float>(ix);
    cell.fB = fy - static_cast<float>(iy);
    const std::ptrdiff_t floatsPerRow = std::ptrdiff_t{m_iGridWidth} * c_iChannels;
    cell.pUpper = m_pBlock.get() + std::ptrdiff_t{entry} * m_iFloatsPerEntry + iy * floatsPerRow +
                  std::ptrdiff_t{ix} * c_iChannels;
    cell.pLower = cell.pUpper + floatsPerRow;
    return true;
}

float LxCTriangulationLUT::LookUpZ(float col, float row, int edge) const
{
    SCell cell;
    // Unsigned, so that edge 0 and negative ones are beyond every table.
    if (!FindCell(col, row, static_cast<std::uint32_t>(edge) - 1U, cell) || !cell.HasPoints()) {
        return 0.0F;
    }
    return cell.Interpolate(c_iZ);
}

void LxCTriangulationLUT::LookUpXYZ(float col, float row, int edge, float* xyz, unsigned char* valid) const
{
    if (xyz == nullptr || valid == nullptr) {
        return;
    }
    SCell cell;
    if (!FindCell(col, row, static_cast<std::uint32_t>(edge), cell) || !cell.HasPoints()) {
        std::fill_n(xyz, c_iChannels, 0.0F);
        *valid = 0;
        return;
    }
    for (int channel = 0; channel < c_iChannels; ++channel) {
        xyz[channel] = cell.Interpolate(channel);
    }
    *valid = 1;
}

} // namespace LxCV
