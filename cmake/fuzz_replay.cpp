// The main of a fuzz target where libFuzzer isn't at hand: it runs the inputs of a folder, and a fixed number of
// mutations of each, drawn from a fixed seed, so that two runs do the same.
//
//     fuzz_NAME [FOLDER or FILE]...     the empty input is always run first
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) __attribute__((weak));

using Bytes = std::vector<uint8_t>;

static const int MUTATIONS = 200; // of each input

static void run(const Bytes &input)
{
    // A copy of its own, of the exact size: a sanitizer sees the first byte read behind it.
    uint8_t *data = (uint8_t *)malloc(input.size() ? input.size() : 1);
    for (size_t i = 0; i < input.size(); i++) data[i] = input[i];
    LLVMFuzzerTestOneInput(data, input.size());
    free(data);
}

// One to eight changes: a bit, a byte of the values that stand at limits, a cut, a piece twice.
static Bytes mutate(Bytes input, std::mt19937 &random)
{
    static const uint8_t LIMITS[] = { 0x00, 0x01, 0x7f, 0x80, 0xfe, 0xff };
    for (unsigned changes = 1 + random() % 8; changes && !input.empty(); changes--) {
        size_t at = random() % input.size();
        switch (random() % 4) {
        case 0: input[at] = (uint8_t)(input[at] ^ 1u << random() % 8); break;
        case 1: input[at] = LIMITS[random() % sizeof LIMITS]; break;
        case 2: input.resize(at); break;
        default: {
            Bytes piece(input.begin() + (ptrdiff_t)at, input.begin() + (ptrdiff_t)(at + random() % (input.size() - at)));
            input.insert(input.begin() + (ptrdiff_t)at, piece.begin(), piece.end());
        }
        }
    }
    return input;
}

int main(int argc, char **argv)
{
    if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);

    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; i++) {
        if (std::filesystem::is_directory(argv[i])) {
            for (const auto &entry : std::filesystem::directory_iterator(argv[i])) files.push_back(entry.path());
        } else if (std::filesystem::exists(argv[i])) {
            files.push_back(argv[i]);
        }
    }
    std::sort(files.begin(), files.end());

    run({});
    std::mt19937 random(1);
    for (const auto &file : files) {
        std::ifstream in(file, std::ios::binary);
        Bytes input((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        run(input);
        for (int i = 0; i < MUTATIONS; i++) run(mutate(input, random));
    }
    printf("%zu inputs, %d mutations of each\n", files.size() + 1, MUTATIONS);
    return 0;
}
