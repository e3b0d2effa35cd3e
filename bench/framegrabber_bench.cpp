// A replayed image of a file beside the decoding of the same file alone.
#include "cctimage.h"
#include "lxcsimframegrabber.h"
#include "scanner/device/virtualdevice.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace {

using LxCV::CCTImage;
using LxCV::LxCSimFrameGrabber;

constexpr std::array<const char*, 2> c_aNames{"bench_Pat.png", "bench_Pat.bmp"};

/// The pattern image of the virtual device, 658 by 494 pixels with noise, as PNG and as BMP in a folder of its own.
class CRecordedImages
{
public:
    CRecordedImages() : m_Folder(std::filesystem::temp_directory_path() / "lxcvbench.images")
    {
        const device::RenderedPair pair = device::VirtualDevice().RenderPair(*device::MakeScene("molar"));
        CCTImage image(pair.pattern.width, pair.pattern.height, CCTImage::eIDT_BGRU8, true, nullptr);
        std::ranges::transform(pair.pattern.data, static_cast<std::uint8_t*>(image.GetBuffer()),
                               [](float grey) { return static_cast<std::uint8_t>(grey); });
        std::filesystem::create_directories(m_Folder);
        image.SavePNG(GetPath(0));
        image.SaveBmp(GetPath(1));
    }
    ~CRecordedImages()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_Folder, ignored);
    }
    CRecordedImages(const CRecordedImages&) = delete;
    CRecordedImages& operator=(const CRecordedImages&) = delete;

    std::string GetPath(std::size_t kind) const { return (m_Folder / c_aNames[kind]).string(); }

private:
    std::filesystem::path m_Folder;
};

std::string PathOf(const benchmark::State& state)
{
    static const CRecordedImages s_Images;
    return s_Images.GetPath(static_cast<std::size_t>(state.range(0)));
}

void SimulatedFrame(benchmark::State& state)
{
    LxCSimFrameGrabber grabber;
    if (grabber.Init({PathOf(state)}) != 0) {
        state.SkipWithError("no images");
        return;
    }
    grabber.Start();
    std::vector<CCTImage*> images;
    for (auto _ : state) {
        CCTImage* const image = grabber.AcquireImageRaw(LxCSimFrameGrabber::eLT_Pat);
        benchmark::DoNotOptimize(image->GetBuffer());
        images.assign(1, image);
        grabber.ReEnqueueRawBuffers(images);
    }
    state.SetItemsProcessed(state.iterations());
}

void FloorLoad(benchmark::State& state)
{
    const std::string path = PathOf(state);
    CCTImage image;
    for (auto _ : state) {
        if (image.Load(path) != CCTImage::eRC_OK) {
            state.SkipWithError("no image");
            break;
        }
        benchmark::DoNotOptimize(image.GetBuffer());
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(SimulatedFrame)->ArgName("bmp")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(FloorLoad)->ArgName("bmp")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

} // namespace
