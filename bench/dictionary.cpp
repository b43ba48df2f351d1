// What a resource costs beside the plain system call for its bytes.
//
// Each benchmark has a yardstick that moves the same bytes with the system alone; the last lines printed are the ratios.
#include "bench/ratios.h"
#include "zuk/zuk.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int RESOURCES = 1000;
constexpr size_t BODY_SIZE = 400;
const std::string DICTIONARY = "/tmp/zuk-bench.dic";
const std::string PLAIN = "/tmp/zuk-bench.raw";

struct Text {
    uint8_t bytes[256];
    explicit Text(const std::string &text) { pstrconst(bytes, text.c_str()); }
};

GHandle body()
{
    GHandle handle = galloc((int32_t)BODY_SIZE, nullptr, 1);
    memset(glock(handle), 'x', BODY_SIZE);
    return handle;
}

// A new dictionary with one module, open exclusively.
void open_new()
{
    dd_init();
    DictCookie cookie;
    Text path(DICTIONARY);
    if (ds_createfile(1, path.bytes) || ds_openfile(1, path.bytes, DICT_EXCLUSIVE, 0, &cookie)) abort();
    if (dd_add_resource(2, 100, 2, 100, Text("Bench").bytes, 0)) abort();
}

void close()
{
    ds_closefile(1);
    dd_term();
    unlink(DICTIONARY.c_str());
}

void fill()
{
    GHandle handle = body();
    for (int i = 1; i <= RESOURCES; i++) {
        if (dd_add_resource(2, 100, 30, (int16_t)i, Text("name " + std::to_string(i)).bytes, handle)) abort();
    }
    gfree(handle);
}

void read_by_id(benchmark::State &state)
{
    open_new();
    fill();
    uint16_t id = 0;
    for (auto _ : state) {
        GHandle handle = dd_getresourcehndl(2, 100, 30, (uint16_t)(id++ % RESOURCES + 1), 0, nullptr);
        benchmark::DoNotOptimize(glock(handle));
        gfree(handle);
    }
    close();
}

void plain_read(benchmark::State &state)
{
    int file = open(PLAIN.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    std::vector<char> all(RESOURCES * BODY_SIZE, 'x');
    if (write(file, all.data(), all.size()) != (ssize_t)all.size()) abort();
    int i = 0;
    for (auto _ : state) {
        char *bytes = (char *)malloc(BODY_SIZE);
        benchmark::DoNotOptimize(pread(file, bytes, BODY_SIZE, (off_t)((size_t)(i++ % RESOURCES) * BODY_SIZE)));
        free(bytes);
    }
    ::close(file);
    unlink(PLAIN.c_str());
}

void read_by_name(benchmark::State &state)
{
    open_new();
    fill();
    Text name("name 500");  // in the midst of the list
    for (auto _ : state) {
        GHandle handle = dd_getnamedreshndl(2, 100, 30, name.bytes, 0, nullptr);
        benchmark::DoNotOptimize(glock(handle));
        gfree(handle);
    }
    close();
}

void change_in_place(benchmark::State &state)
{
    open_new();
    fill();
    GHandle handle = body();
    uint16_t id = 0;
    for (auto _ : state) {
        if (dd_change_resource(2, 100, 30, id++ % RESOURCES + 1, nullptr, handle)) abort();
    }
    gfree(handle);
    close();
}

void plain_write(benchmark::State &state)
{
    int file = open(PLAIN.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    std::vector<char> bytes(BODY_SIZE, 'x');
    int i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(pwrite(file, bytes.data(), BODY_SIZE, (off_t)((size_t)(i++ % RESOURCES) * BODY_SIZE)));
    }
    ::close(file);
    unlink(PLAIN.c_str());
}

void lock_handle(benchmark::State &state)
{
    GHandle handle = galloc(64, nullptr, 1);
    for (auto _ : state) benchmark::DoNotOptimize(glock(handle));
    gfree(handle);
}

void plain_pointer(benchmark::State &state)
{
    void *volatile pointer = malloc(64);
    for (auto _ : state) benchmark::DoNotOptimize((void *)pointer);
    free(pointer);
}

BENCHMARK(plain_read);
BENCHMARK(read_by_id);
BENCHMARK(read_by_name);
BENCHMARK(plain_write);
BENCHMARK(change_in_place);
BENCHMARK(plain_pointer);
BENCHMARK(lock_handle);

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    Ratios ratios(TIME_OF_WALL);
    benchmark::RunSpecifiedBenchmarks(&ratios);
    ratios.print("read_by_id", "plain_read");
    ratios.print("read_by_name", "read_by_id");
    ratios.print("change_in_place", "plain_write");
    ratios.print("lock_handle", "plain_pointer");
}
