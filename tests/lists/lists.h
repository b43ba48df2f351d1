// Lists for tests: of both kinds, filled, checked for what they leave behind when they go.
#pragma once

#include "foundation/handles.h"
#include "lists/disk_list.h"
#include "lists/memory_list.h"
#include "platform/file_rows.h"
#include "tests/support/faults.h"
#include "tests/support/temp_dir.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace zuk {

// While this is there, temporary files come into a fresh directory.
class TemporaryFiles {
public:
    TemporaryFiles() : before(platform_directories), table(*platform_directories)
    {
        around = this;
        table.temporary = in_this_directory;
        platform_directories = &table;
    }
    ~TemporaryFiles()
    {
        platform_directories = before;
        around = nullptr;
    }
    TemporaryFiles(const TemporaryFiles &) = delete;
    TemporaryFiles &operator=(const TemporaryFiles &) = delete;

    std::vector<std::string> names() const
    {
        std::vector<std::string> found;
        for (const auto &entry : std::filesystem::directory_iterator(dir.path())) {
            found.push_back(entry.path().filename().string());
        }
        return found;
    }
    size_t count() const { return names().size(); }

    TempDir dir;

private:
    static u32 in_this_directory(char path[PLATFORM_PATH_SIZE])
    {
        u32 error = around->before->temporary(path);  // so that the call is counted, and can fail
        if (error) return error;
        std::string text = (around->dir.path() / "").string();
        memcpy(path, text.c_str(), text.size() + 1);
        return PLATFORM_OK;
    }

    static inline TemporaryFiles *around;
    const PlatformDirectories *before;
    PlatformDirectories table;
};

// Fails the test if something that came alive in between is still there at the end.
class NothingLeft {
public:
    NothingLeft() : handles(handles_alive()), files(file_rows_open) {}
    ~NothingLeft()
    {
        EXPECT_EQ(handles_alive(), handles + expected_handles) << "handles left";
        EXPECT_EQ(file_rows_open, files) << "files left open";
    }
    void expect_handles(u32 lost) { expected_handles = lost; }

private:
    u32 handles, files;
    u32 expected_handles = 0;
};

// How a list is made; 0 for what the attributes are by themselves.
struct Shape {
    const char *name;
    i32 kind;
    i32 unit;
    i32 frames;
};
constexpr Shape MEMORY = { "memory", GLIST_MEMORY, 0, 0 };
constexpr Shape DISK = { "disk", GLIST_DISK, 0, 0 };
constexpr Shape SMALL_DISK = { "small disk", GLIST_DISK, 8, 2 };   // two i32 a page, two pages in memory

inline GHandle new_attributes(const Shape &shape)
{
    i32 err = 77;
    GHandle attributes = glist_attr_create(shape.kind, 0, &err);
    EXPECT_EQ(err, GLIST_OK);
    if (shape.unit) { EXPECT_EQ(glist_attr_set(&attributes, GLIST_ATTR_UNIT, shape.unit), 1); }
    if (shape.frames) { EXPECT_EQ(glist_attr_set(&attributes, GLIST_ATTR_FRAMES, shape.frames), 1); }
    return attributes;
}

inline GHandle new_list(const Shape &shape, i32 element_size, i32 *err)
{
    GHandle attributes = new_attributes(shape);
    GHandle list = glist_create(element_size, attributes, nullptr, err);
    glist_attr_dispose(attributes);
    return list;
}

// A list of i32.
class List {
public:
    explicit List(const Shape &of = MEMORY, const std::vector<i32> &values = {}) : shape(of)
    {
        i32 err = 77;
        handle = new_list(of, (i32)sizeof(i32), &err);
        EXPECT_EQ(err, GLIST_OK);
        for (i32 value : values) EXPECT_EQ(append(value), 1);
        EXPECT_EQ(seek(0), 1);
    }
    ~List() { glist_dispose(handle); }
    List(const List &) = delete;
    List &operator=(const List &) = delete;

    operator GHandle() const { return handle; }

    i16 seek(i32 position, GHandle cursor = 0) { return glist_seek(handle, cursor, position); }
    i32 tell(GHandle cursor = 0) { return glist_tell(handle, cursor); }
    i32 error(GHandle cursor = 0) { return glist_cursor_error(handle, cursor); }
    i32 count() { return glist_count(handle, 0); }
    i16 append(i32 value, GHandle cursor = 0) { return glist_append(handle, cursor, &value, 1, 0); }
    i16 append_all(const std::vector<i32> &values)
    {
        return glist_append(handle, 0, values.data(), (i32)values.size(), 0);
    }
    i16 insert(i32 value, GHandle cursor = 0) { return glist_insert(handle, cursor, &value, 1, 0); }
    i16 replace(i32 value, GHandle cursor = 0) { return glist_replace(handle, cursor, &value); }
    i16 remove(GHandle cursor = 0) { return glist_delete(handle, cursor); }

    // The element at a position, or -1; through a cursor of its own.
    i32 at(i32 position)
    {
        i32 value = -1;
        GHandle own = cursor();
        if (!glist_get_at(handle, own, position, &value)) value = -1;
        glist_cursor_dispose(handle, own);
        return value;
    }
    std::vector<i32> values()
    {
        std::vector<i32> all;
        i32 n = glist_count(handle, 0);
        for (i32 i = 1; i <= n; i++) all.push_back(at(i));
        return all;
    }
    GHandle cursor()
    {
        i32 err = 0;
        GHandle made = glist_cursor_create(handle, &err);
        EXPECT_NE(made, 0u);
        return made;
    }

    Glist *record() { return (Glist *)glock(handle); }
    void *state() { return glist_state(record()); }
    GlistMemoryState *memory() { return (GlistMemoryState *)state(); }
    GlistDiskState *disk() { return (GlistDiskState *)state(); }
    PageStore *store() { return &disk()->store; }

    Shape shape;
    GHandle handle;
};

// Run a test over a memory list, a disk list and a disk list that has to move pages all the time, each with these
// values and its cursor at 0. Afterwards nothing may be left.
inline void on_each_kind(const std::vector<i32> &values, const std::function<void(List &)> &test)
{
    for (const Shape &shape : { MEMORY, DISK, SMALL_DISK }) {
        SCOPED_TRACE(shape.name);
        TemporaryFiles files;
        {
            NothingLeft nothing;
            List list(shape, values);
            test(list);
        }
        EXPECT_EQ(files.count(), 0u) << "temporary files left";
    }
}

// While this is there, the block is away that the elements of a memory list are in, or the table of a disk list: no
// element can be locked.
class WithoutElements {
public:
    explicit WithoutElements(List &list)
    {
        GHandle table = list.shape.kind == GLIST_MEMORY ? list.handle : list.disk()->table;
        state = (GlistMemoryState *)glist_state((Glist *)glock(table));
        data = state->data;
        state->data = 0;
    }
    ~WithoutElements() { state->data = data; }
    WithoutElements(const WithoutElements &) = delete;
    WithoutElements &operator=(const WithoutElements &) = delete;

private:
    GlistMemoryState *state;
    GHandle data;
};

// ---- Callbacks ------------------------------------------------------------------------------------------------------

inline i16 equals(void *element, intptr_t data)
{
    i32 value;
    memcpy(&value, element, sizeof value);
    return value == data;
}

inline i16 is_multiple(void *element, intptr_t data)
{
    i32 value;
    memcpy(&value, element, sizeof value);
    return value % data == 0;
}

} // namespace zuk
