#include "tests/support/dictionary.h"

#include "foundation/handles.h"

#include <cstring>
#include <gtest/gtest.h>

namespace zuk {

// ---- Handles as text ------------------------------------------------------------------------------------------------

GHandle handle_of(const std::string &bytes)
{
    GHandle handle = galloc((i32)bytes.size(), nullptr, 0);
    if (!bytes.empty()) memcpy(glock(handle), bytes.data(), bytes.size());
    return handle;
}

std::string bytes_of(GHandle handle)
{
    const char *data = (const char *)glock(handle);
    return data ? std::string(data, (size_t)gsize(handle)) : std::string();
}

std::string take(GHandle handle)
{
    std::string bytes = bytes_of(handle);
    gfree(handle);
    return bytes;
}

// ---- A file below the set -------------------------------------------------------------------------------------------

BareDictionary::BareDictionary(u16 mode) : path(dir.name("a.dic")), file{}
{
    EXPECT_EQ(dict_file_create(path), (DictStatus)DICT_OK);
    open(mode);
}

BareDictionary::~BareDictionary() { close(); }

void BareDictionary::close() { (void)dict_file_close(&file); }

void BareDictionary::open(u16 mode)
{
    EXPECT_EQ(dict_file_open(&file, path, mode, 0), (DictStatus)DICT_OK);
}

std::string BareDictionary::bytes() const { return dir.content("a.dic"); }

AfterACrash::AfterACrash(const BareDictionary &from) : AfterACrash(from.bytes()) {}

AfterACrash::AfterACrash(const std::string &bytes) : path(dir.put("crash.dic", bytes)), file{}
{
    status = dict_file_open(&file, path, DICT_EXCLUSIVE, 0);
}

AfterACrash::~AfterACrash() { (void)dict_file_close(&file); }

// ---- What stands in a file ------------------------------------------------------------------------------------------

BlockEntry entry_of(DictFile *file, u32 block)
{
    BlockEntry entry = {};
    EXPECT_EQ(block_read_entry(file, block - 1, &entry), (DictStatus)DICT_OK) << "block " << block;
    return entry;
}

std::string block_bytes(DictFile *file, u32 block)
{
    BlockEntry entry = entry_of(file, block);
    std::string bytes(le_get(entry.size) - le_get(entry.free), '\0');
    EXPECT_EQ(dict_read_at(file, le_get(entry.offset), bytes.data(), (i32)bytes.size()), (DictStatus)DICT_OK);
    return bytes;
}

u32 u16_at(const std::string &bytes, size_t offset)
{
    Le16 value = {};
    EXPECT_LE(offset + sizeof value, bytes.size());
    if (offset + sizeof value <= bytes.size()) memcpy(&value, bytes.data() + offset, sizeof value);
    return le_get(value);
}

u32 u32_at(const std::string &bytes, size_t offset)
{
    Le32 value = {};
    EXPECT_LE(offset + sizeof value, bytes.size());
    if (offset + sizeof value <= bytes.size()) memcpy(&value, bytes.data() + offset, sizeof value);
    return le_get(value);
}

// ---- Through the exported interface ---------------------------------------------------------------------------------

Library::Library(u16 mode) : path(dir.name("a.dic")), cookie{}, alive_before(handles_alive()), lost(0)
{
    (void)dd_choose_owner(0);   // the choice of the test before outlives its library
    EXPECT_EQ(dd_init(), 1);
    EXPECT_EQ(ds_createfile(1, path), (DictStatus)DICT_OK);
    EXPECT_EQ(ds_openfile(1, path, mode, 0, &cookie), (DictStatus)DICT_OK);
}

Library::~Library()
{
    dd_term();
    EXPECT_EQ(handles_alive(), alive_before + lost) << "handles left alive";
}

void Library::add_module(i32 kind, i32 module, const std::string &name)
{
    EXPECT_EQ(dd_add_resource(kind, module, 2, (i16)module, Name(name), 0), (DictStatus)DICT_OK);
}

DictStatus Library::add(i32 kind, i32 module, u16 type, i16 id, const std::string &name, const std::string &body)
{
    GHandle handle = handle_of(body);
    DictStatus status = dd_add_resource(kind, module, type, id, Name(name), handle);
    gfree(handle);
    return status;
}

DictStatus Library::change(i32 kind, i32 module, u16 type, i32 id, const std::string &name, const std::string &body)
{
    GHandle handle = handle_of(body);
    DictStatus status = dd_change_resource(kind, module, type, id, Name(name), handle);
    gfree(handle);
    return status;
}

std::string Library::body(i32 kind, i32 module, u16 type, u16 id)
{
    u32 status = 0;
    GHandle handle = dd_getresourcehndl(kind, module, type, id, 0, &status);
    return handle ? take(handle) : "<status " + std::to_string(status) + ">";
}

std::string Library::name(i32 kind, i32 module, u16 type, u16 id)
{
    Name out;
    (void)dd_getresname(kind, module, type, id, out);
    return out.str();
}

DictFile *Library::file() { return dict_file_at(cookie.slot, 0); }

std::string Library::bytes() const { return dir.content("a.dic"); }

void Library::reopen(u16 mode)
{
    EXPECT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    EXPECT_EQ(ds_openfile(1, path, mode, 0, &cookie), (DictStatus)DICT_OK);
}

void Library::expect_lost(u32 handles) { lost += handles; }

} // namespace zuk
