// The decoding stage on a rendered molar, step by step and as a whole, with warm buffers.
#include "scanner/decoder/decoder.h"

#include "lxccctserializer.h"
#include "lxcframegrabberreqs.h"
#include "lxcimagedata.h"
#include "lxcpinholeframework.h"
#include "scanner/calibration/devicecoupling.h"
#include "scanner/device/scene.h"
#include "scanner/device/virtualdevice.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <sstream>
#include <string>

namespace {

using LxCV::CCTImage;

/// A rendered pair and the model of its device.
struct Rendered
{
    device::RenderedPair pair;
    LxCV::LxCPinholeFramework model;

    Rendered()
    {
        const std::string root = "::MV3DCamBase";
        const device::VirtualDevice camera;
        pair = camera.RenderPair(*device::MakeScene("molar"), {});
        std::stringstream text(camera.ParameterText(root));
        LxCV::LxCCCTSerializer serializer;
        serializer.ReadFromStringStream(text);
        serializer.Init(false, false);
        model.Serialize(serializer, root);
    }
};

Rendered& TheMolar()
{
    static const auto rendered = std::make_unique<Rendered>();
    return *rendered;
}

CCTImage View(device::ImageF& image)
{
    return {image.width, image.height, CCTImage::eIDT_FLOAT32_3, false, image.data.data()};
}

void FindPoints(decoder::Decoder& decoder, const CCTImage& reference, const CCTImage& pattern)
{
    decoder.ComputeSignal(reference, pattern);
    decoder.FindEdges();
    decoder.ReadCodeWords();
    decoder.TraceEdges();
    decoder.Triangulate();
}

/// A decoder that has decoded the pair once.
class Decoding
{
public:
    explicit Decoding(bool useTable = false)
        : m_reference(View(TheMolar().pair.reference)), m_pattern(View(TheMolar().pair.pattern)),
          m_decoder(TheMolar().model, Config(useTable))
    {
        m_decoder.Init(m_reference.GetWidth(), m_reference.GetHeight());
        AllPoints();
    }

    void AllPoints() { FindPoints(m_decoder, m_reference, m_pattern); }

    void Signal() { m_decoder.ComputeSignal(m_reference, m_pattern); }
    void Edges() { m_decoder.FindEdges(); }
    void Names() { m_decoder.ReadCodeWords(); }
    void Trace() { m_decoder.TraceEdges(); }
    void Points() { m_decoder.Triangulate(); }
    void Record() { m_decoder.Deliver(m_reference); }
    std::size_t CountPoints() const { return m_decoder.GetPoints().size(); }

private:
    static decoder::DecoderConfig Config(bool useTable)
    {
        decoder::DecoderConfig config;
        config.useTable = useTable;
        return config;
    }

    CCTImage m_reference;
    CCTImage m_pattern;
    decoder::Decoder m_decoder;
};

void DecodeSignal(benchmark::State& state)
{
    Decoding decoding;
    for (auto _ : state) {
        decoding.Signal();
    }
}
BENCHMARK(DecodeSignal)->Unit(benchmark::kMillisecond);

void DecodeEdges(benchmark::State& state)
{
    Decoding decoding;
    for (auto _ : state) {
        decoding.Edges();
    }
}
BENCHMARK(DecodeEdges)->Unit(benchmark::kMillisecond);

/// With the search for edges before each, since tracing replaces their words.
void DecodeEdgesNamesAndTrace(benchmark::State& state)
{
    Decoding decoding;
    for (auto _ : state) {
        decoding.Edges();
        decoding.Names();
        decoding.Trace();
    }
}
BENCHMARK(DecodeEdgesNamesAndTrace)->Unit(benchmark::kMillisecond);

void DecodePoints(benchmark::State& state)
{
    Decoding decoding;
    for (auto _ : state) {
        decoding.Points();
    }
}
BENCHMARK(DecodePoints)->Unit(benchmark::kMillisecond);

void DecodePointsByTable(benchmark::State& state)
{
    Decoding decoding(true);
    for (auto _ : state) {
        decoding.Points();
    }
}
BENCHMARK(DecodePointsByTable)->Unit(benchmark::kMillisecond);

void DecodeRecord(benchmark::State& state)
{
    Decoding decoding(true);
    for (auto _ : state) {
        decoding.Record();
    }
}
BENCHMARK(DecodeRecord)->Unit(benchmark::kMillisecond);

/// As a running scanner does it, whose images are bytes, and whose colours are coupled.
void DecodeRawPairToRecord(benchmark::State& state)
{
    CCTImage reference = View(TheMolar().pair.reference);
    CCTImage pattern = View(TheMolar().pair.pattern);
    const int width = reference.GetWidth();
    const int height = reference.GetHeight();
    CCTImage rawReference(width, height, CCTImage::eIDT_BGRU8, true, nullptr);
    CCTImage rawPattern(width, height, CCTImage::eIDT_BGRU8, true, nullptr);
    reference.ConvertToBGRU8(&rawReference, false);
    pattern.ConvertToBGRU8(&rawPattern, false);
    LxCV::LxCFrameGrabberReqs requirements;
    requirements.SetMirrorChannelsSettings(true, CCTImage::eMM_None, CCTImage::eMM_None, CCTImage::eMM_None);
    LxCV::LxCImageData images;
    images.Init(width, height, width, height, nullptr, CCTImage::eIDT_BGRU8);
    decoder::DecoderConfig config;
    config.useTable = true;
    calibration::SetCoupling(device::OpticsParameters(), config.algorithm);
    decoder::Decoder decoder(TheMolar().model, config);
    decoder.Init(width, height);
    for (auto _ : state) {
        images.SetRawImages(&rawPattern, &rawReference);
        requirements.ConvertImage(images.GetRawPatImg(), images.GetPatImg());
        requirements.ConvertImage(images.GetRawRefImg(), images.GetRefImg());
        FindPoints(decoder, *images.GetRefImg(), *images.GetPatImg());
        decoder.Deliver(*images.GetRefImg());
    }
    state.counters["points"] = static_cast<double>(decoder.GetPoints().size());
}
BENCHMARK(DecodeRawPairToRecord)->Unit(benchmark::kMillisecond);

/// The same from floats, with colours that are not coupled.
void DecodePairToRecord(benchmark::State& state)
{
    Decoding decoding(true);
    for (auto _ : state) {
        decoding.AllPoints();
        decoding.Record();
    }
    state.counters["points"] = static_cast<double>(decoding.CountPoints());
}
BENCHMARK(DecodePairToRecord)->Unit(benchmark::kMillisecond);

void DecodeAll(benchmark::State& state)
{
    Decoding decoding;
    for (auto _ : state) {
        decoding.AllPoints();
    }
    state.counters["points"] = static_cast<double>(decoding.CountPoints());
}
BENCHMARK(DecodeAll)->Unit(benchmark::kMillisecond);

} // namespace
