// From code words to slide positions: what the decoding and triangulating loops ask of the stripe pattern.
#include "lxccctserializer.h"
#include "lxcstripepattern.h"
#include "lxcsymbol.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace LxCV {
namespace {

constexpr int c_iEdges = 140;
constexpr int c_iStripeWidth = 50; // slide units
constexpr int c_iPatches = 4;
constexpr int c_iPatchesDepth = 4;
constexpr float c_fMinDist = 60.0F;  // mm
constexpr float c_fMaxDist = 100.0F; // mm
constexpr std::size_t c_uiInputs = 4096;
constexpr const char* c_sSection = "::CLPattern";

/// A pattern with the tables of 4 by 4 patches, positions off by up to 20 slide units.
LxCStripePattern MakePattern()
{
    LxCStripePattern pattern;
    pattern.SetPatternString(LxCStripePattern::GetPatternStringA());
    pattern.SetPrimitiveSize(c_iStripeWidth);
    pattern.SetHeight(c_iEdges * c_iStripeWidth);
    pattern.SetWidth(6000);
    pattern.ConstructLUTs();
    pattern.InitCalibratedEdgePositionLUT(c_iPatches, c_iPatchesDepth, c_fMinDist, c_fMaxDist);
    std::mt19937 random(1);
    std::uniform_real_distribution<double> offset(-20.0, 20.0);
    for (auto& patch : pattern.GetCalibratedEdgePositionLUT()) {
        for (auto& row : patch) {
            for (double& position : row) {
                position += offset(random);
            }
        }
    }
    pattern.SetEdgePositionMethodCalib(LxCStripePattern::eEdgePosBaseShifted);
    pattern.ApplyBaseShift();
    return pattern;
}

/// Triples of edge symbols as a decoder meets them: of the pattern, in random places.
std::vector<std::array<LxCSymbol, 3>> MakeSymbolTriples(const LxCStripePattern& pattern)
{
    std::mt19937 random(2);
    std::uniform_int_distribution<std::size_t> edge(4, c_iEdges);
    const std::vector<LxCSymbol>& symbols = pattern.GetStripeEdgeNrToExtLUT();
    std::vector<std::array<LxCSymbol, 3>> triples(c_uiInputs);
    for (auto& triple : triples) {
        const std::size_t last = edge(random);
        triple = {symbols[last], symbols[last - 1], symbols[last - 2]};
    }
    return triples;
}

template <typename T>
std::int64_t ItemsProcessed(const benchmark::State& state, const std::vector<T>& inputs)
{
    return static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(inputs.size());
}

/// The floor for the lookups below: reading the triples.
void BM_SumSymbols(benchmark::State& state)
{
    const auto triples = MakeSymbolTriples(MakePattern());
    for (auto _ : state) {
        std::uint32_t sum = 0;
        for (const auto& triple : triples) {
            sum += triple[0].GetValue() + triple[1].GetValue() + triple[2].GetValue();
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(ItemsProcessed(state, triples));
}
BENCHMARK(BM_SumSymbols);

void BM_DetCodeWord(benchmark::State& state)
{
    const auto triples = MakeSymbolTriples(MakePattern());
    for (auto _ : state) {
        int sum = 0;
        for (const auto& triple : triples) {
            sum += LxCSymbol::DetCodeWord(triple.data());
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(ItemsProcessed(state, triples));
}
BENCHMARK(BM_DetCodeWord);

void BM_CodeWordToStripeEdge(benchmark::State& state)
{
    const LxCStripePattern pattern = MakePattern();
    std::vector<int> codeWords;
    for (const auto& triple : MakeSymbolTriples(pattern)) {
        codeWords.push_back(LxCSymbol::DetCodeWord(triple.data()));
    }
    for (auto _ : state) {
        int sum = 0;
        for (const int codeWord : codeWords) {
            sum += pattern.GetCWToStripeEdgeNrLUT()[static_cast<std::size_t>(codeWord)];
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(ItemsProcessed(state, codeWords));
}
BENCHMARK(BM_CodeWordToStripeEdge);

void BM_SymbolsToStripeEdge(benchmark::State& state)
{
    const LxCStripePattern pattern = MakePattern();
    const auto triples = MakeSymbolTriples(pattern);
    for (auto _ : state) {
        int sum = 0;
        for (const auto& triple : triples) {
            const int codeWord = LxCSymbol::DetCodeWord(triple.data());
            sum += pattern.GetCWToStripeEdgeNrLUT()[static_cast<std::size_t>(codeWord)];
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(ItemsProcessed(state, triples));
}
BENCHMARK(BM_SymbolsToStripeEdge);

struct Query
{
    int edge;
    double pos;   // slide units
    double depth; // mm
};

void BM_GetCalibratetPosition(benchmark::State& state)
{
    const LxCStripePattern pattern = MakePattern();
    std::mt19937 random(3);
    std::uniform_int_distribution<int> edge(25, 122);
    std::uniform_real_distribution<double> pos(0.0, c_iEdges * c_iStripeWidth);
    std::uniform_real_distribution<double> depth(c_fMinDist, c_fMaxDist);
    std::vector<Query> queries(c_uiInputs);
    for (Query& query : queries) {
        query = {edge(random), pos(random), depth(random)};
    }
    for (auto _ : state) {
        double sum = 0.0;
        for (const Query& query : queries) {
            sum += pattern.GetCalibratetPosition(query.edge, query.pos, query.depth);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(ItemsProcessed(state, queries));
}
BENCHMARK(BM_GetCalibratetPosition);

/// A serializer whose text can be taken out.
class TextSerializer : public LxCCCTSerializer
{
public:
    std::string GetText() { return GetStream().str(); }
};

std::string MakeText()
{
    LxCStripePattern pattern = MakePattern();
    TextSerializer serializer;
    serializer.Init(true, true);
    pattern.Serialize(serializer, c_sSection);
    return serializer.GetText();
}

/// A text of n bytes read and written once in memory: what a copy of it costs.
void BM_CopyPatternText(benchmark::State& state)
{
    const std::string text = MakeText();
    std::string copy(text.size(), ' ');
    for (auto _ : state) {
        std::memcpy(copy.data(), text.data(), text.size());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_CopyPatternText);

void BM_ReadPattern(benchmark::State& state)
{
    const std::string text = MakeText();
    for (auto _ : state) {
        std::stringstream source(text);
        LxCCCTSerializer serializer;
        serializer.ReadFromStringStream(source);
        serializer.Init(false, true);
        LxCStripePattern pattern;
        pattern.Serialize(serializer, c_sSection);
        benchmark::DoNotOptimize(pattern.GetNumPatches());
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_ReadPattern)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace LxCV
