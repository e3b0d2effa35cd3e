// Buffers in the memory of the process.
#include "orx/gpgpu/hostcontext.h"

#include "orx/logging/logger.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace GPGPU {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.CHostContext");

struct SFree
{
    void operator()(std::byte* block) const { std::free(block); }
};

/// From calloc, which gives zeros without touching them.
using Block = std::unique_ptr<std::byte, SFree>;

class CHostBuffer final : public IBuffer
{
public:
    CHostBuffer(Block block, std::size_t size) : m_pBlock(std::move(block)), m_uiSize(size) {}

    std::size_t GetSize() const override { return m_uiSize; }

    void Write(std::size_t offset, std::span<const std::byte> source) override
    {
        CheckRange(offset, source.size(), m_uiSize);
        if (!source.empty()) {
            std::memmove(m_pBlock.get() + offset, source.data(), source.size());
        }
    }

    void Read(std::size_t offset, std::span<std::byte> target) const override
    {
        CheckRange(offset, target.size(), m_uiSize);
        if (!target.empty()) {
            std::memmove(target.data(), m_pBlock.get() + offset, target.size());
        }
    }

    std::span<const std::byte> GetBytes() const { return {m_pBlock.get(), m_uiSize}; }

private:
    Block m_pBlock;
    std::size_t m_uiSize;
};

} // namespace

std::string CHostContext::GetDeviceName() const
{
    return "host memory";
}

std::uint64_t CHostContext::GetMemorySize() const
{
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    return pages > 0 && pageSize > 0
               ? static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize)
               : 0;
}

std::uint64_t CHostContext::GetMaxBufferSize() const
{
    return GetMemorySize();
}

std::shared_ptr<IBuffer> CHostContext::CreateBuffer(std::size_t size)
{
    Block block;
    if (size > 0 && size <= GetMaxBufferSize()) {
        block.reset(static_cast<std::byte*>(std::calloc(size, 1)));
    }
    if (block == nullptr) {
        s_Logger.Error(L"No buffer of %llu bytes in host memory", static_cast<unsigned long long>(size));
        return nullptr;
    }
    return std::make_shared<CHostBuffer>(std::move(block), size);
}

bool CHostContext::CopyDirectly(const IBuffer& source, std::size_t sourceOffset, IBuffer& target,
                                std::size_t targetOffset, std::size_t size)
{
    const auto* const host = dynamic_cast<const CHostBuffer*>(&source);
    if (host == nullptr) {
        return false;
    }
    target.Write(targetOffset, host->GetBytes().subspan(sourceOffset, size));
    return true;
}

} // namespace GPGPU
