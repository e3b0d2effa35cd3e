// Free blocks by thread.
#include "scratchvector.h"

#include <algorithm>
#include <array>

namespace LxCV {

namespace {

constexpr std::align_val_t c_Alignment{64};
constexpr std::size_t c_uiGranule = 256; ///< bytes; sizes are rounded up, so that similar ones share blocks

std::size_t RoundUp(std::size_t bytes)
{
    return bytes > static_cast<std::size_t>(-1) - c_uiGranule ? bytes
                                                              : (bytes / c_uiGranule + 1) * c_uiGranule;
}

struct SBlock
{
    void* memory = nullptr;
    std::size_t bytes = 0;
};

/// The free blocks of one thread, of which a kernel wants a handful.
class CFreeBlocks
{
public:
    CFreeBlocks() = default;
    ~CFreeBlocks()
    {
        for (std::size_t i = 0; i < m_uiCount; ++i) {
            Free(m_Blocks[i].memory);
        }
    }
    CFreeBlocks(const CFreeBlocks&) = delete;
    CFreeBlocks& operator=(const CFreeBlocks&) = delete;

    static void Free(void* memory) { ::operator delete(memory, c_Alignment); }

    /// A block of exactly this size, or null.
    void* Find(std::size_t bytes)
    {
        for (std::size_t i = m_uiCount; i-- > 0;) {
            if (m_Blocks[i].bytes == bytes) {
                void* const memory = m_Blocks[i].memory;
                m_uiTotal -= bytes;
                std::copy(m_Blocks.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                          m_Blocks.begin() + static_cast<std::ptrdiff_t>(m_uiCount),
                          m_Blocks.begin() + static_cast<std::ptrdiff_t>(i));
                --m_uiCount;
                return memory;
            }
        }
        return nullptr;
    }

    /// Makes room for a block by freeing the oldest ones, and keeps it unless it is too large by itself.
    void Keep(void* memory, std::size_t bytes)
    {
        if (bytes > CScratchMemory::c_uiLargestKept) {
            Free(memory);
            return;
        }
        while (m_uiCount == m_Blocks.size() || m_uiTotal + bytes > CScratchMemory::c_uiLargestKept) {
            Free(m_Blocks.front().memory);
            m_uiTotal -= m_Blocks.front().bytes;
            std::copy(m_Blocks.begin() + 1, m_Blocks.begin() + static_cast<std::ptrdiff_t>(m_uiCount),
                      m_Blocks.begin());
            --m_uiCount;
        }
        m_Blocks[m_uiCount++] = {memory, bytes};
        m_uiTotal += bytes;
    }

private:
    std::array<SBlock, 64> m_Blocks; ///< the oldest one first
    std::size_t m_uiCount = 0;
    std::size_t m_uiTotal = 0; ///< bytes
};

CFreeBlocks& FreeBlocks()
{
    thread_local CFreeBlocks blocks;
    return blocks;
}

} // namespace

void* CScratchMemory::Take(std::size_t bytes)
{
    const std::size_t rounded = RoundUp(bytes);
    void* const kept = FreeBlocks().Find(rounded);
    return kept != nullptr ? kept : ::operator new(rounded, c_Alignment);
}

void CScratchMemory::GiveBack(void* block, std::size_t bytes) noexcept
{
    FreeBlocks().Keep(block, RoundUp(bytes));
}

} // namespace LxCV
