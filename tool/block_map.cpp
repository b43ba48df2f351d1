#include "tool/block_map.h"

#include "tool/messages.h"
#include "tool/raw_file.h"

#include <algorithm>
#include <cstring>
#include <map>

namespace zuk::tool {

// ---- What the blocks hold -------------------------------------------------------------------------------------------

// The walk over the file's structures, from the block table down to the types.
struct Walk {
    const RawFile &file;
    BlockMap *map;
    std::vector<BlockEntry> entries;
    std::map<u32, std::string> holds;    // by block number
};

static void add_trouble(Walk *walk, const std::string &sentence) { walk->map->troubles.push_back(sentence); }

// Somebody names a block: note it, and whether it is of the type that he expects. The entry, null if there is none.
static const BlockEntry *claim(Walk *walk, u32 block, u16 type, const std::string &what)
{
    if (block == 0 || block > walk->entries.size()) {
        add_trouble(walk, what + ": said to stand in block " + std::to_string(block) + ", which does not exist");
        return nullptr;
    }
    const BlockEntry *entry = &walk->entries[block - 1];
    std::string &holder = walk->holds[block];
    if (!holder.empty()) {
        add_trouble(walk, "block " + std::to_string(block) + " has two uses: " + holder + " and " + what);
    }
    holder = what;
    if (le_get(entry->type) == type) return entry;
    add_trouble(walk, what + ": block " + std::to_string(block) + " is marked as " +
                          word_of_block_type(le_get(entry->type)));
    return nullptr;
}

static void walk_directory(Walk *walk, const ModuleEntry &module)
{
    i32 kind = le_get(module.kind);
    i32 number = le_get(module.module);
    std::string place = std::to_string(kind) + "/" + std::to_string(number);
    const BlockEntry *block = claim(walk, le_get(module.directory_block), BLOCK_DIRECTORY, "directory of " + place);
    if (!block) return;
    std::string bytes = walk->file.read(le_get(block->offset), le_get(block->size));
    ModuleDirectory directory;
    if (!record_at(bytes, 0, &directory)) {
        add_trouble(walk, "the directory of " + place + " is cut off");
        return;
    }
    for (i64 i = 0; i < le_get(directory.type_count); i++) {
        TypeEntry type;
        if (!record_at(bytes, (i64)sizeof directory + i * (i64)sizeof type, &type)) {
            add_trouble(walk, "the directory of " + place + " tells more types than it holds");
            return;
        }
        std::string of_type = place + "/" + std::to_string((u16)le_get(type.type));
        (void)claim(walk, le_get(type.name_block), BLOCK_NAMES, "names of " + of_type);
        (void)claim(walk, le_get(type.body_block), BLOCK_BODIES, "bodies of " + of_type);
    }
}

static void walk_modules(Walk *walk)
{
    const BlockEntry *block = claim(walk, BLOCK_OF_MODULE_TABLE, BLOCK_MODULE_TABLE, "module table");
    if (!block) return;
    std::string bytes = walk->file.read(le_get(block->offset), le_get(block->size));
    ModuleTable table;
    if (!record_at(bytes, 0, &table)) {
        add_trouble(walk, "the module table is cut off");
        return;
    }
    (void)claim(walk, le_get(table.name_block), BLOCK_NAMES, "module names");
    for (i64 i = 0; i < le_get(table.module_count); i++) {
        ModuleEntry module;
        if (!record_at(bytes, (i64)sizeof table + i * (i64)sizeof module, &module)) {
            add_trouble(walk, "the module table tells more modules than it holds");
            return;
        }
        walk_directory(walk, module);
    }
}

static void read_entries(Walk *walk)
{
    const DictHeader &header = walk->map->header;
    i64 wanted = (i64)le_get(header.table_entries);
    std::string bytes = walk->file.read(le_get(header.table_offset), wanted * (i64)sizeof(BlockEntry));
    i64 whole = (i64)(bytes.size() / sizeof(BlockEntry));
    if (whole < wanted) {
        add_trouble(walk, "the header tells " + std::to_string(wanted) +
                              " entries of the block table, and the file holds " + std::to_string(whole));
    }
    walk->entries.resize((size_t)whole);
    for (i64 i = 0; i < whole; i++) (void)record_at(bytes, i * (i64)sizeof(BlockEntry), &walk->entries[(size_t)i]);

    const BlockEntry *own = claim(walk, le_get(header.table_entry) + 1, BLOCK_TABLE, "block table");
    if (own && le_get(own->offset) != le_get(header.table_offset)) {
        add_trouble(walk, "the header and the block table differ on where the table stands");
    }
}

// ---- The map --------------------------------------------------------------------------------------------------------

static MapPiece piece_of(const Walk &walk, u32 block)
{
    const BlockEntry &entry = walk.entries[block - 1];
    i64 size = le_get(entry.size);
    i64 free = le_get(entry.free);
    u16 type = le_get(entry.type);
    MapPiece piece = { .offset = le_get(entry.offset), .size = size, .used = size - free, .block = block,
                       .holds = word_of_block_type(type), .trouble = {} };
    // The first two are all in use, though their entries call them free.
    if (type == BLOCK_MODULE_TABLE || type == BLOCK_TABLE) piece.used = size;
    auto holder = walk.holds.find(block);
    if (holder != walk.holds.end()) piece.holds = holder->second;
    else if (type != BLOCK_FREE) piece.holds += ", of nothing";

    if (free > size) piece.trouble = "more of it is free than it has";
    if (piece.used < 0) piece.used = 0;
    if (piece.offset + size > walk.map->file_size) piece.trouble = "it ends behind the file";
    return piece;
}

// By offset, with the gaps, and with what overlaps told.
static void arrange(Walk *walk, std::vector<MapPiece> pieces)
{
    std::stable_sort(pieces.begin(), pieces.end(),
                     [](const MapPiece &a, const MapPiece &b) { return a.offset < b.offset; });
    i64 end = 0;
    auto add_gap = [&](i64 from, i64 to) {
        if (to > from) {
            walk->map->pieces.push_back({ .offset = from, .size = to - from, .used = 0, .block = 0,
                                          .holds = "no block", .trouble = {} });
        }
    };
    for (MapPiece &piece : pieces) {
        add_gap(end, std::min(piece.offset, walk->map->file_size));
        if (piece.offset < end && piece.trouble.empty()) piece.trouble = "it overlaps what stands before it";
        end = std::max(end, piece.offset + piece.size);
        if (!piece.trouble.empty()) {
            std::string name = piece.block ? "block " + std::to_string(piece.block) : piece.holds;
            add_trouble(walk, name + ": " + piece.trouble);
        }
        walk->map->pieces.push_back(piece);
    }
    add_gap(end, walk->map->file_size);
}

BlockMap read_block_map(const std::string &path)
{
    RawFile file(path, path);
    BlockMap map;
    map.file_size = file.length;
    map.header = read_header(file);

    Walk walk = { .file = file, .map = &map, .entries = {}, .holds = {} };
    read_entries(&walk);
    walk_modules(&walk);

    std::vector<MapPiece> pieces = { { .offset = 0, .size = sizeof(DictHeader), .used = sizeof(DictHeader), .block = 0,
                                       .holds = "header", .trouble = {} } };
    for (u32 block = 1; block <= walk.entries.size(); block++) {
        MapPiece piece = piece_of(walk, block);
        if (piece.size > 0) pieces.push_back(piece);
        else if (le_get(walk.entries[block - 1].type) == BLOCK_FREE) map.empty_entries++;
    }
    arrange(&walk, std::move(pieces));
    return map;
}

} // namespace zuk::tool
