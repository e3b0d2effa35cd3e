// Packing 200 kB of section text into a container and unpacking it, beside zlib alone.
#include "lxccctencryptionutils.h"
#include "lxccctserializer.h"

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using LxCV::LxCCCTEncryptionUtils;

constexpr std::size_t kTextSize = 200'000; // bytes

/// Gives the text of a serializer away.
class CText : public LxCV::LxCCCTSerializer
{
public:
    std::string Get() { return GetStream().str(); }
};

/// Numbers as a camera's file holds them: measured ones with all their digits, counts, and flags.
const std::string& SectionText()
{
    static const std::string s_text = [] {
        std::mt19937 random(3);
        std::uniform_real_distribution<double> position(-4.0, 4.0);
        CText text;
        text.Init(true, false);
        for (int section = 0; text.GetTextSize() < kTextSize; ++section) {
            text.WriteSection("::Camera::Mark[" + std::to_string(section) + "]");
            text.Write("PositionX", position(random), "", LxCV::c_iFormatDecimal);
            text.Write("PositionY", position(random), "", LxCV::c_iFormatDecimal);
            text.Write("Weight", static_cast<int>(random() % 100) / 8.0, "", LxCV::c_iFormatDecimal);
            text.Write("Neighbour", static_cast<int>(random() % 500), "", LxCV::c_iFormatDecimal);
            text.Write("Used", random() % 8 != 0, "", LxCV::c_iFormatDecimal);
        }
        return text.Get().substr(0, kTextSize);
    }();
    return s_text;
}

/// A key for as long as the process runs, away from that of the machine.
void UseOwnKey()
{
    static const bool s_once = [] {
        std::string folder = (std::filesystem::temp_directory_path() / "lxcvbench.XXXXXX").string();
        if (mkdtemp(folder.data()) == nullptr) {
            std::abort();
        }
        setenv("LXCV_KEY_FILE", (folder + "/key").c_str(), 1);
        static const struct SCleaner
        {
            std::string folder;
            ~SCleaner()
            {
                std::error_code ignored;
                std::filesystem::remove_all(folder, ignored);
            }
        } s_cleaner{folder};
        return true;
    }();
    benchmark::DoNotOptimize(s_once);
}

void BM_ContainerPack(benchmark::State& state)
{
    UseOwnKey();
    std::stringstream text(SectionText());
    std::size_t size = 0;
    for (auto _ : state) {
        std::ostringstream sink;
        if (!LxCCCTEncryptionUtils::EncryptAndCompress(text, sink) || sink.view().empty()) {
            state.SkipWithError("nothing was packed");
            break;
        }
        size = sink.view().size();
        benchmark::DoNotOptimize(sink);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kTextSize));
    state.counters["packed"] = static_cast<double>(size);
}
BENCHMARK(BM_ContainerPack)->Unit(benchmark::kMillisecond);

/// Level -1 is zlib's own default, which its `compress` takes.
void BM_ContainerZlibCompress(benchmark::State& state)
{
    const std::string& text = SectionText();
    std::vector<Bytef> packed(compressBound(text.size()));
    uLongf size = 0;
    for (auto _ : state) {
        size = packed.size();
        if (compress2(packed.data(), &size, reinterpret_cast<const Bytef*>(text.data()), text.size(),
                      static_cast<int>(state.range(0))) != Z_OK) {
            state.SkipWithError("zlib failed");
            break;
        }
        benchmark::DoNotOptimize(packed.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kTextSize));
    state.counters["packed"] = static_cast<double>(size);
}
BENCHMARK(BM_ContainerZlibCompress)->Arg(-1)->Arg(9)->Unit(benchmark::kMillisecond);

void BM_ContainerUnpack(benchmark::State& state)
{
    UseOwnKey();
    std::stringstream text(SectionText());
    std::ostringstream sink;
    LxCCCTEncryptionUtils::EncryptAndCompress(text, sink);
    for (auto _ : state) {
        std::istringstream source(sink.str());
        std::stringstream unpacked;
        if (!LxCCCTEncryptionUtils::DecryptAndDecompress(unpacked, source)) {
            state.SkipWithError("the container was refused");
            break;
        }
        benchmark::DoNotOptimize(unpacked);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kTextSize));
}
BENCHMARK(BM_ContainerUnpack)->Unit(benchmark::kMillisecond);

void BM_ContainerZlibUncompress(benchmark::State& state)
{
    const std::string& text = SectionText();
    std::vector<Bytef> packed(compressBound(text.size()));
    uLongf size = packed.size();
    compress(packed.data(), &size, reinterpret_cast<const Bytef*>(text.data()), text.size());
    std::vector<Bytef> unpacked(text.size());
    for (auto _ : state) {
        uLongf room = unpacked.size();
        if (uncompress(unpacked.data(), &room, packed.data(), size) != Z_OK) {
            state.SkipWithError("zlib failed");
            break;
        }
        benchmark::DoNotOptimize(unpacked.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kTextSize));
}
BENCHMARK(BM_ContainerZlibUncompress)->Unit(benchmark::kMillisecond);

} // namespace
