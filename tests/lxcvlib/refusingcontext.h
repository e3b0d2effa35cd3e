// A GPU that has room for some buffers, and then refuses or fails.
#pragma once

#include "orx/gpgpu/cgpgpufactory.h"
#include "orx/gpgpu/gpgpuexception.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>

namespace LxCV::TestSupport {

/// A buffer of a device that breaks when it is written.
class CBreakingBuffer final : public GPGPU::IBuffer
{
public:
    explicit CBreakingBuffer(std::size_t size) : m_uiSize(size) {}

    std::size_t GetSize() const override { return m_uiSize; }
    void Write(std::size_t, std::span<const std::byte>) override
    {
        throw GPGPU::CException("device lost", -1);
    }
    void Read(std::size_t, std::span<std::byte>) const override
    {
        throw GPGPU::CException("device lost", -1);
    }

private:
    std::size_t m_uiSize;
};

/// Host memory for a number of buffers.
class CRefusingContext final : public GPGPU::IContext
{
public:
    enum class EFailure
    {
        eRefuse, ///< no buffer, as of a device that is full
        eThrow,  ///< the exception of a device that breaks
        eBreak   ///< a buffer, with that exception when it is written
    };

    explicit CRefusingContext(int room, EFailure failure = EFailure::eRefuse)
        : m_iRoom(room), m_eFailure(failure)
    {}

    GPGPU::ETechnology GetTechnology() const override { return m_pHost->GetTechnology(); }
    std::string GetDeviceName() const override { return "refusing"; }
    std::uint64_t GetMemorySize() const override { return m_pHost->GetMemorySize(); }
    std::uint64_t GetMaxBufferSize() const override { return m_pHost->GetMaxBufferSize(); }
    /// Called before each buffer.
    void SetOnCreate(std::function<void()> onCreate) { m_pOnCreate = std::move(onCreate); }

    std::shared_ptr<GPGPU::IBuffer> CreateBuffer(std::size_t size) override
    {
        if (m_pOnCreate) {
            m_pOnCreate();
        }
        if (m_iRoom-- > 0) {
            return m_pHost->CreateBuffer(size);
        }
        if (m_eFailure == EFailure::eThrow) {
            throw GPGPU::CException("device lost", -1);
        }
        if (m_eFailure == EFailure::eBreak) {
            return std::make_shared<CBreakingBuffer>(size);
        }
        return nullptr;
    }
    void Copy(const GPGPU::IBuffer& source, std::size_t sourceOffset, GPGPU::IBuffer& target,
              std::size_t targetOffset, std::size_t size) override
    {
        m_pHost->Copy(source, sourceOffset, target, targetOffset, size);
    }
    bool BeginSession(int timeoutMilliseconds) override { return m_pHost->BeginSession(timeoutMilliseconds); }
    void EndSession() override { m_pHost->EndSession(); }

private:
    int m_iRoom;
    EFailure m_eFailure;
    std::function<void()> m_pOnCreate;
    std::shared_ptr<GPGPU::IContext> m_pHost =
        GPGPU::CGPGPUFactory::GetTechnologyAccess(GPGPU::ETechnology::eHostMemory)->CreateContext();
};

} // namespace LxCV::TestSupport
