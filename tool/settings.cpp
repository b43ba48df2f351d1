// zuk settings: the settings file, and every option with what holds at the moment.

#include "settings/options.h"
#include "tool/commands.h"
#include "tool/escape.h"
#include "tool/json.h"
#include "tool/messages.h"
#include "tool/paths.h"
#include "tool/table.h"
#include "tool/terminal.h"

#include <algorithm>

namespace zuk::tool {

// ---- What there is to tell ------------------------------------------------------------------------------------------

struct FoundFile {
    std::string path;       // empty if the system tells no place
    bool beside_program, exists;
};

static FoundFile find_file()
{
    SettingsPlace place;
    settings_place(&place);
    std::string path = place.path;
    std::replace(path.begin(), path.end(), '\\', (char)fs::path::preferred_separator);
    return { path, place.beside_module, !path.empty() && path_kind(path) != PathKind::nothing };
}

struct Setting {
    const OptionRow *row;
    bool has_text;
    std::string text;       // as the file has it
    bool has_value;         // else whoever asks brings the default along
    std::string value;
};

static std::string bytes_of(ConstPString string) { return std::string((const char *)string + 1, string[0]); }

static bool is_secret(const OptionRow &row) { return row.key == std::string("SQLPassword"); }

static Setting read_setting(const OptionRow &row)
{
    Setting setting = { &row, false, "", true, "" };
    u8 text[PSTRING_SIZE];
    setting.has_text = settings_get_text(row.key, text, sizeof text) != 0;
    setting.text = bytes_of(text);
    if (row.value) {
        setting.value = std::to_string(row.value());
    } else if (row.asked) {
        // What comes from the file does not depend on the default.
        i16 value = row.asked(0);
        setting.has_value = value == row.asked(1);
        setting.value = setting.has_value ? std::to_string(value) : "";
    } else {
        (void)row.text(text, sizeof text);  // a default stands there, too
        setting.value = bytes_of(text);
    }
    if (is_secret(row) && setting.has_text) setting.text = setting.value = "(hidden)";
    return setting;
}

static std::vector<Setting> read_settings()
{
    std::vector<Setting> settings;
    for (u32 i = 0; i < option_row_count; i++) settings.push_back(read_setting(option_rows[i]));
    auto lower = [](const Setting &setting) {
        std::string key = setting.row->key;
        for (char &character : key) character = (char)ascii_lower((u8)character);
        return key;
    };
    std::sort(settings.begin(), settings.end(),
              [&](const Setting &one, const Setting &other) { return lower(one) < lower(other); });
    return settings;
}

static const char *kind_name(OptionKind kind)
{
    switch (kind) {
    case OPTION_BOOLEAN: return "boolean";
    case OPTION_NUMBER: return "number";
    case OPTION_POSITIVE: return "positive";
    case OPTION_TEXT: return "text";
    default: return "word";
    }
}

// ---- Telling it -----------------------------------------------------------------------------------------------------

static void print_json(const FoundFile &file, const std::vector<Setting> &settings)
{
    Json rows = Json::array();
    for (const Setting &setting : settings) {
        const OptionRow &row = *setting.row;
        Json json = { { "key", row.key }, { "kind", kind_name(row.kind) }, { "default", nullptr },
                      { "value", nullptr }, { "inFile", nullptr }, { "cached", row.cached } };
        if (row.default_text) json["default"] = row.default_text;
        if (setting.has_value) json["value"] = escape(setting.value);
        if (setting.has_text) json["inFile"] = escape(setting.text);
        if (row.first) json["readWith"] = row.first;
        rows.push_back(json);
    }
    put_json({ { "file", file.path }, { "besideProgram", file.beside_program }, { "exists", file.exists },
               { "settings", rows } });
}

static void print_text(const FoundFile &file, const std::vector<Setting> &settings)
{
    std::string where = file.beside_program ? ", beside the program" : file.exists ? "" : ", which is not there";
    put("file  " + (file.path.empty() ? std::string("(this system tells no place for it)") : file.path + where) + "\n");

    std::vector<Row> rows;
    for (const Setting &setting : settings) {
        const OptionRow &row = *setting.row;
        std::string default_text = row.first ? "with " + std::string(row.first)
                                   : row.default_text ? row.default_text : "(caller's)";
        rows.push_back({ row.key, kind_name(row.kind), default_text,
                         setting.has_value ? escape(setting.value) : "(caller's)", escape(setting.text) });
    }
    print_table({ { "KEY" }, { "KIND" }, { "DEFAULT" }, { "VALUE" }, { "IN THE FILE" } }, rows);
}

void declare_settings(CLI::App &app, Work &chosen)
{
    auto json = std::make_shared<bool>(false);
    CLI::App *command = declare(app, "settings", "List the options of the installation, and where their file is.",
                                "  zuk settings\n"
                                "  zuk settings --json");
    command->add_flag("--json", *json, "as JSON");
    command->callback([json, &chosen] {
        chosen = [json] {
            FoundFile file = find_file();
            std::vector<Setting> settings = read_settings();
            if (*json) print_json(file, settings);
            else print_text(file, settings);
            return EXIT_DONE;
        };
    });
}

} // namespace zuk::tool
