#include "orx/gpgpu/cgpgpufactory.h"

#include "orx/gpgpu/openclerror.h"
#include "orx/logging/logger.h"
#include "tests/support/computecontext.h"
#include "tests/support/environment.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>

namespace GPGPU {
namespace {

using TestSupport::CEnvironmentVariable;

constexpr const char* c_sVariable = "LXCV_GPGPU";
constexpr const char* c_sNoPlatform = "clGetPlatformIDs: CL_PLATFORM_NOT_FOUND_KHR (-1001)";

/// What the factory chooses with the variable set to `value`.
ETechnology ChosenWith(const std::optional<std::string>& value)
{
    const CEnvironmentVariable variable(c_sVariable, value);
    return CGPGPUFactory::GetTechnologyAccess()->GetTechnology();
}

class FactoryWithADevice : public TestSupport::CEachTechnology
{};

INSTANTIATE_TEST_SUITE_P(On, FactoryWithADevice, testing::Values(ETechnology::eOpenCL),
                         TestSupport::NameOfTechnology);

TEST_P(FactoryWithADevice, TakesTheDeviceUnlessHostMemoryIsForced)
{
    EXPECT_EQ(ChosenWith(std::nullopt), ETechnology::eOpenCL);
    EXPECT_EQ(ChosenWith(""), ETechnology::eOpenCL);
    EXPECT_EQ(ChosenWith("opencl"), ETechnology::eOpenCL);
    EXPECT_EQ(ChosenWith("host"), ETechnology::eHostMemory);
}

TEST_P(FactoryWithADevice, OtherTextsCountAsNotSetAndAreLogged)
{
    const Logging::CCapture capture;
    EXPECT_EQ(ChosenWith("HOST"), ETechnology::eOpenCL);
    EXPECT_EQ(capture.Count(Logging::ELevel::eWarning, L"ORX.Lumorad.CGPGPUFactory",
                            L"LXCV_GPGPU is neither host nor opencl: HOST"),
              1);
}

TEST(CGPGPUFactory, HostMemoryAlwaysAnswers)
{
    EXPECT_EQ(CGPGPUFactory::GetTechnologyAccess(ETechnology::eHostMemory)->CreateContext()->GetTechnology(),
              ETechnology::eHostMemory);
    EXPECT_EQ(ChosenWith("host"), ETechnology::eHostMemory);
}

/// Exits with 0 if `body` returns true. Drivers are looked for once in a process, so that a machine without any needs
/// a process of its own.
template <typename Body>
void ExpectWithoutDrivers(Body body)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const CEnvironmentVariable noDrivers("OCL_ICD_VENDORS", "/nonexistent/");
    const CEnvironmentVariable noFiles("OCL_ICD_FILENAMES", std::nullopt);
    EXPECT_EXIT(std::_Exit(body() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(CGPGPUFactoryDeathTest, WithoutDriversHostMemoryStandsInAndIsLogged)
{
    ExpectWithoutDrivers([] {
        const Logging::CCapture capture;
        return ChosenWith(std::nullopt) == ETechnology::eHostMemory &&
               capture.Count(Logging::ELevel::eInfo, L"ORX.Lumorad.CGPGPUFactory",
                             L"No OpenCL device, computing in host memory: "
                             L"clGetPlatformIDs: CL_PLATFORM_NOT_FOUND_KHR (-1001)") == 1;
    });
}

TEST(CGPGPUFactoryDeathTest, WithoutDriversForcedOpenCLThrowsOpenCLsOwnError)
{
    ExpectWithoutDrivers([] {
        try {
            ChosenWith("opencl");
            return false;
        } catch (const CException& error) {
            return error.GetCode() == -1001 && error.what() == std::string(c_sNoPlatform);
        }
    });
}

/// A driver without a folder for its files cannot create a context. That holds for the driver that tests bring along.
class FactoryDeathTest : public FactoryWithADevice
{};

INSTANTIATE_TEST_SUITE_P(On, FactoryDeathTest, testing::Values(ETechnology::eOpenCL),
                         TestSupport::NameOfTechnology);

TEST_P(FactoryDeathTest, DeviceThatFailsDoesNotAnswerAndTellsWhy)
{
    const std::string device = CreateContext()->GetDeviceName();
    if (!device.starts_with("pthread")) {
        GTEST_SKIP() << device << " needs no folder";
    }
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const CEnvironmentVariable noFolder("POCL_CACHE_DIR", "/dev/null/none");
    const auto body = [&device] {
        if (ChosenWith(std::nullopt) != ETechnology::eHostMemory) {
            return false;
        }
        try {
            ChosenWith("opencl");
            return false;
        } catch (const CException& error) {
            const std::string start = "clCreateContext: " + std::string(GetOpenCLErrorName(error.GetCode())) +
                                      " (" + std::to_string(error.GetCode()) + ") on " + device + ", driver ";
            return error.GetCode() < 0 && std::string(error.what()).starts_with(start);
        }
    };
    EXPECT_EXIT(std::_Exit(body() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(OpenCLErrorName, IsThatOfTheStandard)
{
    EXPECT_STREQ(GetOpenCLErrorName(0), "CL_SUCCESS");
    EXPECT_STREQ(GetOpenCLErrorName(-4), "CL_MEM_OBJECT_ALLOCATION_FAILURE");
    EXPECT_STREQ(GetOpenCLErrorName(-5), "CL_OUT_OF_RESOURCES");
    EXPECT_STREQ(GetOpenCLErrorName(-19), "CL_KERNEL_ARG_INFO_NOT_AVAILABLE");
    EXPECT_STREQ(GetOpenCLErrorName(-30), "CL_INVALID_VALUE");
    EXPECT_STREQ(GetOpenCLErrorName(-61), "CL_INVALID_BUFFER_SIZE");
    EXPECT_STREQ(GetOpenCLErrorName(-1001), "CL_PLATFORM_NOT_FOUND_KHR");
    EXPECT_STREQ(GetOpenCLErrorName(-20), "unknown error");
    EXPECT_STREQ(GetOpenCLErrorName(1), "unknown error");
}

} // namespace
} // namespace GPGPU
