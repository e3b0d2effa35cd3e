// Devices, contexts and buffers of OpenCL 1.2. Nothing here needs a kernel compiler.
#include "orx/gpgpu/openclcontext.h"

#include "orx/gpgpu/contextbase.h"
#include "orx/gpgpu/gpgpuexception.h"
#include "orx/gpgpu/openclerror.h"
#include "orx/logging/logger.h"

#define CL_TARGET_OPENCL_VERSION 120
#include <CL/cl.h>
#include <CL/cl_ext.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace GPGPU {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.COpenCLContext");

struct SRelease
{
    void operator()(cl_context context) const { clReleaseContext(context); }
    void operator()(cl_command_queue queue) const { clReleaseCommandQueue(queue); }
    void operator()(cl_mem memory) const { clReleaseMemObject(memory); }
};

template <typename Handle>
using Owned = std::unique_ptr<std::remove_pointer_t<Handle>, SRelease>;

struct SDevice
{
    cl_platform_id platform = nullptr;
    cl_device_id id = nullptr;
    std::string name;
    std::string driverVersion;
    cl_device_type type = 0;
    cl_ulong memorySize = 0;    ///< bytes
    cl_ulong maxBufferSize = 0; ///< bytes
};

std::string Describe(const char* call, cl_int code)
{
    return std::string(call) + ": " + GetOpenCLErrorName(code) + " (" + std::to_string(code) + ")";
}

std::string GetText(cl_device_id device, cl_device_info what)
{
    std::size_t size = 0;
    if (clGetDeviceInfo(device, what, 0, nullptr, &size) != CL_SUCCESS || size == 0) {
        return {};
    }
    std::string text(size, '\0');
    if (clGetDeviceInfo(device, what, size, text.data(), nullptr) != CL_SUCCESS) {
        return {};
    }
    text.resize(std::min(text.size(), text.find('\0')));
    return text;
}

template <typename T>
T GetNumber(cl_device_id device, cl_device_info what)
{
    T number{};
    return clGetDeviceInfo(device, what, sizeof(number), &number, nullptr) == CL_SUCCESS ? number : T{};
}

/// Older drivers lack operations that are called here.
bool IsUsable(cl_device_id device)
{
    constexpr int c_iNeeded = 102; // major and minor version of OpenCL
    int major = 0;
    int minor = 0;
    const std::string version = GetText(device, CL_DEVICE_VERSION);
    return std::sscanf(version.c_str(), "OpenCL %3d.%2d", &major, &minor) == 2 &&
           major * 100 + minor >= c_iNeeded && GetNumber<cl_bool>(device, CL_DEVICE_AVAILABLE) == CL_TRUE;
}

int RankOf(cl_device_type type)
{
    if ((type & CL_DEVICE_TYPE_GPU) != 0) {
        return 2;
    }
    return (type & CL_DEVICE_TYPE_ACCELERATOR) != 0 ? 1 : 0;
}

std::vector<cl_platform_id> GetPlatforms()
{
    cl_uint count = 0;
    cl_int code = clGetPlatformIDs(0, nullptr, &count);
    std::vector<cl_platform_id> platforms(code == CL_SUCCESS ? count : 0);
    if (code == CL_SUCCESS && count > 0) {
        code = clGetPlatformIDs(count, platforms.data(), nullptr);
    } else if (code == CL_SUCCESS) {
        code = CL_PLATFORM_NOT_FOUND_KHR;
    }
    if (code != CL_SUCCESS) {
        throw CException(Describe("clGetPlatformIDs", code), code);
    }
    return platforms;
}

/// Empty for a driver without devices.
std::vector<cl_device_id> GetDevices(cl_platform_id platform)
{
    cl_uint count = 0;
    if (clGetDeviceIDs(platform, CL_DEVICE_TYPE_ALL, 0, nullptr, &count) != CL_SUCCESS || count == 0) {
        return {};
    }
    std::vector<cl_device_id> devices(count);
    if (clGetDeviceIDs(platform, CL_DEVICE_TYPE_ALL, count, devices.data(), nullptr) != CL_SUCCESS) {
        return {};
    }
    return devices;
}

SDevice ChooseDevice()
{
    std::optional<SDevice> best;
    for (cl_platform_id platform : GetPlatforms()) {
        for (cl_device_id device : GetDevices(platform)) {
            const auto type = GetNumber<cl_device_type>(device, CL_DEVICE_TYPE);
            if (IsUsable(device) && (!best || RankOf(type) > RankOf(best->type))) {
                best = SDevice{platform,
                               device,
                               GetText(device, CL_DEVICE_NAME),
                               GetText(device, CL_DRIVER_VERSION),
                               type,
                               GetNumber<cl_ulong>(device, CL_DEVICE_GLOBAL_MEM_SIZE),
                               GetNumber<cl_ulong>(device, CL_DEVICE_MAX_MEM_ALLOC_SIZE)};
            }
        }
    }
    if (!best) {
        throw CException(Describe("clGetDeviceIDs", CL_DEVICE_NOT_FOUND), CL_DEVICE_NOT_FOUND);
    }
    return *best;
}

/// The latest text that a driver gave for an error, which it may do on a thread of its own.
class CDriverText
{
public:
    static void CL_CALLBACK Receive(const char* text, const void* /*details*/, std::size_t /*size*/,
                                    void* object)
    {
        auto& self = *static_cast<CDriverText*>(object);
        constexpr std::size_t c_longest = 1000; // characters
        const std::lock_guard lock(self.m_Mutex);
        self.m_sText = std::string(text != nullptr ? text : "").substr(0, c_longest);
    }

    std::string Take()
    {
        const std::lock_guard lock(m_Mutex);
        return std::exchange(m_sText, {});
    }

private:
    std::mutex m_Mutex;
    std::string m_sText;
};

/// An OpenCL context with a queue that works off its commands in order. Buffers and the context share it.
class CQueue
{
public:
    explicit CQueue(SDevice device) : m_Device(std::move(device))
    {
        const cl_context_properties properties[] = {
            CL_CONTEXT_PLATFORM, reinterpret_cast<cl_context_properties>(m_Device.platform), 0};
        cl_int code = CL_SUCCESS;
        m_pContext.reset(
            clCreateContext(properties, 1, &m_Device.id, &CDriverText::Receive, &m_DriverText, &code));
        Check("clCreateContext", code);
        m_pQueue.reset(clCreateCommandQueue(m_pContext.get(), m_Device.id, 0, &code));
        Check("clCreateCommandQueue", code);
    }

    const SDevice& GetDevice() const { return m_Device; }
    cl_command_queue Get() const { return m_pQueue.get(); }

    /// Null where the device has no room.
    Owned<cl_mem> CreateMemory(std::size_t size)
    {
        cl_int code = CL_SUCCESS;
        Owned<cl_mem> memory(clCreateBuffer(m_pContext.get(), CL_MEM_READ_WRITE, size, nullptr, &code));
        const char* call = "clCreateBuffer";
        if (code == CL_SUCCESS) {
            // Many drivers take memory with the first use only. This one tells whether there is any.
            call = "clEnqueueMigrateMemObjects";
            cl_mem handle = memory.get();
            code = clEnqueueMigrateMemObjects(m_pQueue.get(), 1, &handle,
                                              CL_MIGRATE_MEM_OBJECT_CONTENT_UNDEFINED, 0, nullptr, nullptr);
        }
        if (code == CL_SUCCESS) {
            call = "clFinish";
            code = clFinish(m_pQueue.get());
        }
        if (!IsLackOfRoom(code)) {
            Check(call, code);
            return memory;
        }
        s_Logger.Error(L"No buffer of %llu bytes: %s", static_cast<unsigned long long>(size),
                       TextOf(call, code));
        return nullptr;
    }

    /// Throws CException unless `code` is CL_SUCCESS.
    void Check(const char* call, cl_int code)
    {
        if (code != CL_SUCCESS) {
            throw CException(TextOf(call, code), code);
        }
    }

private:
    static bool IsLackOfRoom(cl_int code)
    {
        return code == CL_INVALID_BUFFER_SIZE || code == CL_MEM_OBJECT_ALLOCATION_FAILURE ||
               code == CL_OUT_OF_RESOURCES || code == CL_OUT_OF_HOST_MEMORY;
    }

    std::string TextOf(const char* call, cl_int code)
    {
        const std::string fromDriver = m_DriverText.Take();
        return Describe(call, code) + " on " + m_Device.name + ", driver " + m_Device.driverVersion +
               (fromDriver.empty() ? "" : ": " + fromDriver);
    }

    SDevice m_Device;
    CDriverText m_DriverText; ///< outlives the context that writes to it
    Owned<cl_context> m_pContext;
    Owned<cl_command_queue> m_pQueue;
};

class COpenCLBuffer final : public IBuffer
{
public:
    COpenCLBuffer(std::shared_ptr<CQueue> queue, Owned<cl_mem> memory, std::size_t size)
        : m_pQueue(std::move(queue)), m_pMemory(std::move(memory)), m_uiSize(size)
    {}

    std::size_t GetSize() const override { return m_uiSize; }

    void Write(std::size_t offset, std::span<const std::byte> source) override
    {
        CheckRange(offset, source.size(), m_uiSize);
        if (!source.empty()) { // OpenCL refuses copies of nothing
            m_pQueue->Check("clEnqueueWriteBuffer",
                            clEnqueueWriteBuffer(m_pQueue->Get(), m_pMemory.get(), CL_TRUE, offset,
                                                 source.size(), source.data(), 0, nullptr, nullptr));
        }
    }

    void Read(std::size_t offset, std::span<std::byte> target) const override
    {
        CheckRange(offset, target.size(), m_uiSize);
        if (!target.empty()) {
            m_pQueue->Check("clEnqueueReadBuffer",
                            clEnqueueReadBuffer(m_pQueue->Get(), m_pMemory.get(), CL_TRUE, offset,
                                                target.size(), target.data(), 0, nullptr, nullptr));
        }
    }

    const std::shared_ptr<CQueue>& GetQueue() const { return m_pQueue; }
    cl_mem GetMemory() const { return m_pMemory.get(); }

private:
    std::shared_ptr<CQueue> m_pQueue;
    Owned<cl_mem> m_pMemory;
    std::size_t m_uiSize;
};

class COpenCLContext final : public CContextBase
{
public:
    explicit COpenCLContext(const SDevice& device) : m_pQueue(std::make_shared<CQueue>(device)) {}

    ETechnology GetTechnology() const override { return ETechnology::eOpenCL; }
    std::string GetDeviceName() const override { return m_pQueue->GetDevice().name; }
    std::uint64_t GetMemorySize() const override { return m_pQueue->GetDevice().memorySize; }
    std::uint64_t GetMaxBufferSize() const override { return m_pQueue->GetDevice().maxBufferSize; }

    std::shared_ptr<IBuffer> CreateBuffer(std::size_t size) override
    {
        if (size == 0 || size > GetMaxBufferSize()) {
            s_Logger.Error(L"No buffer of %llu bytes on %s, which holds 1 to %llu",
                           static_cast<unsigned long long>(size), GetDeviceName(),
                           static_cast<unsigned long long>(GetMaxBufferSize()));
            return nullptr;
        }
        Owned<cl_mem> memory = m_pQueue->CreateMemory(size);
        return memory != nullptr ? std::make_shared<COpenCLBuffer>(m_pQueue, std::move(memory), size)
                                 : nullptr;
    }

private:
    bool CopyDirectly(const IBuffer& source, std::size_t sourceOffset, IBuffer& target,
                      std::size_t targetOffset, std::size_t size) override
    {
        const auto* const from = dynamic_cast<const COpenCLBuffer*>(&source);
        const auto* const to = dynamic_cast<const COpenCLBuffer*>(&target);
        if (from == nullptr || to == nullptr || from->GetQueue() != m_pQueue || to->GetQueue() != m_pQueue) {
            return false;
        }
        if (from == to && sourceOffset < targetOffset + size && targetOffset < sourceOffset + size) {
            return false; // OpenCL refuses ranges that overlap
        }
        m_pQueue->Check("clEnqueueCopyBuffer",
                        clEnqueueCopyBuffer(m_pQueue->Get(), from->GetMemory(), to->GetMemory(), sourceOffset,
                                            targetOffset, size, 0, nullptr, nullptr));
        m_pQueue->Check("clFinish", clFinish(m_pQueue->Get()));
        return true;
    }

    std::shared_ptr<CQueue> m_pQueue;
};

class COpenCLAccess final : public ITechnologyAccess
{
public:
    /// Creates the first context at once: a device that cannot give one does not answer.
    explicit COpenCLAccess(SDevice device)
        : m_Device(std::move(device)), m_pFirst(std::make_shared<COpenCLContext>(m_Device))
    {}

    ETechnology GetTechnology() const override { return ETechnology::eOpenCL; }

    std::shared_ptr<IContext> CreateContext() override
    {
        {
            const std::lock_guard lock(m_Mutex);
            if (m_pFirst != nullptr) {
                return std::exchange(m_pFirst, nullptr);
            }
        }
        return std::make_shared<COpenCLContext>(m_Device);
    }

private:
    SDevice m_Device;
    std::mutex m_Mutex;
    std::shared_ptr<IContext> m_pFirst; ///< null when it was handed out
};

} // namespace

std::shared_ptr<ITechnologyAccess> MakeOpenCLAccess()
{
    return std::make_shared<COpenCLAccess>(ChooseDevice());
}

} // namespace GPGPU
