#include "settings/options.h"
#include "tests/support/settings.h"
#include "tests/tool/run_tool.h"
#include "tool/commands.h"
#include "tool/terminal.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>

namespace zuk {

// The command runs in this process, where a test says what directories there are; the last tests run the program.
struct zuk_settings : ToolTest {
    SettingsHome windows;
    TempDir module;

    zuk_settings()
    {
        virtual_module_path(module.native("zuk"));
        settings_init(nullptr);
        options_forget_cached();
    }
    ~zuk_settings() override
    {
        pstrnull(settings_dir);
        options_forget_cached();
    }

    std::string run(const std::string &options = "")
    {
        CLI::App app;
        tool::Work chosen;
        tool::declare_settings(app, chosen);
        app.parse("settings " + options);
        testing::internal::CaptureStdout();
        EXPECT_EQ(chosen(), 0);
        fflush(stdout);
        options_forget_cached();
        return testing::internal::GetCapturedStdout();
    }
    nlohmann::json row(const std::string &key)
    {
        auto report = nlohmann::json::parse(run("--json"));
        for (const auto &setting : report["settings"]) {
            if (setting["key"] == key) return setting;
        }
        ADD_FAILURE() << "no key " << key;
        return {};
    }
    // The line of a key, its columns parted by one bar.
    std::string line(const std::string &key)
    {
        std::string output = run();
        size_t start = output.find("\n" + key + " ");
        if (start == std::string::npos) return "";
        std::string text = output.substr(start + 1, output.find('\n', start + 1) - start - 1);
        std::string parted;
        for (size_t i = 0; i < text.size(); i++) {
            bool gap = text.compare(i, 2, "  ") == 0;
            if (gap && (parted.empty() || parted.back() != '|')) parted += '|';
            if (!gap && !(text[i] == ' ' && !parted.empty() && parted.back() == '|')) parted += text[i];
        }
        return parted;
    }
    static std::string shown(const TempDir &where) { return where.path("ZUK.INI").make_preferred().string(); }
};

TEST_F(zuk_settings, lists_every_key_by_the_alphabet)
{
    auto settings = nlohmann::json::parse(run("--json"))["settings"];
    EXPECT_EQ(settings.size(), option_row_count);
    std::vector<std::string> keys, sorted;
    for (const auto &setting : settings) {
        std::string key = setting["key"];
        for (char &character : key) character = (char)ascii_lower((u8)character);
        keys.push_back(key);
    }
    sorted = keys;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(keys, sorted);
    std::string output = run();
    EXPECT_EQ((u32)std::count(output.begin(), output.end(), '\n'), option_row_count + 2);    // the file and the titles
}

TEST_F(zuk_settings, tells_where_the_file_is)
{
    auto report = nlohmann::json::parse(run("--json"));
    EXPECT_EQ(report["file"], shown(windows.dir));
    EXPECT_EQ(report["exists"], false);
    EXPECT_EQ(report["besideProgram"], false);
    EXPECT_EQ(run().substr(0, run().find('\n')), "file  " + shown(windows.dir) + ", which is not there");

    windows.put("");
    report = nlohmann::json::parse(run("--json"));
    EXPECT_EQ(report["exists"], true);
    EXPECT_EQ(run().substr(0, run().find('\n')), "file  " + shown(windows.dir));

    (void)module.put("ZUK.INI", "[General]\r\n");
    report = nlohmann::json::parse(run("--json"));
    EXPECT_EQ(report["file"], shown(module));
    EXPECT_EQ(report["exists"], true);
    EXPECT_EQ(report["besideProgram"], true);
    EXPECT_EQ(run().substr(0, run().find('\n')), "file  " + shown(module) + ", beside the program");
}

TEST_F(zuk_settings, tells_when_there_is_no_place_for_the_file)
{
    virtual_windows_directory("");
    EXPECT_EQ(run().substr(0, run().find('\n')), "file  (this system tells no place for it)");
    auto report = nlohmann::json::parse(run("--json"));
    EXPECT_EQ(report["file"], "");
    EXPECT_EQ(report["exists"], false);
}

TEST_F(zuk_settings, tells_kind_default_value_and_what_stands_in_the_file)
{
    windows.put("MainProduct=yes\r\nMinID=many\r\nAverageScale=7\r\nCTUser=a\\b\r\nDatabaseType=sql\r\n"
                "SQLLastUser=me\r\n");
    EXPECT_EQ(line("MainProduct"), "MainProduct|boolean|0|1|yes");
    EXPECT_EQ(line("MinID"), "MinID|number|1|1|many");
    EXPECT_EQ(line("NextEntryID"), "NextEntryID|number|1|1");
    EXPECT_EQ(line("AverageScale"), "AverageScale|positive|(caller's)|7|7");
    EXPECT_EQ(line("MinMilHeight"), "MinMilHeight|positive|(caller's)|(caller's)");
    EXPECT_EQ(line("CTUser"), "CTUser|text|a\\\\b|a\\\\b");          // the default is empty
    EXPECT_EQ(line("DDEAppName"), "DDEAppName|text|KORVANIS|KORVANIS");
    EXPECT_EQ(line("Btrieve"), "Btrieve|text|/p:4096 /m:64 /f:180 /l:20|/p:4096 /m:64 /f:180 /l:20");
    EXPECT_EQ(line("DatabaseType"), "DatabaseType|word|0|2|sql");
    EXPECT_EQ(line("SQLUser"), "SQLUser|text|me");
    EXPECT_EQ(line("SQLLastUser"), "SQLLastUser|text|with SQLUser|me|me");
    EXPECT_EQ(line("WindowPosX"), "WindowPosX|number|0|0");
}

TEST_F(zuk_settings, gives_the_same_as_json)
{
    windows.put("AverageScale=7\r\nPaintWindows=off\r\nTolerence=3\r\n");
    EXPECT_EQ(row("AverageScale"), (nlohmann::json{ { "key", "AverageScale" }, { "kind", "positive" },
                                                    { "default", nullptr }, { "value", "7" }, { "inFile", "7" },
                                                    { "cached", false } }));
    EXPECT_EQ(row("PaintWindows"), (nlohmann::json{ { "key", "PaintWindows" }, { "kind", "boolean" },
                                                    { "default", "1" }, { "value", "0" }, { "inFile", "off" },
                                                    { "cached", true } }));
    EXPECT_EQ(row("MinMilHeight")["value"], nullptr);
    EXPECT_EQ(row("MinMilHeight")["inFile"], nullptr);
    EXPECT_EQ(row("Tolerance")["value"], "3");
    EXPECT_EQ(row("Tolerance")["inFile"], nullptr);
    EXPECT_EQ(row("Tolerence")["readWith"], "Tolerance");
}

TEST_F(zuk_settings, shows_no_password)
{
    windows.put("SQLPassword=secret\r\n");
    EXPECT_EQ(run().find("secret"), std::string::npos);
    EXPECT_EQ(run("--json").find("secret"), std::string::npos);
    EXPECT_EQ(row("SQLPassword")["inFile"], "(hidden)");
    windows.put("");
    EXPECT_EQ(row("SQLPassword")["inFile"], nullptr);
}

TEST_F(zuk_settings, is_a_command_of_the_program)
{
    EXPECT_EQ(done({ "settings" }).substr(0, 6), "file  ");
    EXPECT_EQ(nlohmann::json::parse(done({ "settings", "--json" }))["settings"].size(), option_row_count);
    EXPECT_NE(done({ "settings", "--help" }).find("zuk settings --json"), std::string::npos);
    ToolResult result = zuk({ "settings", "more" });
    EXPECT_EQ(result.exit, 2);
}

#ifndef _WIN32

// On Windows the place of the file is the system's own, and no test writes there.
TEST_F(zuk_settings, counts_in_what_the_program_does)
{
    std::string before = getenv("ZUK_CONFIG_DIR");
    setenv("ZUK_CONFIG_DIR", windows.dir.path().c_str(), 1);
    windows.put("MainProduct=1\r\nMinID=50\r\n");
    EXPECT_EQ(nlohmann::json::parse(done({ "settings", "--json" }))["file"], shown(windows.dir));
    done({ "create", "a.dic" });
    done({ "add", "a.dic", "2/100", "--name", "Words" });
    EXPECT_EQ(done({ "next-id", "a.dic", "2/100/1" }), "50\n");
    windows.put("MinID=25000\r\n");
    EXPECT_EQ(done({ "next-id", "a.dic", "2/100/1" }), "25000\n");
    setenv("ZUK_CONFIG_DIR", before.c_str(), 1);
}

#endif

} // namespace zuk
