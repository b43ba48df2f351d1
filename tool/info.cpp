// zuk info: the header, counts and sizes of a dictionary; the map of its blocks.

#include "engine/block_table.h"
#include "tool/block_map.h"
#include "tool/commands.h"
#include "tool/dictionary.h"
#include "tool/json.h"
#include "tool/messages.h"
#include "tool/table.h"
#include "tool/terminal.h"

#include <algorithm>
#include <cstring>

namespace zuk::tool {

struct InfoOptions {
    std::string file;
    bool blocks = false, json = false;
};

// ---- Counts and sizes -----------------------------------------------------------------------------------------------

// What the block table says of the file's bytes.
struct Space {
    size_t blocks = 0, pieces = 0, empty_entries = 0;
    u64 block_bytes = 0, unused_bytes = 0, piece_bytes = 0;
    u32 largest_piece = 0;
};

static Space read_space(const Dictionary &dictionary)
{
    Space space;
    u32 entries = le_get(dictionary.file()->header.table_entries);
    for (u32 index = 0; index < entries; index++) {
        BlockEntry entry;
        DictStatus status = block_read_entry(dictionary.file(), index, &entry);
        if (status) {
            fail_with(status, dictionary.shown, "entry " + std::to_string(index) + " of the block table is missing");
        }
        u32 size = le_get(entry.size);
        u16 type = le_get(entry.type);
        if (type != BLOCK_FREE) {
            bool counts_free = type != BLOCK_MODULE_TABLE && type != BLOCK_TABLE;  // these two are all in use
            space.blocks++;
            space.block_bytes += size;
            space.unused_bytes += counts_free ? le_get(entry.free) : 0;
        } else if (size) {
            space.pieces++;
            space.piece_bytes += size;
            space.largest_piece = std::max(space.largest_piece, size);
        } else {
            space.empty_entries++;
        }
    }
    return space;
}

static int show_counts(const InfoOptions &options)
{
    Dictionary dictionary(options.file, DICT_READ_ONLY);
    const DictHeader header = dictionary.file()->header;
    i32 size = dict_length(dictionary.file());
    Space space = read_space(dictionary);
    Counts counts;
    size_t modules_of_kind[4] = {};
    for (const ModuleFacts &module : read_facts(dictionary, {})) {
        count(&counts, module);
        if (module.kind >= 1 && module.kind <= 3) modules_of_kind[module.kind]++;
    }

    Json report = {
        { "file", options.file }, { "bytes", size }, { "version", le_get(header.version) },
        { "changeCount", le_get(header.change_count) },
        { "blockTable", { { "offset", le_get(header.table_offset) }, { "entries", le_get(header.table_entries) },
                          { "freeEntries", le_get(header.free_entries) }, { "emptyEntries", space.empty_entries } } },
        { "modules", { { "all", counts.modules }, { "kind1", modules_of_kind[1] }, { "kind2", modules_of_kind[2] },
                       { "kind3", modules_of_kind[3] } } },
        { "types", counts.types }, { "resources", counts.resources }, { "withBody", counts.bodies },
        { "nameBytes", counts.name_bytes }, { "bodyBytes", counts.body_bytes },
        { "blocks", { { "count", space.blocks }, { "bytes", space.block_bytes },
                      { "unusedBytes", space.unused_bytes } } },
        { "freePieces", { { "count", space.pieces }, { "bytes", space.piece_bytes },
                          { "largest", space.largest_piece } } },
    };
    if (options.json) {
        put_json(report);
        return EXIT_DONE;
    }

    auto line = [](const char *title, const std::string &value) {
        put(std::string(title) + std::string(16 - strlen(title), ' ') + value + "\n");
    };
    auto bytes = [](u64 number) { return std::to_string(number) + (number == 1 ? " byte" : " bytes"); };
    line("file", options.file);
    line("size", bytes((u64)size));
    line("version", std::to_string(le_get(header.version)));
    line("change count", std::to_string(le_get(header.change_count)));
    line("block table", counted(le_get(header.table_entries), "entry", "entries") + " at " +
                            std::to_string(le_get(header.table_offset)) + ", " +
                            std::to_string(le_get(header.free_entries)) + " of them free");
    line("modules", std::to_string(counts.modules) + " (kind 1: " + std::to_string(modules_of_kind[1]) + ", kind 2: " +
                        std::to_string(modules_of_kind[2]) + ", kind 3: " + std::to_string(modules_of_kind[3]) + ")");
    line("types", std::to_string(counts.types));
    line("resources", std::to_string(counts.resources) + ", " + std::to_string(counts.bodies) + " with a body");
    line("names", bytes(counts.name_bytes));
    line("bodies", bytes(counts.body_bytes));
    line("blocks", std::to_string(space.blocks) + " of " + bytes(space.block_bytes) + ", " + bytes(space.unused_bytes) +
                       " unused");
    line("free pieces", std::to_string(space.pieces) + " of " + bytes(space.piece_bytes) + ", the largest of " +
                            bytes(space.largest_piece));
    return EXIT_DONE;
}

// ---- The map of the blocks ------------------------------------------------------------------------------------------

static Json json_of(const BlockMap &map)
{
    Json pieces = Json::array();
    for (const MapPiece &piece : map.pieces) {
        Json row = { { "offset", piece.offset }, { "bytes", piece.size }, { "used", piece.used },
                     { "block", piece.block }, { "holds", piece.holds } };
        if (!piece.trouble.empty()) row["trouble"] = piece.trouble;
        pieces.push_back(row);
    }
    return { { "bytes", map.file_size }, { "version", le_get(map.header.version) },
             { "emptyEntries", map.empty_entries }, { "pieces", pieces }, { "troubles", map.troubles } };
}

static int show_blocks(const InfoOptions &options)
{
    BlockMap map = read_block_map(options.file);
    if (options.json) {
        put_json(json_of(map));
    } else {
        std::vector<Row> rows;
        for (const MapPiece &piece : map.pieces) {
            rows.push_back({ std::to_string(piece.offset), std::to_string(piece.size), std::to_string(piece.used),
                             piece.block ? std::to_string(piece.block) : "",
                             piece.holds + (piece.trouble.empty() ? "" : "  ! " + piece.trouble) });
        }
        print_table({ { "OFFSET", true }, { "BYTES", true }, { "USED", true }, { "BLOCK", true }, { "HOLDS" } }, rows);
    }
    for (const std::string &trouble : map.troubles) say("zuk: " + options.file + ": " + trouble);
    return map.troubles.empty() ? EXIT_DONE : EXIT_DAMAGE;
}

static int run_info(const InfoOptions &options) { return options.blocks ? show_blocks(options) : show_counts(options); }

void declare_info(CLI::App &app, Work &chosen)
{
    auto options = std::make_shared<InfoOptions>();
    CLI::App *command = declare(app, "info", "Tell the header, the counts and the sizes of a dictionary.",
                                "  zuk info orders.dic\n"
                                "  zuk info orders.dic --blocks");
    command->add_option("FILE", options->file, "the dictionary")->required();
    command->add_flag("--blocks", options->blocks,
                      "print the map of its blocks, read from the raw bytes; exit status 1 if they are damaged");
    command->add_flag("--json", options->json, "as JSON");
    command->callback([options, &chosen] { chosen = [options] { return run_info(*options); }; });
}

} // namespace zuk::tool
