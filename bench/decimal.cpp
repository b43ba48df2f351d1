// What a decimal operation costs beside a decimal library, the literal implementation and a copy of its operands.
//
// The library is Intel's decimal floating point, in its format of 128 bits: the smallest one that holds 19 digits. Its
// products and quotients have up to 34 digits (peer_long_...); to give the same as ours they are rounded to five
// decimals (peer_...). Operands are spread over magnitudes and signs as amounts are; the last lines printed are the
// ratios, by the processor's time of the fastest runs.
#include "decimal/decimal10.h"
#include "decimal/literal.h"

#include <benchmark/benchmark.h>
#include <bid_conf.h>
#include <bid_functions.h>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

using namespace zuk;

namespace {

constexpr size_t COUNT = 1024;  // a power of two

// One operand in all forms.
struct Operand {
    Decimal10 ten;
    BID_UINT128 peer;
    u8 text[32];         // a `PString`
    char peer_text[32];  // the same with a terminator
};

std::vector<Operand> operands[2];

unsigned peer_flags;
constexpr unsigned HALF_AWAY_FROM_ZERO = 4;  // a rounding of the library

Operand operand(std::mt19937_64 &random)
{
    std::string text = random() % 2 ? "-" : "";
    text += (char)('1' + random() % 9);
    for (size_t digits = random() % 7; digits > 0; digits--) text += (char)('0' + random() % 10);
    text += '.';
    for (size_t digits = random() % 2 ? 2 : 5; digits > 0; digits--) text += (char)('0' + random() % 10);

    Operand made;
    made.text[0] = (u8)text.size();
    memcpy(made.text + 1, text.data(), text.size());
    strcpy(made.peer_text, text.c_str());
    dec10_parse(&made.ten, made.text);
    made.peer = bid128_from_string(made.peer_text, 0, &peer_flags);
    return made;
}

void make_operands()
{
    zuk::decimal_init('.');
    std::mt19937_64 random(1);
    for (auto &row : operands) {
        for (size_t i = 0; i < COUNT; i++) row.push_back(operand(random));
    }
}

// Run `work` on one pair of operands after the other.
template <class Work> void for_pairs(benchmark::State &state, Work work)
{
    size_t i = 0;
    for (auto _ : state) {
        i = (i + 1) % COUNT;
        work(operands[0][i], operands[1][i]);
    }
}

void copy_operands(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &b) {
        Decimal10 x, y;
        benchmark::DoNotOptimize(dec10_copy(&x, &a.ten));
        benchmark::DoNotOptimize(dec10_copy(&y, &b.ten));
        benchmark::ClobberMemory();
    });
}

void inline_copy(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &b) {
        Decimal10 x = a.ten, y = b.ten;
        benchmark::DoNotOptimize(x);
        benchmark::DoNotOptimize(y);
    });
}

template <i16 op> void fast(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &b) {
        Decimal10 result;
        benchmark::DoNotOptimize(zuk::dec10_arith(&result, &a.ten, op, &b.ten));
        benchmark::ClobberMemory();
    });
}

template <i16 op> void literal_way(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &b) {
        Decimal10 result;
        benchmark::DoNotOptimize(literal::dec10_arith(&result, &a.ten, op, &b.ten));
        benchmark::ClobberMemory();
    });
}

using PeerOperation = BID_UINT128 (*)(BID_UINT128, BID_UINT128, unsigned, unsigned *);

template <PeerOperation operation> void peer(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &b) {
        benchmark::DoNotOptimize(operation(a.peer, b.peer, 0, &peer_flags));
    });
}

template <PeerOperation operation> void peer_rounded(benchmark::State &state)
{
    const BID_UINT128 unit = bid128_from_string((char *)"0.00001", 0, &peer_flags);
    for_pairs(state, [unit](const Operand &a, const Operand &b) {
        const BID_UINT128 result = operation(a.peer, b.peer, 0, &peer_flags);
        benchmark::DoNotOptimize(bid128_quantize(result, unit, HALF_AWAY_FROM_ZERO, &peer_flags));
    });
}

void fast_compare(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &b) {
        benchmark::DoNotOptimize(zuk::dec10_compare(&a.ten, DEC_LT, &b.ten));
    });
}

void literal_compare(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &b) {
        benchmark::DoNotOptimize(literal::dec10_compare(&a.ten, DEC_LT, &b.ten));
    });
}

void peer_compare(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &b) {
        benchmark::DoNotOptimize(bid128_quiet_less(a.peer, b.peer, &peer_flags));
    });
}

void fast_parse(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &) {
        Decimal10 result;
        benchmark::DoNotOptimize(zuk::dec10_parse(&result, a.text));
        benchmark::ClobberMemory();
    });
}

void literal_parse(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &) {
        Decimal10 result;
        benchmark::DoNotOptimize(literal::dec10_parse(&result, a.text));
        benchmark::ClobberMemory();
    });
}

void peer_parse(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &) {
        benchmark::DoNotOptimize(bid128_from_string((char *)a.peer_text, 0, &peer_flags));
    });
}

void fast_format(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &) {
        u8 text[256];
        benchmark::DoNotOptimize(zuk::dec10_format(text, &a.ten));
        benchmark::ClobberMemory();
    });
}

void literal_format(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &) {
        u8 text[256];
        benchmark::DoNotOptimize(literal::dec10_format(text, &a.ten));
        benchmark::ClobberMemory();
    });
}

void peer_format(benchmark::State &state)
{
    for_pairs(state, [](const Operand &a, const Operand &) {
        char text[256];
        bid128_to_string(text, a.peer, &peer_flags);
        benchmark::DoNotOptimize(text[0]);
        benchmark::ClobberMemory();
    });
}

// The usual lines, and the shortest time of each for the ratios.
class Reporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> nanoseconds;

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration) continue;
            double &least = nanoseconds[run.run_name.function_name];
            if (!least || run.GetAdjustedCPUTime() < least) least = run.GetAdjustedCPUTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

void print_ratio(Reporter &reporter, const std::string &what, const std::string &yardstick)
{
    if (!reporter.nanoseconds.count(what) || !reporter.nanoseconds.count(yardstick)) return;
    const double ours = reporter.nanoseconds[what], theirs = reporter.nanoseconds[yardstick];
    printf("%s / %s = %.2f   (%.1f ns, %.1f ns)\n", what.c_str(), yardstick.c_str(), ours / theirs, ours, theirs);
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    make_operands();
    const struct {
        const char *name;
        void (*run)(benchmark::State &);
    } all[] = {
        {"copy_operands", copy_operands},
        {"inline_copy", inline_copy},
        {"add", fast<DEC_ADD>},
        {"literal_add", literal_way<DEC_ADD>},
        {"peer_add", peer<bid128_add>},
        {"compare", fast_compare},
        {"literal_compare", literal_compare},
        {"peer_compare", peer_compare},
        {"multiply", fast<DEC_MUL>},
        {"literal_multiply", literal_way<DEC_MUL>},
        {"peer_multiply", peer_rounded<bid128_mul>},
        {"peer_long_multiply", peer<bid128_mul>},
        {"divide", fast<DEC_DIV>},
        {"literal_divide", literal_way<DEC_DIV>},
        {"peer_divide", peer_rounded<bid128_div>},
        {"peer_long_divide", peer<bid128_div>},
        {"parse", fast_parse},
        {"literal_parse", literal_parse},
        {"peer_parse", peer_parse},
        {"format", fast_format},
        {"literal_format", literal_format},
        {"peer_format", peer_format},
    };
    for (const auto &each : all) benchmark::RegisterBenchmark(each.name, each.run)->Repetitions(5)->MinTime(0.05);

    Reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (const char *what : {"add", "compare", "multiply", "divide", "parse", "format"}) {
        print_ratio(reporter, what, std::string("peer_") + what);
        print_ratio(reporter, what, std::string("peer_long_") + what);
        print_ratio(reporter, what, std::string("literal_") + what);
    }
    for (const char *what : {"add", "compare"}) {
        print_ratio(reporter, what, "copy_operands");
        print_ratio(reporter, what, "inline_copy");
    }
}
