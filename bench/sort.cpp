// What `block_sort` costs beside the sorts of the C and the C++ library, for the same records and the same comparison.
//
// The records are compared as bytes, whole. The last lines printed are the ratios. Sorted records are the worst case of
// the sort, which takes the first record as its pivot: that it is slow there is part of what it is.
#include "bench/ratios.h"
#include "decimal/blocks.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace zuk;

constexpr size_t COUNT = 32000;

enum Order { RANDOM, SORTED, EQUAL };
const char *const ORDER_NAMES[] = { "random", "sorted", "equal" };

template <int SIZE> struct Record {
    u8 bytes[SIZE];
    bool operator<(const Record &other) const { return memcmp(bytes, other.bytes, SIZE) < 0; }
};

template <int SIZE> std::vector<Record<SIZE>> records(Order order)
{
    std::mt19937 random(32000);
    std::vector<Record<SIZE>> all(COUNT);
    for (Record<SIZE> &record : all) {
        for (u8 &byte : record.bytes) byte = order == EQUAL ? (u8)'x' : (u8)random();
    }
    if (order == SORTED) std::sort(all.begin(), all.end());
    return all;
}

// Each sort as a caller writes it.
struct BlockSort {
    static constexpr const char *NAME = "block_sort";
    template <int SIZE> static void sort(std::vector<Record<SIZE>> *all)
    {
        block_sort(all->data(), (i16)COUNT, SIZE, nullptr);
    }
};

struct Qsort {
    static constexpr const char *NAME = "qsort";
    template <int SIZE> static void sort(std::vector<Record<SIZE>> *all)
    {
        qsort(all->data(), COUNT, SIZE, [](const void *a, const void *b) { return memcmp(a, b, SIZE); });
    }
};

struct StdSort {
    static constexpr const char *NAME = "std::sort";
    template <int SIZE> static void sort(std::vector<Record<SIZE>> *all) { std::sort(all->begin(), all->end()); }
};

std::string name_of(const char *sort, int size, Order order)
{
    return std::string(sort) + "/" + std::to_string(size) + "/" + ORDER_NAMES[order];
}

template <typename Sort, int SIZE> void add(Order order)
{
    auto run = [order](benchmark::State &state) {
        const std::vector<Record<SIZE>> unsorted = records<SIZE>(order);
        std::vector<Record<SIZE>> all;
        for (auto _ : state) {
            state.PauseTiming();
            all = unsorted;
            state.ResumeTiming();
            Sort::template sort<SIZE>(&all);
            benchmark::ClobberMemory();
        }
        if (!std::is_sorted(all.begin(), all.end())) abort();
    };
    benchmark::RegisterBenchmark(name_of(Sort::NAME, SIZE, order).c_str(), run)->Unit(benchmark::kMicrosecond);
}

template <int SIZE> void add_all()
{
    for (Order order : { RANDOM, SORTED, EQUAL }) {
        add<BlockSort, SIZE>(order);
        add<Qsort, SIZE>(order);
        add<StdSort, SIZE>(order);
    }
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    add_all<16>();
    add_all<64>();
    Ratios ratios;
    benchmark::RunSpecifiedBenchmarks(&ratios);
    for (int size : { 16, 64 }) {
        for (Order order : { RANDOM, SORTED, EQUAL }) {
            std::string sort = name_of(BlockSort::NAME, size, order);
            ratios.print(sort, name_of(Qsort::NAME, size, order));
            ratios.print(sort, name_of(StdSort::NAME, size, order));
        }
    }
}
