// The C interface: which functions there are, with which arguments and results, and that the shared library shows these
// names, no other, and asks the system for nothing but its C library.

#include "zuk/zuk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#ifndef _WIN32
#include <elf.h>
#endif

namespace zuk {
namespace {

// ---- The declarations -----------------------------------------------------------------------------------------------

// Widths, order and results as programs in other languages have them, who see no header.
#define TAKES_AND_GIVES(name, ...) static_assert(std::is_same_v<decltype(name), __VA_ARGS__>, #name)

TAKES_AND_GIVES(dd_init, int32_t());
TAKES_AND_GIVES(dd_term, void());
TAKES_AND_GIVES(ds_openfile, uint32_t(uint16_t, const uint8_t *, uint16_t, uint16_t, DictCookie *));
TAKES_AND_GIVES(ds_createfile, uint32_t(uint16_t, const uint8_t *));
TAKES_AND_GIVES(ds_closefile, uint32_t(int16_t));
TAKES_AND_GIVES(ds_setcurdict, uint32_t(const DictCookie *));
TAKES_AND_GIVES(ds_default_form_cookie, int32_t(DictCookie *));

TAKES_AND_GIVES(dd_getresourcehndl, uint32_t(int32_t, int32_t, uint16_t, uint16_t, int32_t, uint32_t *));
TAKES_AND_GIVES(dd_getnresourcehndl, uint32_t(int32_t, int32_t, uint16_t, int16_t, int32_t, uint32_t *));
TAKES_AND_GIVES(dd_getnamedreshndl, uint32_t(int32_t, int32_t, uint16_t, const uint8_t *, int32_t, uint32_t *));
TAKES_AND_GIVES(dd_getresname, uint32_t(int32_t, int32_t, uint16_t, uint16_t, uint8_t *));
TAKES_AND_GIVES(dd_getnresname, uint32_t(int32_t, int32_t, uint16_t, int16_t, uint8_t *));
TAKES_AND_GIVES(dd_numresources, int16_t(int32_t, int32_t, uint16_t));
TAKES_AND_GIVES(dd_get_resid, int32_t(int32_t, int32_t, uint16_t, const uint8_t *));
TAKES_AND_GIVES(dd_get_nresid, int32_t(int32_t, int32_t, uint16_t, int16_t));
TAKES_AND_GIVES(dd_get_resid_pos, int16_t(int32_t, int32_t, uint16_t, int32_t));
TAKES_AND_GIVES(dd_local_numres, int16_t(int16_t, int32_t, int32_t, uint16_t));
TAKES_AND_GIVES(dd_local_get_nresid, int16_t(int16_t, int32_t, uint16_t, int16_t));
TAKES_AND_GIVES(dd_local_get_nresid_pos, int16_t(int16_t, int32_t, uint16_t, int32_t));
TAKES_AND_GIVES(dd_local_get_nresname, uint32_t(int16_t, int32_t, uint16_t, int16_t, uint8_t *));

TAKES_AND_GIVES(dd_add_resource, uint32_t(int32_t, int32_t, uint16_t, int16_t, const uint8_t *, uint32_t));
TAKES_AND_GIVES(dd_change_resource, uint32_t(int32_t, int32_t, uint16_t, int32_t, const uint8_t *, uint32_t));
TAKES_AND_GIVES(dd_remove_resource, uint32_t(int32_t, int32_t, uint16_t, int32_t));

TAKES_AND_GIVES(dd_get_owner, int16_t(DictFile *, uint16_t, uint32_t));
TAKES_AND_GIVES(dd_choose_owner, uint16_t(uint16_t));
TAKES_AND_GIVES(dd_uniqueid, int16_t(int32_t, int32_t, uint16_t));

TAKES_AND_GIVES(add_res, void(uint32_t *, int32_t, int16_t, const void *));
TAKES_AND_GIVES(get_res, void(uint32_t, int32_t, uint16_t, void *));
TAKES_AND_GIVES(del_res, void(uint32_t *, int32_t, uint16_t));
TAKES_AND_GIVES(change_res, void(uint32_t, int32_t, uint16_t, const void *));

TAKES_AND_GIVES(galloc, uint32_t(int32_t, const uint8_t *, int16_t));
TAKES_AND_GIVES(gfree, void(uint32_t));
TAKES_AND_GIVES(grealloc, int16_t(uint32_t *, int32_t));
TAKES_AND_GIVES(glock, void *(uint32_t));
TAKES_AND_GIVES(gunlock, void(uint32_t));
TAKES_AND_GIVES(gsize, int32_t(uint32_t));
TAKES_AND_GIVES(pstrconst, uint8_t *(uint8_t *, const char *));
TAKES_AND_GIVES(pstrnull, uint8_t *(uint8_t *));
TAKES_AND_GIVES(ctopstr, void *(void *));
TAKES_AND_GIVES(ptocstr, void *(void *));
TAKES_AND_GIVES(pstricpy, uint8_t *(uint8_t *, const uint8_t *, int16_t, int16_t));
TAKES_AND_GIVES(pstricat, uint8_t *(uint8_t *, const uint8_t *, int16_t, int16_t));
TAKES_AND_GIVES(pstricompare, int16_t(const uint8_t *, const uint8_t *, int16_t, int16_t, int16_t));

TAKES_AND_GIVES(filename_2_native, uint8_t *(uint8_t *));
TAKES_AND_GIVES(native_2_filename, uint8_t *(uint8_t *));

static_assert(sizeof(GHandle) == 4 && sizeof(FileHandle) == 4 && sizeof(DictStatus) == 4);
static_assert(sizeof(DictCookie) == 12 && offsetof(DictCookie, slot) == 0 && offsetof(DictCookie, selector) == 4 &&
              offsetof(DictCookie, other_selector) == 8);
static_assert(std::is_same_v<decltype(DictCookie::slot), int32_t>);
static_assert(std::is_same_v<decltype(DictCookie::selector), int32_t>);
static_assert(std::is_same_v<decltype(DictCookie::other_selector), int32_t>);
static_assert(std::is_same_v<PString, uint8_t *> && std::is_same_v<ConstPString, const uint8_t *>);

// ---- The names ------------------------------------------------------------------------------------------------------

using AnyFunction = void (*)();

struct Exported {
    const char *name;
    AnyFunction function;
};

#define HERE(name) { #name, (AnyFunction)name }

const Exported interface_names[] = {
    HERE(dd_init), HERE(dd_term), HERE(ds_openfile), HERE(ds_createfile), HERE(ds_closefile), HERE(ds_setcurdict),
    HERE(ds_default_form_cookie),

    HERE(dd_getresourcehndl), HERE(dd_getnresourcehndl), HERE(dd_getnamedreshndl), HERE(dd_getresname),
    HERE(dd_getnresname), HERE(dd_numresources), HERE(dd_get_resid), HERE(dd_get_nresid), HERE(dd_get_resid_pos),
    HERE(dd_local_numres), HERE(dd_local_get_nresid), HERE(dd_local_get_nresid_pos), HERE(dd_local_get_nresname),

    HERE(dd_add_resource), HERE(dd_change_resource), HERE(dd_remove_resource),

    HERE(dd_get_owner), HERE(dd_choose_owner), HERE(dd_uniqueid),

    HERE(add_res), HERE(get_res), HERE(del_res), HERE(change_res),

    HERE(galloc), HERE(gfree), HERE(grealloc), HERE(glock), HERE(gunlock), HERE(gsize), HERE(pstrconst), HERE(pstrnull),
    HERE(ctopstr), HERE(ptocstr), HERE(pstricpy), HERE(pstricat), HERE(pstricompare),

    HERE(filename_2_native), HERE(native_2_filename),
};

std::vector<std::string> names_here()
{
    std::vector<std::string> names;
    for (const Exported &exported : interface_names) names.push_back(exported.name);
    std::sort(names.begin(), names.end());
    return names;
}

TEST(exports, has_45_functions)
{
    std::set<std::string> names;
    std::set<AnyFunction> functions;
    for (const Exported &exported : interface_names) {
        names.insert(exported.name);
        functions.insert(exported.function);
    }
    EXPECT_EQ(names.size(), 45u);
    EXPECT_EQ(functions.size(), 45u);
}

// ---- The shared library ---------------------------------------------------------------------------------------------

struct SharedLibrary {
    std::vector<std::string> shows;  // names, in order
    std::vector<std::string> needs;  // libraries
};

// The record at an offset; zeros, and a failure, where the file has none.
template <typename Record>
Record record_at(const std::string &file, u64 offset)
{
    Record record = {};
    bool inside = offset <= file.size() && sizeof record <= file.size() - offset;
    EXPECT_TRUE(inside) << "offset " << offset;
    if (inside) memcpy(&record, file.data() + (size_t)offset, sizeof record);
    return record;
}

std::string text_at(const std::string &file, u64 offset)
{
    EXPECT_LT(offset, file.size());
    return offset < file.size() ? std::string(file.c_str() + (size_t)offset) : "";
}

#ifdef _WIN32

constexpr char LIBRARY[] = "/zuk.dll";

// Where a file holds what will stand at an address relative to the start of the image.
u64 place_of(const std::string &file, u64 pe, u32 address)
{
    u16 sections = record_at<u16>(file, pe + 6);
    u64 section = pe + 24 + record_at<u16>(file, pe + 20);
    for (u16 i = 0; i < sections; i++, section += 40) {
        u32 start = record_at<u32>(file, section + 12);
        u32 size = record_at<u32>(file, section + 16);
        if (address >= start && address - start < size) return record_at<u32>(file, section + 20) + (address - start);
    }
    ADD_FAILURE() << "no section holds " << address;
    return 0;
}

SharedLibrary read_library(const std::string &file)
{
    SharedLibrary library;
    u64 pe = record_at<u32>(file, 0x3C);
    EXPECT_EQ(text_at(file, pe), "PE");
    bool wide = record_at<u16>(file, pe + 24) == 0x20B;
    u64 directories = pe + 24 + (wide ? 112 : 96);

    u64 exports = place_of(file, pe, record_at<u32>(file, directories));
    u32 count = record_at<u32>(file, exports + 24);
    u64 names = place_of(file, pe, record_at<u32>(file, exports + 32));
    for (u32 i = 0; i < count; i++) {
        library.shows.push_back(text_at(file, place_of(file, pe, record_at<u32>(file, names + i * 4))));
    }

    u64 import = place_of(file, pe, record_at<u32>(file, directories + 8));
    for (; record_at<u32>(file, import + 12) != 0; import += 20) {
        std::string name = text_at(file, place_of(file, pe, record_at<u32>(file, import + 12)));
        std::transform(name.begin(), name.end(), name.begin(), [](char c) { return (char)tolower(c); });
        library.needs.push_back(name);
    }
    return library;
}

bool belongs_to_the_system(const std::string &name)
{
    const std::set<std::string> system = { "kernel32.dll", "user32.dll", "gdi32.dll", "msvcrt.dll" };
    return system.count(name) != 0;
}

#else

constexpr char LIBRARY[] = "/libzuk.so";

template <typename Head, typename Section, typename Symbol, typename Dynamic>
SharedLibrary read_elf(const std::string &file)
{
    SharedLibrary library;
    Head head = record_at<Head>(file, 0);
    for (u32 i = 0; i < head.e_shnum; i++) {
        Section section = record_at<Section>(file, head.e_shoff + (u64)i * sizeof(Section));
        if (section.sh_type != SHT_DYNSYM && section.sh_type != SHT_DYNAMIC) continue;
        u64 strings = record_at<Section>(file, head.e_shoff + (u64)section.sh_link * sizeof(Section)).sh_offset;

        for (u64 at = 0; section.sh_type == SHT_DYNSYM && at < section.sh_size; at += sizeof(Symbol)) {
            Symbol symbol = record_at<Symbol>(file, section.sh_offset + at);
            if (symbol.st_shndx != SHN_UNDEF) library.shows.push_back(text_at(file, strings + symbol.st_name));
        }
        for (u64 at = 0; section.sh_type == SHT_DYNAMIC && at < section.sh_size; at += sizeof(Dynamic)) {
            Dynamic entry = record_at<Dynamic>(file, section.sh_offset + at);
            if (entry.d_tag == DT_NEEDED) library.needs.push_back(text_at(file, strings + entry.d_un.d_val));
        }
    }
    return library;
}

SharedLibrary read_library(const std::string &file)
{
    EXPECT_EQ(file.substr(0, SELFMAG), ELFMAG);
    if (file[EI_CLASS] == ELFCLASS32) return read_elf<Elf32_Ehdr, Elf32_Shdr, Elf32_Sym, Elf32_Dyn>(file);
    return read_elf<Elf64_Ehdr, Elf64_Shdr, Elf64_Sym, Elf64_Dyn>(file);
}

// The dynamic loader is a part of the C library.
bool belongs_to_the_system(const std::string &name) { return name == "libc.so.6" || name.rfind("ld-linux", 0) == 0; }

#endif

// The library that was built beside this program; without records when there is none.
SharedLibrary built_library()
{
    std::string path = std::string(ZUK_BINARY_DIR) + LIBRARY;
    std::ifstream in(path, std::ios::binary);
    std::string file(std::istreambuf_iterator<char>(in), {});
    if (file.size() < 1000) {
        ADD_FAILURE() << path << " is not there: build all targets first";
        return {};
    }
    SharedLibrary library = read_library(file);
    std::sort(library.shows.begin(), library.shows.end());
    return library;
}

TEST(shared_library, shows_the_functions_of_the_interface_and_nothing_else)
{
    EXPECT_EQ(built_library().shows, names_here());
}

#if defined(__SANITIZE_ADDRESS__)
#define WITH_SANITIZERS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define WITH_SANITIZERS 1
#endif
#endif

TEST(shared_library, needs_nothing_but_the_system_s_own_library)
{
#ifdef WITH_SANITIZERS
    GTEST_SKIP() << "this build's libraries need the runtime of the sanitizers";
#endif
    SharedLibrary library = built_library();
    EXPECT_FALSE(library.needs.empty());
    for (const std::string &name : library.needs) EXPECT_TRUE(belongs_to_the_system(name)) << name;
}

} // namespace
} // namespace zuk
