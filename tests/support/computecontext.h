// Contexts of every technology for tests that run on all of them.
#pragma once

#include "orx/gpgpu/cgpgpufactory.h"
#include "orx/gpgpu/gpgpuexception.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace TestSupport {

/// Whether the program is built with the thread sanitizer, which does not know how drivers order their threads.
consteval bool IsUnderThreadSanitizer()
{
#if defined(__SANITIZE_THREAD__)
    return true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
    return true;
#endif
#endif
    return false;
}

/// A fixture whose test runs once a technology, and is skipped where that cannot run.
class CEachTechnology : public testing::TestWithParam<GPGPU::ETechnology>
{
protected:
    void SetUp() override
    {
        if (GetParam() == GPGPU::ETechnology::eHostMemory) {
            m_pAccess = GPGPU::CGPGPUFactory::GetTechnologyAccess(GetParam());
            return;
        }
        if (IsUnderThreadSanitizer()) {
            GTEST_SKIP() << "the thread sanitizer reports the threads inside the OpenCL driver";
        }
        try {
            m_pAccess = GPGPU::CGPGPUFactory::GetTechnologyAccess(GetParam());
        } catch (const GPGPU::CException& error) {
            GTEST_SKIP() << "no OpenCL device: " << error.what();
        }
    }

    std::shared_ptr<GPGPU::IContext> CreateContext() const { return m_pAccess->CreateContext(); }

    std::shared_ptr<GPGPU::ITechnologyAccess> m_pAccess;
};

inline std::string NameOfTechnology(const testing::TestParamInfo<GPGPU::ETechnology>& technology)
{
    return technology.param == GPGPU::ETechnology::eOpenCL ? "OpenCL" : "HostMemory";
}

inline const auto c_allTechnologies =
    testing::Values(GPGPU::ETechnology::eHostMemory, GPGPU::ETechnology::eOpenCL);

inline std::vector<std::byte> RandomBytes(std::size_t size, unsigned int seed)
{
    std::mt19937 random(seed);
    std::vector<std::byte> bytes(size);
    for (std::byte& byte : bytes) {
        byte = static_cast<std::byte>(random());
    }
    return bytes;
}

inline std::vector<std::byte> BytesOf(const GPGPU::IBuffer& buffer)
{
    std::vector<std::byte> bytes(buffer.GetSize());
    buffer.Read(0, bytes);
    return bytes;
}

} // namespace TestSupport
