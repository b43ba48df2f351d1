// What a decimal operation costs beside a decimal library, the literal implementation and a copy of its operands.
//
// The library is Intel's decimal floating point, in its format of 128 bits: the smallest one that holds 19 digits. Its
// products and quotients have up to 34 digits (peer_long_...); to give the same as ours they are rounded to five
// decimals (peer_...). Operands are spread over magnitudes and signs as amounts are, up to seven integer digits; those
// of ..._great have eleven to fourteen, which are added another way. There are so many that the processor doesn't learn
// their signs by heart, and still all fit its second cache. The last lines printed are the ratios, by the processor's
// time of the fastest runs.
#include "bench/ratios.h"
#include "decimal/decimal10.h"
#include "decimal/literal.h"

#include <array>
#include <bid_conf.h>
#include <bid_functions.h>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using namespace zuk;

namespace {

constexpr size_t COUNT = 8192;  // a power of two

// Operands in all forms, each in a row of its own as a program would keep them.
struct Operands {
    std::vector<Decimal10> ten;
    std::vector<BID_UINT128> peer;
    std::vector<std::array<u8, 32>> text;         // `PString`
    std::vector<std::array<char, 32>> peer_text;  // the same with a terminator
};

Operands usual[2], great[2];

unsigned peer_flags;
constexpr unsigned HALF_AWAY_FROM_ZERO = 4;  // a rounding of the library

void add_operand(Operands &operands, std::mt19937_64 &random, size_t integer_digits)
{
    std::string text = random() % 2 ? "-" : "";
    text += (char)('1' + random() % 9);
    while (--integer_digits) text += (char)('0' + random() % 10);
    text += '.';
    for (size_t digits = random() % 2 ? 2 : 5; digits > 0; digits--) text += (char)('0' + random() % 10);

    auto &string = operands.text.emplace_back();
    string[0] = (u8)text.size();
    memcpy(string.data() + 1, text.data(), text.size());
    auto &peer_string = operands.peer_text.emplace_back();
    memcpy(peer_string.data(), text.c_str(), text.size() + 1);
    dec10_parse(&operands.ten.emplace_back(), string.data());
    operands.peer.push_back(bid128_from_string(peer_string.data(), 0, &peer_flags));
}

void make_operands()
{
    zuk::decimal_init('.');
    std::mt19937_64 random(1);
    for (size_t side = 0; side < 2; side++) {
        for (size_t i = 0; i < COUNT; i++) {
            add_operand(usual[side], random, 1 + random() % 7);
            add_operand(great[side], random, 11 + random() % 4);
        }
    }
}

// Run `work` on one pair of numbers in some form after the other.
template <auto form = &Operands::ten, class Work>
void for_pairs(benchmark::State &state, Work work, const Operands (&operands)[2] = usual)
{
    const auto *a = (operands[0].*form).data(), *b = (operands[1].*form).data();
    size_t i = 0;
    for (auto _ : state) {
        i = (i + 1) % COUNT;
        work(a[i], b[i]);
    }
}

void copy_operands(benchmark::State &state)
{
    for_pairs(state, [](const Decimal10 &a, const Decimal10 &b) {
        Decimal10 x, y;
        benchmark::DoNotOptimize(dec10_copy(&x, &a));
        benchmark::DoNotOptimize(dec10_copy(&y, &b));
        benchmark::ClobberMemory();
    });
}

void inline_copy(benchmark::State &state)
{
    for_pairs(state, [](const Decimal10 &a, const Decimal10 &b) {
        Decimal10 x = a, y = b;
        benchmark::DoNotOptimize(x);
        benchmark::DoNotOptimize(y);
    });
}

template <i16 op, const Operands (&operands)[2] = usual> void fast(benchmark::State &state)
{
    for_pairs(state, [](const Decimal10 &a, const Decimal10 &b) {
        Decimal10 result;
        benchmark::DoNotOptimize(zuk::dec10_arith(&result, &a, op, &b));
        benchmark::ClobberMemory();
    }, operands);
}

template <i16 op, const Operands (&operands)[2] = usual> void literal_way(benchmark::State &state)
{
    for_pairs(state, [](const Decimal10 &a, const Decimal10 &b) {
        Decimal10 result;
        benchmark::DoNotOptimize(literal::dec10_arith(&result, &a, op, &b));
        benchmark::ClobberMemory();
    }, operands);
}

using PeerOperation = BID_UINT128 (*)(BID_UINT128, BID_UINT128, unsigned, unsigned *);

template <PeerOperation operation, const Operands (&operands)[2] = usual> void peer(benchmark::State &state)
{
    for_pairs<&Operands::peer>(state, [](BID_UINT128 a, BID_UINT128 b) {
        benchmark::DoNotOptimize(operation(a, b, 0, &peer_flags));
    }, operands);
}

template <PeerOperation operation> void peer_rounded(benchmark::State &state)
{
    const BID_UINT128 unit = bid128_from_string((char *)"0.00001", 0, &peer_flags);
    for_pairs<&Operands::peer>(state, [unit](BID_UINT128 a, BID_UINT128 b) {
        const BID_UINT128 result = operation(a, b, 0, &peer_flags);
        benchmark::DoNotOptimize(bid128_quantize(result, unit, HALF_AWAY_FROM_ZERO, &peer_flags));
    });
}

void fast_compare(benchmark::State &state)
{
    for_pairs(state, [](const Decimal10 &a, const Decimal10 &b) {
        benchmark::DoNotOptimize(zuk::dec10_compare(&a, DEC_LT, &b));
    });
}

void literal_compare(benchmark::State &state)
{
    for_pairs(state, [](const Decimal10 &a, const Decimal10 &b) {
        benchmark::DoNotOptimize(literal::dec10_compare(&a, DEC_LT, &b));
    });
}

void peer_compare(benchmark::State &state)
{
    for_pairs<&Operands::peer>(state, [](BID_UINT128 a, BID_UINT128 b) {
        benchmark::DoNotOptimize(bid128_quiet_less(a, b, &peer_flags));
    });
}

void fast_parse(benchmark::State &state)
{
    for_pairs<&Operands::text>(state, [](const std::array<u8, 32> &a, const std::array<u8, 32> &) {
        Decimal10 result;
        benchmark::DoNotOptimize(zuk::dec10_parse(&result, a.data()));
        benchmark::ClobberMemory();
    });
}

void literal_parse(benchmark::State &state)
{
    for_pairs<&Operands::text>(state, [](const std::array<u8, 32> &a, const std::array<u8, 32> &) {
        Decimal10 result;
        benchmark::DoNotOptimize(literal::dec10_parse(&result, a.data()));
        benchmark::ClobberMemory();
    });
}

void peer_parse(benchmark::State &state)
{
    for_pairs<&Operands::peer_text>(state, [](const std::array<char, 32> &a, const std::array<char, 32> &) {
        benchmark::DoNotOptimize(bid128_from_string((char *)a.data(), 0, &peer_flags));
    });
}

void fast_format(benchmark::State &state)
{
    for_pairs(state, [](const Decimal10 &a, const Decimal10 &) {
        u8 text[256];
        benchmark::DoNotOptimize(zuk::dec10_format(text, &a));
        benchmark::ClobberMemory();
    });
}

void literal_format(benchmark::State &state)
{
    for_pairs(state, [](const Decimal10 &a, const Decimal10 &) {
        u8 text[256];
        benchmark::DoNotOptimize(literal::dec10_format(text, &a));
        benchmark::ClobberMemory();
    });
}

void peer_format(benchmark::State &state)
{
    for_pairs<&Operands::peer>(state, [](BID_UINT128 a, BID_UINT128) {
        char text[256];
        bid128_to_string(text, a, &peer_flags);
        benchmark::DoNotOptimize(text[0]);
        benchmark::ClobberMemory();
    });
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
        {"subtract", fast<DEC_SUB>},
        {"literal_subtract", literal_way<DEC_SUB>},
        {"peer_subtract", peer<bid128_sub>},
        {"add_great", fast<DEC_ADD, great>},
        {"literal_add_great", literal_way<DEC_ADD, great>},
        {"peer_add_great", peer<bid128_add, great>},
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

    Ratios ratios;
    benchmark::RunSpecifiedBenchmarks(&ratios);
    for (const char *what : {"add", "subtract", "add_great", "compare", "multiply", "divide", "parse", "format"}) {
        ratios.print(what, std::string("peer_") + what);
        ratios.print(what, std::string("peer_long_") + what);
        ratios.print(what, std::string("literal_") + what);
    }
    for (const char *what : {"add", "subtract", "add_great", "compare"}) {
        ratios.print(what, "copy_operands");
        ratios.print(what, "inline_copy");
    }
}
