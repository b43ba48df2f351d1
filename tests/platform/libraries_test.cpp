// What both backends have to keep to, on the native tables of the optional library and of diagnostics.

#include "platform/platform.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace zuk {

namespace fs = std::filesystem;

static fs::path folder_of_the_program()
{
    std::string path(1000, 0);
    path.resize(native_paths.module(nullptr, path.data(), (u32)path.size()));
    return fs::path(path).parent_path();
}

#ifdef _WIN32
static fs::path file_of(const std::string &name) { return name + ".DLL"; }
#else
static fs::path file_of(std::string name)
{
    for (char &character : name) character = (char)tolower(character);
    return "lib" + name + ".so";
}
#endif

TEST(native_load, finds_a_library_beside_the_module_wherever_the_process_is)
{
    TempDir dir;
    fs::path began_in = fs::current_path();
    fs::current_path(dir.path());
    void *library = native_libraries.load("ZUKOPTS.DLL");
    fs::current_path(began_in);
    ASSERT_NE(library, nullptr);
    native_libraries.free(library);
}

// The loader of POSIX takes its directories from the environment when a program begins, so the library is loaded by a
// second process, for which this one prepares everything. That of Windows looks in the current directory, too.
TEST(native_load, finds_a_library_where_the_loader_looks)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    TempDir dir;
    fs::copy_file(folder_of_the_program() / file_of("ZUKOPTS"), dir.path(file_of("ZUKELSE").string()));
    fs::path began_in = fs::current_path();
#ifndef _WIN32
    const char *before = getenv("LD_LIBRARY_PATH");
    std::string kept = before ? before : "";
    setenv("LD_LIBRARY_PATH", dir.path().c_str(), 1);
#endif
    EXPECT_EXIT(
        {
            fs::current_path(dir.path());
            void *library = native_libraries.load("ZUKELSE.DLL");
            PlatformEntry entry = library ? native_libraries.entry(library, "DLLFunction1") : nullptr;
            bool good = entry && entry(3) == 7;
            if (library) native_libraries.free(library);
            fs::current_path(began_in);
            fs::remove_all(dir.path());  // the directory of the second process; the loader looks in that of the first
            std::_Exit(good ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
#ifndef _WIN32
    if (before) setenv("LD_LIBRARY_PATH", kept.c_str(), 1);
    else unsetenv("LD_LIBRARY_PATH");
#endif
    EXPECT_EQ(native_libraries.load("ZUKELSE.DLL"), nullptr);  // in this process it is nowhere
}

TEST(native_load, of_a_file_that_is_no_library_is_null)
{
    fs::path broken = folder_of_the_program() / file_of("ZUKBROKEN");
    FILE *file = fopen(broken.string().c_str(), "wb");
    ASSERT_NE(file, nullptr) << broken;
    fputs("no library", file);
    fclose(file);
    EXPECT_EQ(native_libraries.load("ZUKBROKEN.DLL"), nullptr);
    fs::remove(broken);
}

TEST(native_load, of_a_missing_library_is_null)
{
    EXPECT_EQ(native_libraries.load("ZUKNONE.DLL"), nullptr);
    EXPECT_EQ(native_libraries.load((std::string(5000, 'x') + ".DLL").c_str()), nullptr);
}

TEST(native_entry, gives_a_function_by_its_exact_name)
{
    void *library = native_libraries.load("ZUKOPTS.DLL");
    ASSERT_NE(library, nullptr);
    PlatformEntry entry = native_libraries.entry(library, "DLLFunction1");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry(3), 7u);
    EXPECT_EQ(native_libraries.entry(library, "DLLFunction4"), nullptr);
    EXPECT_EQ(native_libraries.entry(library, "dllfunction1"), nullptr);
    native_libraries.free(library);
}

TEST(native_debug_break, without_a_debugger_goes_on)
{
    native_diagnostics.debug_break();
}

} // namespace zuk
