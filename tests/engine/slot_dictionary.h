// The exported operations on a file of exact places: slot 1 of a started library, whose file 0 is opened below the
// lifecycle, so that no core tables are loaded or made. Block numbers, offsets and sizes are those of a file that
// nobody else has written to.
#pragma once

#include "engine/core_tables.h"
#include "engine/cookies.h"
#include "engine/directory.h"
#include "engine/locks.h"
#include "engine/resources.h"
#include "foundation/handles.h"
#include "foundation/pstrings.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>

namespace zuk {

constexpr i32 SLOT = 1;

class SlotDictionary {
public:
    // A new dictionary.
    explicit SlotDictionary(u16 mode = DICT_EXCLUSIVE) : SlotDictionary([this] { create(); }, mode)
    {
        EXPECT_EQ(status, (DictStatus)DICT_OK);
    }

    // A file with these bytes, sound or not; `status` is that of the open.
    explicit SlotDictionary(const std::string &content, u16 mode = DICT_EXCLUSIVE)
        : SlotDictionary([&] { (void)dir.put("a.dic", content); }, mode) {}

    ~SlotDictionary() { EXPECT_EQ(stop(), lost) << "handles left alive"; }
    SlotDictionary(const SlotDictionary &) = delete;
    SlotDictionary &operator=(const SlotDictionary &) = delete;

    DictFile *file() const { return dict_file_at(SLOT, 0); }
    operator DictFile *() const { return file(); }
    DictFile *operator->() const { return file(); }

    void open(u16 mode) { status = dict_file_open(file(), slot_path_at(SLOT, 0), mode, 0); }
    void close() { (void)dict_file_close(file()); }
    void reopen(u16 mode = DICT_EXCLUSIVE)
    {
        close();
        open(mode);
        EXPECT_EQ(status, (DictStatus)DICT_OK);
    }
    // All of the file as it is on disk now. While it is open it is read by its own handle, since nobody else may open
    // it on every target; the engine looks for its place before each read and write.
    std::string bytes() const
    {
        FileHandle handle = file() ? file()->file : 0;
        if (!handle) return dir.content("a.dic");
        i32 size = 0;
        u32 done = 0;
        EXPECT_EQ(native_files.size(handle, &size), (u32)PLATFORM_OK);
        std::string content((size_t)size, '\0');
        EXPECT_EQ(native_files.seek(handle, 0), (u32)PLATFORM_OK);
        EXPECT_EQ(native_files.read(handle, content.data(), (u32)size, &done), (u32)PLATFORM_OK);
        EXPECT_EQ(done, (u32)size);
        return content;
    }

    // A module without any resource.
    void module(i32 kind, i32 number, const std::string &name)
    {
        EXPECT_EQ(module_create(file(), kind, number, Name(name)), (DictStatus)DICT_OK) << name;
    }

    DictStatus add(i32 kind, i32 module, u16 type, i16 id, const std::string &name, const std::string &body)
    {
        GHandle handle = handle_of(body);
        DictStatus result = dd_add_resource(kind, module, type, id, Name(name), handle);
        gfree(handle);
        return result;
    }
    DictStatus change_name(i32 kind, i32 module, u16 type, i32 id, const std::string &name)
    {
        return dd_change_resource(kind, module, type, id, Name(name), 0);
    }
    DictStatus change_body(i32 kind, i32 module, u16 type, i32 id, const std::string &body)
    {
        GHandle handle = handle_of(body);
        DictStatus result = dd_change_resource(kind, module, type, id, nullptr, handle);
        gfree(handle);
        return result;
    }

    std::string body(i32 kind, i32 module, u16 type, u16 id)
    {
        u32 result = 0;
        GHandle handle = dd_getresourcehndl(kind, module, type, id, 0, &result);
        return handle ? take(handle) : "<status " + std::to_string(result) + ">";
    }
    std::string name(i32 kind, i32 module, u16 type, u16 id)
    {
        Name out;
        DictStatus result = dd_getresname(kind, module, type, id, out);
        return result ? "<status " + std::to_string(result) + ">" : out.str();
    }

    // An empty core table in memory, unless there is one.
    void core_table(u16 type, i32 range = 0)
    {
        if (!file()->core_tables) { EXPECT_EQ(core_tables_init(file()), (DictStatus)DICT_OK); }
        if (core_table_at(file(), type, range)) return;
        i32 capacity = core_table_size(type);
        std::string table(sizeof(CoreTable) + (size_t)capacity + 2, '\0');
        CoreTable head = { .capacity = le_i32(capacity), .free_count = le_i32(capacity), .reserved = {} };
        table.replace(0, sizeof head, (const char *)&head, sizeof head);
        for (i32 p = 0; p <= capacity; p++) table[sizeof head + (size_t)p] = CORE_FREE;
        core_table_attach(file(), type, range, handle_of(table));
    }

    // The same, and the resource that `core_table_write` changes.
    void stored_core_table(u16 type, i32 range = 0)
    {
        core_table(type, range);
        GHandle table = gdup(file()->core_tables[type].handles[range]);
        std::string table_name = "table " + std::to_string(type) + "/" + std::to_string(range);
        EXPECT_EQ(dd_add_resource(1, 10, (u16)(52 + range), (i16)type, Name(table_name), table), (DictStatus)DICT_OK);
        gfree(table);
    }

    // Stop the library; how many handles are left alive that were not so before. The end expects those that an
    // operation loses by design.
    u32 stop()
    {
        if (dict_set) dd_term();
        (void)dd_choose_owner(0);
        return handles_alive() - alive_before;
    }
    // After `stop`, with what stands in the file now.
    void start(u16 mode = DICT_EXCLUSIVE)
    {
        alive_before = handles_alive();
        lost = 0;
        EXPECT_EQ(dd_init(), 1);
        (void)dd_choose_owner(0);
        EXPECT_EQ(slot_claim(1), (DictStatus)DICT_OK);
        slot_set_path(1, 0, path);
        DictCookie cookie = { SLOT, 0, 0 };
        EXPECT_EQ(ds_setcurdict(&cookie), (DictStatus)DICT_OK);
        open(mode);
    }
    void expect_lost(u32 handles) { lost += handles; }

    TempDir dir;
    Name path;
    DictStatus status;    // of the last open

private:
    SlotDictionary(const std::function<void()> &make, u16 mode) : path(dir.name("a.dic")), status(0)
    {
        make();
        start(mode);
    }
    void create() { EXPECT_EQ(dict_file_create(path), (DictStatus)DICT_OK); }

    u32 alive_before = 0;
    u32 lost = 0;
};

// Another workstation on the same file, with a handle of its own.
class OtherStation {
public:
    explicit OtherStation(const SlotDictionary &on) : path(on.path), file{}
    {
        EXPECT_EQ(dict_file_open(&file, path, DICT_SHARED, 0), (DictStatus)DICT_OK);
    }
    ~OtherStation() { leave(); }
    OtherStation(const OtherStation &) = delete;
    OtherStation &operator=(const OtherStation &) = delete;

    // Not by a close, which would write the header.
    void leave()
    {
        if (!file.file) return;
        (void)platform_files->close(file.file);
        file.file = 0;
        (void)dict_file_close(&file);
    }
    void hold_write_lock() { EXPECT_TRUE(write_lock(&file)); }
    void hold_read_lock() { EXPECT_TRUE(read_lock(&file)); }
    operator DictFile *() { return &file; }
    DictFile *operator->() { return &file; }

    Name path;
    DictFile file;
};

} // namespace zuk
