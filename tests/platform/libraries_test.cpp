// What both backends have to keep to, on the native tables of the optional library and of diagnostics.

#include "platform/platform.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace zuk {

namespace fs = std::filesystem;

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
