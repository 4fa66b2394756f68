// Cost of copying a PDLVariant and of getString, per kind.

#include "pdlvariant.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace
{
// Index by the benchmark argument: 0 Invalid, 1 Bool, 2 Int, 3 Float (medium range), 4 short String,
// 5 long String (beyond the small-string buffer), 6 Float (large range), 7 Float (small range).
PDLVariant sample(long index)
{
    switch (index)
    {
    case 1:
        return PDLVariant(true);
    case 2:
        return PDLVariant(-123456);
    case 3:
        return PDLVariant(12.5f);
    case 4:
        return PDLVariant("ON");
    case 5:
        return PDLVariant(".PANEL.MODULE.0.12.LOGICBOARD.NAME");
    case 6:
        return PDLVariant(1234.5f);
    case 7:
        return PDLVariant(0.125f);
    default:
        return PDLVariant();
    }
}

void setLabel(benchmark::State& state)
{
    static const char* const labels[] = {"Invalid",   "Bool",       "Int",           "Float(12.5)",
                                         "String(2)", "String(34)", "Float(1234.5)", "Float(0.125)"};
    state.SetLabel(labels[state.range(0)]);
}

void BM_VariantCopy(benchmark::State& state)
{
    const PDLVariant source = sample(state.range(0));
    for (auto _ : state)
    {
        PDLVariant copy(source);
        benchmark::DoNotOptimize(copy);
        benchmark::ClobberMemory();
    }
    setLabel(state);
}
BENCHMARK(BM_VariantCopy)->DenseRange(0, 5);

void BM_VariantAssign(benchmark::State& state)
{
    const PDLVariant source = sample(state.range(0));
    PDLVariant target("previous value of some length");
    for (auto _ : state)
    {
        target = source;
        benchmark::DoNotOptimize(target);
        benchmark::ClobberMemory();
    }
    setLabel(state);
}
BENCHMARK(BM_VariantAssign)->DenseRange(0, 5);

void BM_VariantGetString(benchmark::State& state)
{
    const PDLVariant source = sample(state.range(0));
    for (auto _ : state)
    {
        std::string text = source.getString();
        benchmark::DoNotOptimize(text);
    }
    setLabel(state);
}
BENCHMARK(BM_VariantGetString)->DenseRange(0, 7);

// The cross-kind equality that goes through text (Int against Float).
void BM_VariantEqualByText(benchmark::State& state)
{
    const PDLVariant a(1000);
    const PDLVariant b(1000.0f);
    for (auto _ : state)
    {
        bool equal = a == b;
        benchmark::DoNotOptimize(equal);
    }
}
BENCHMARK(BM_VariantEqualByText);

// Walking a vector of 64 values through a cont, as set iteration does.
void BM_VariantContIterate(benchmark::State& state)
{
    std::vector<PDLVariant> values;
    for (int i = 0; i < 64; ++i)
    {
        values.emplace_back(i);
    }
    PDLVariantIteratorVectorWrapper first(values.data());
    PDLVariantIteratorVectorWrapper last(values.data() + values.size());
    for (auto _ : state)
    {
        int sum = 0;
        PDLVariantIteratorCont end(last.clone());
        for (PDLVariantIteratorCont it(first.clone()); it != end; ++it)
        {
            sum += (*it).getInt();
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * 64);
}
BENCHMARK(BM_VariantContIterate);
} // namespace

BENCHMARK_MAIN();
