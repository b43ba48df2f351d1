// What an element costs in a list of each kind: to append it, to read it in its turn, to look at it in a search.
//
// The yardstick of a memory list is a vector; that of a disk list a file that is mapped into memory, page by page as it
// grows. One iteration is a pass over all elements, and the times are of one pass; the last lines printed are the
// ratios, of processor time: everything here goes through the system's cache, and nothing waits for a disk.
#include "bench/ratios.h"
#include "lists/glist.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace zuk;

constexpr i32 ELEMENTS = 100000;   // a disk list has 16 of their 1563 pages in memory
constexpr size_t PAGE_SIZE = 4096;
const std::string PLAIN = "/tmp/zuk-bench.raw";

struct Element {
    i32 number;
    u8 rest[60];
};

Element element_of(i32 number)
{
    Element element = {};
    element.number = number;
    return element;
}

i16 has_number(void *element, intptr_t data) { return ((const Element *)element)->number == data; }

// ---- Lists ----------------------------------------------------------------------------------------------------------

GHandle new_list(i32 kind)
{
    GHandle attributes = glist_attr_create(kind, 0, nullptr);
    GHandle list = glist_create((i32)sizeof(Element), attributes, nullptr, nullptr);
    glist_attr_dispose(attributes);
    if (!list) abort();
    return list;
}

void fill(GHandle list)
{
    for (i32 i = 1; i <= ELEMENTS; i++) {
        Element element = element_of(i);
        if (!glist_append(list, 0, &element, 1, 0)) abort();
    }
}

void list_append(benchmark::State &state, i32 kind)
{
    for (auto _ : state) {
        GHandle list = new_list(kind);
        fill(list);
        glist_dispose(list);
    }
}

void list_read(benchmark::State &state, i32 kind)
{
    GHandle list = new_list(kind);
    fill(list);
    for (auto _ : state) {
        Element element;
        i64 sum = 0;
        glist_seek(list, 0, GLIST_BEFORE_FIRST);
        while (glist_get_next(list, 0, &element)) sum += element.number;
        if (sum != (i64)ELEMENTS * (ELEMENTS + 1) / 2) abort();
    }
    glist_dispose(list);
}

void list_find(benchmark::State &state, i32 kind)
{
    GHandle list = new_list(kind);
    fill(list);
    for (auto _ : state) {
        if (!glist_find(list, 0, GLIST_FORWARD, GLIST_NO_CALLBACK_ID, has_number, ELEMENTS)) abort();
    }
    glist_dispose(list);
}

void memory_append(benchmark::State &state) { list_append(state, GLIST_MEMORY); }
void memory_read(benchmark::State &state) { list_read(state, GLIST_MEMORY); }
void memory_find(benchmark::State &state) { list_find(state, GLIST_MEMORY); }
void disk_append(benchmark::State &state) { list_append(state, GLIST_DISK); }
void disk_read(benchmark::State &state) { list_read(state, GLIST_DISK); }
void disk_find(benchmark::State &state) { list_find(state, GLIST_DISK); }

// ---- A vector -------------------------------------------------------------------------------------------------------

void vector_append(benchmark::State &state)
{
    for (auto _ : state) {
        std::vector<Element> all;
        for (i32 i = 1; i <= ELEMENTS; i++) all.push_back(element_of(i));
        benchmark::DoNotOptimize(all.data());
    }
}

std::vector<Element> filled_vector()
{
    std::vector<Element> all;
    for (i32 i = 1; i <= ELEMENTS; i++) all.push_back(element_of(i));
    return all;
}

// Each element is copied out, as a list hands it out.
void copy_all(const Element *all)
{
    for (i32 i = 0; i < ELEMENTS; i++) {
        Element element;
        memcpy(&element, all + i, sizeof element);
        benchmark::DoNotOptimize(element);
    }
}

void find_last(const Element *all)
{
    const Element *found = std::find_if(all, all + ELEMENTS, [](const Element &at) { return at.number == ELEMENTS; });
    benchmark::DoNotOptimize(found);
}

void vector_read(benchmark::State &state)
{
    std::vector<Element> all = filled_vector();
    for (auto _ : state) copy_all(all.data());
}

void vector_find(benchmark::State &state)
{
    std::vector<Element> all = filled_vector();
    for (auto _ : state) find_last(all.data());
}

// ---- A mapped file --------------------------------------------------------------------------------------------------

class MappedFile {
public:
    MappedFile() : file(open(PLAIN.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600)) {}
    ~MappedFile()
    {
        if (bytes) munmap(bytes, size);
        close(file);
        unlink(PLAIN.c_str());
    }

    void append(const Element &element)
    {
        if ((count + 1) * sizeof element > size) grow();
        memcpy(bytes + count++ * sizeof element, &element, sizeof element);
    }
    const Element *all() const { return (const Element *)bytes; }

private:
    void grow()
    {
        size_t new_size = size + PAGE_SIZE;
        if (ftruncate(file, (off_t)new_size)) abort();
        void *at = bytes ? mremap(bytes, size, new_size, MREMAP_MAYMOVE)
                         : mmap(nullptr, new_size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        if (at == MAP_FAILED) abort();
        bytes = (u8 *)at;
        size = new_size;
    }

    int file;
    u8 *bytes = nullptr;
    size_t size = 0, count = 0;
};

void mapped_append(benchmark::State &state)
{
    for (auto _ : state) {
        MappedFile file;
        for (i32 i = 1; i <= ELEMENTS; i++) file.append(element_of(i));
    }
}

void mapped_read(benchmark::State &state)
{
    MappedFile file;
    for (i32 i = 1; i <= ELEMENTS; i++) file.append(element_of(i));
    for (auto _ : state) copy_all(file.all());
}

void mapped_find(benchmark::State &state)
{
    MappedFile file;
    for (i32 i = 1; i <= ELEMENTS; i++) file.append(element_of(i));
    for (auto _ : state) find_last(file.all());
}

BENCHMARK(vector_append)->Unit(benchmark::kMicrosecond);
BENCHMARK(memory_append)->Unit(benchmark::kMicrosecond);
BENCHMARK(mapped_append)->Unit(benchmark::kMicrosecond);
BENCHMARK(disk_append)->Unit(benchmark::kMicrosecond);
BENCHMARK(vector_read)->Unit(benchmark::kMicrosecond);
BENCHMARK(memory_read)->Unit(benchmark::kMicrosecond);
BENCHMARK(mapped_read)->Unit(benchmark::kMicrosecond);
BENCHMARK(disk_read)->Unit(benchmark::kMicrosecond);
BENCHMARK(vector_find)->Unit(benchmark::kMicrosecond);
BENCHMARK(memory_find)->Unit(benchmark::kMicrosecond);
BENCHMARK(mapped_find)->Unit(benchmark::kMicrosecond);
BENCHMARK(disk_find)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    Ratios ratios;
    benchmark::RunSpecifiedBenchmarks(&ratios);
    ratios.print("memory_append", "vector_append");
    ratios.print("memory_read", "vector_read");
    ratios.print("memory_find", "vector_find");
    ratios.print("disk_append", "mapped_append");
    ratios.print("disk_read", "mapped_read");
    ratios.print("disk_find", "mapped_find");
}
