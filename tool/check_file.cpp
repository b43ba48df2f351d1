// The check from the header down to the space between the blocks.

#include "tool/check_file.h"

#include "tool/checking.h"
#include "tool/messages.h"

#include <algorithm>

namespace zuk::tool {

constexpr u32 TABLE_ENTRY = BLOCK_OF_BLOCK_TABLE - 1;

static std::string number(i64 value) { return std::to_string(value); }

static std::string name_of_block(u32 block) { return "block " + number(block); }

static std::string span(i64 from, i64 to) { return number(from) + " to " + number(to - 1); }

// ---- What all parts use ---------------------------------------------------------------------------------------------

static void add(std::vector<Finding> *findings, size_t *left_out, i64 offset, const std::string &place,
                const std::string &text)
{
    if (findings->size() < FINDINGS_MAX) findings->push_back({ .offset = offset, .place = place, .text = text });
    else (*left_out)++;
}

void add_fault(Checking *check, i64 offset, const std::string &place, const std::string &text)
{
    add(&check->report->faults, &check->report->faults_left_out, offset, place, text);
}

void add_note(Checking *check, i64 offset, const std::string &place, const std::string &text)
{
    add(&check->report->notes, &check->report->notes_left_out, offset, place, text);
}

std::string read_bytes(Checking *check, i64 offset, i64 count)
{
    if (check->bytes_left < 0) return "";
    check->bytes_left -= count > 0 ? count : 0;
    if (check->bytes_left >= 0) return check->file.read(offset, count);
    check->all_walked = false;
    add_fault(check, offset, "file",
              "its structures tell of more bytes than it has, so that the rest was not looked at");
    return "";
}

i64 offset_of_entry(const Checking &check, u32 block)
{
    return le_get(check.header.table_offset) + ((i64)block - 1) * (i64)sizeof(BlockEntry);
}

// The bytes of a block lie in the file, and its counts can be true.
static bool entry_is_sound(const Checking &check, const BlockEntry &entry)
{
    if (le_get(entry.free) > le_get(entry.size)) return false;
    if (le_get(entry.size) == 0) return true;
    return le_get(entry.offset) >= sizeof(DictHeader) &&
           (i64)le_get(entry.offset) + le_get(entry.size) <= check.file.length;
}

const BlockEntry *claim_block(Checking *check, i64 at, const std::string &place, const std::string &what, u32 block,
                              BlockType type)
{
    std::string said = what + " is said to be block " + number(block);
    if (block == 0 || block > check->entries.size()) {
        add_fault(check, at, place, said + ", and the block table has no such entry");
        check->all_walked = false;
        return nullptr;
    }
    std::string &holder = check->holders[block];
    if (!holder.empty()) {
        add_fault(check, at, place, said + ", which is " + holder);
        check->all_walked = false;
        return nullptr;
    }
    holder = place.find('/') == std::string::npos ? what : what + " of " + place;
    const BlockEntry *entry = &check->entries[block - 1];
    if (le_get(entry->type) != type) {
        add_fault(check, at, place, said + ", which is marked as " + word_of_block_type(le_get(entry->type)));
        check->all_walked = false;
        return nullptr;
    }
    if (entry_is_sound(*check, *entry)) return entry;
    check->all_walked = false;  // the fault was told of the entry
    return nullptr;
}

void check_pieces(Checking *check, std::vector<Piece> pieces, const std::string &what, i64 used,
                  i64 block_offset, const std::string &block_place)
{
    std::stable_sort(pieces.begin(), pieces.end(), [](const Piece &a, const Piece &b) { return a.from < b.from; });
    i64 end = 0, lost = 0, first_lost = -1;
    const Piece *last = nullptr;
    for (const Piece &piece : pieces) {
        if (piece.from == piece.to) continue;
        if (piece.from > end) {
            if (first_lost < 0) first_lost = end;
            lost += piece.from - end;
        }
        if (last && piece.from < end) {
            add_fault(check, piece.at, piece.place,
                      "its " + what + " shares the bytes " +
                          span(block_offset + piece.from, block_offset + std::min(end, piece.to)) + " with that of " +
                          last->place);
        }
        if (piece.to > end) {
            end = piece.to;
            last = &piece;
        }
    }
    if (used > end) {
        if (first_lost < 0) first_lost = end;
        lost += used - end;
    }
    if (lost == 0) return;
    add_note(check, block_offset + first_lost, block_place,
             counted((size_t)lost, "byte") + " in use " + (lost == 1 ? "belongs" : "belong") + " to no " + what);
}

// ---- The header and the block table ---------------------------------------------------------------------------------

static void check_header(Checking *check)
{
    const DictHeader &header = check->header;
    i64 entries = le_get(header.table_entries);
    i64 offset = le_get(header.table_offset);
    if (le_get(header.table_entry) != TABLE_ENTRY) {
        add_fault(check, offsetof(DictHeader, table_entry), "header",
                  "the block table's own entry is said to have the index " + number(le_get(header.table_entry)) +
                      ", and it has 2");
    }
    if (offset < (i64)sizeof(DictHeader)) {
        add_fault(check, offsetof(DictHeader, table_offset), "header",
                  "the block table is said to begin at " + number(offset) + ", in the header itself");
    }
    if (entries == 0 || entries % BLOCK_TABLE_STEP != 0) {
        add_fault(check, offsetof(DictHeader, table_entries), "header",
                  "the block table is said to have " + number(entries) + " entries, and it has a multiple of 256");
    }
    i64 end = offset + entries * (i64)sizeof(BlockEntry);
    if (end > check->file.length) {
        add_fault(check, offsetof(DictHeader, table_offset), "header",
                  "the block table is said to end at " + number(end) + ", behind the file of " +
                      number(check->file.length) + " bytes");
    }
    if (le_get(header.free_entries) > entries) {
        add_fault(check, offsetof(DictHeader, free_entries), "header",
                  number(le_get(header.free_entries)) + " entries are said to be free, of " + number(entries));
    }
}

static void read_entries(Checking *check)
{
    i64 offset = le_get(check->header.table_offset);
    i64 wanted = le_get(check->header.table_entries);
    i64 there = std::max<i64>(0, (check->file.length - offset) / (i64)sizeof(BlockEntry));
    std::string bytes = read_bytes(check, offset, std::min(wanted, there) * (i64)sizeof(BlockEntry));
    check->entries.resize(bytes.size() / sizeof(BlockEntry));
    for (size_t i = 0; i < check->entries.size(); i++) {
        (void)record_at(bytes, (i64)(i * sizeof(BlockEntry)), &check->entries[i]);
    }
}

static void check_entry(Checking *check, u32 block)
{
    const BlockEntry &entry = check->entries[block - 1];
    i64 at = offset_of_entry(*check, block);
    u16 type = le_get(entry.type);
    i64 size = le_get(entry.size);
    i64 free = le_get(entry.free);
    i64 offset = le_get(entry.offset);
    std::string place = name_of_block(block);

    bool is_known = type <= BLOCK_BODIES || type == BLOCK_TABLE;
    if (!is_known) add_fault(check, at, place, "it has the type " + number(type) + ", and there is none");
    if (type == BLOCK_MODULE_TABLE && block != BLOCK_OF_MODULE_TABLE) {
        add_fault(check, at, place, "it is marked as the module table, which is block 1");
    }
    if (type == BLOCK_TABLE && block != BLOCK_OF_BLOCK_TABLE) {
        add_fault(check, at, place, "it is marked as the block table, which is block 3");
    }
    if (type == BLOCK_FREE && free != size) {
        add_fault(check, at + (i64)offsetof(BlockEntry, free), place,
                  "it is free, and " + number(free) + " of its " + number(size) + " bytes are said to be so");
    } else if (free > size) {
        add_fault(check, at + (i64)offsetof(BlockEntry, free), place,
                  number(free) + " of its " + number(size) + " bytes are said to be free");
    }
    if (size == 0) return;
    check->report->blocks += type != BLOCK_FREE;
    if (offset < (i64)sizeof(DictHeader)) {
        add_fault(check, at + (i64)offsetof(BlockEntry, offset), place,
                  "it is said to begin at " + number(offset) + ", in the header");
    }
    if (offset + size > check->file.length) {
        add_fault(check, at + (i64)offsetof(BlockEntry, offset), place,
                  "it is said to end at " + number(offset + size) + ", behind the file of " +
                      number(check->file.length) + " bytes");
    }
}

// The entry that describes the table itself, and how many entries are free.
static void check_table(Checking *check)
{
    i64 free_entries = 0;
    for (u32 block = 1; block <= check->entries.size(); block++) {
        check_entry(check, block);
        free_entries += le_get(check->entries[block - 1].type) == BLOCK_FREE;
    }
    i64 told = le_get(check->header.free_entries);
    bool is_whole = check->entries.size() == le_get(check->header.table_entries);
    if (is_whole && told != free_entries && told <= le_get(check->header.table_entries)) {
        add_note(check, offsetof(DictHeader, free_entries), "header",
                 number(told) + " entries of the block table are said to be free, and " + number(free_entries) +
                     " are");
    }

    i64 at = offset_of_entry(*check, BLOCK_OF_BLOCK_TABLE);
    const BlockEntry *own =
        claim_block(check, at, "block table", "the block table", BLOCK_OF_BLOCK_TABLE, BLOCK_TABLE);
    if (!own) return;
    if (le_get(own->offset) != le_get(check->header.table_offset)) {
        add_fault(check, at + (i64)offsetof(BlockEntry, offset), "block 3",
                  "the block table begins at " + number(le_get(check->header.table_offset)) +
                      " by the header, and at " + number(le_get(own->offset)) + " by its own entry");
    }
    i64 size = (i64)le_get(check->header.table_entries) * (i64)sizeof(BlockEntry);
    if (le_get(own->size) != size) {
        add_fault(check, at + (i64)offsetof(BlockEntry, size), "block 3",
                  "the block table has " + number(size) + " bytes by the header, and " + number(le_get(own->size)) +
                      " by its own entry");
    }
    // A new file tells it as free as a whole, until the table is written for the first time.
    if (le_get(own->free) != 0 && le_get(own->free) != le_get(own->size)) {
        add_fault(check, at + (i64)offsetof(BlockEntry, free), "block 3",
                  "the block table is all in use, and " + number(le_get(own->free)) + " bytes are said to be free");
    }
}

// ---- Space ----------------------------------------------------------------------------------------------------------

// Every byte belongs to one block, and lost bytes are known.
static void check_space(Checking *check)
{
    std::vector<u32> blocks;
    for (u32 block = 1; block <= check->entries.size(); block++) {
        const BlockEntry &entry = check->entries[block - 1];
        bool is_there = le_get(entry.size) > 0 && le_get(entry.offset) < (u32)check->file.length;
        if (is_there) blocks.push_back(block);
    }
    std::stable_sort(blocks.begin(), blocks.end(), [&](u32 a, u32 b) {
        return le_get(check->entries[a - 1].offset) < le_get(check->entries[b - 1].offset);
    });

    i64 end = sizeof(DictHeader);
    u32 last = 0;
    auto lose = [&](i64 from, i64 to) {
        if (to <= from) return;
        add_note(check, from, "space", "the bytes " + span(from, to) + " are in no block and in no free piece");
    };
    for (u32 block : blocks) {
        const BlockEntry &entry = check->entries[block - 1];
        i64 from = le_get(entry.offset);
        i64 to = from + le_get(entry.size);
        lose(end, from);
        if (last && from < end) {
            add_fault(check, offset_of_entry(*check, block) + (i64)offsetof(BlockEntry, offset), name_of_block(block),
                      "it shares the bytes " + span(from, std::min(end, to)) + " with " + name_of_block(last));
        }
        if (to > end) {
            end = to;
            last = block;
        }
    }
    lose(end, check->file.length);
}

// Blocks that hold something which nothing tells of. After a fault on the way they may be its victims, so that it says
// enough.
static void check_reach(Checking *check)
{
    if (!check->all_walked) return;
    for (u32 block = 1; block <= check->entries.size(); block++) {
        const BlockEntry &entry = check->entries[block - 1];
        u16 type = le_get(entry.type);
        bool holds = type == BLOCK_DIRECTORY || type == BLOCK_NAMES || type == BLOCK_BODIES;
        if (!holds || check->holders.count(block)) continue;
        add_note(check, offset_of_entry(*check, block), name_of_block(block),
                 std::string("it is marked as ") + word_of_block_type(type) + ", and nothing leads to its " +
                     counted(le_get(entry.size), "byte"));
    }
}

// ---- The whole ------------------------------------------------------------------------------------------------------

CheckReport check_file(const std::string &path, const std::string &shown)
{
    RawFile file(path, shown);
    CheckReport report;
    report.file_size = file.length;
    Checking check = { .file = file, .report = &report };
    // A sound file is read once, its owners and a few heads a second time.
    check.bytes_left = 4 * (i64)file.length + 4096;
    check.header = read_header(file);
    check_header(&check);
    read_entries(&check);
    check_table(&check);
    check_space(&check);
    check_modules(&check);
    check_reach(&check);
    report.sound_but_for_owners = report.faults.empty();
    check_owners(&check);
    return report;
}

} // namespace zuk::tool
