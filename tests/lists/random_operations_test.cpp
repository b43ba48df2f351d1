// Operations at random on a list of each kind, against a model: flags, statuses, cursors, what is read, and for a disk
// list the numbers of its page store, after every operation.
//
// The model of a memory list is a vector. The one of a disk list has pages, frames and a file of its own: it knows that
// what is inserted goes in batches, that a replaced element is lost with its page, and which page has to leave memory.
//
// A run is told by its seed, which a failure shows, and repeats with it on every machine. $ZUK_LIST_SEEDS and
// $ZUK_LIST_OPERATIONS say how many seeds (200) of how many operations (1000), $ZUK_LIST_FIRST which seed is the first
// (1).
#include "files/file.h"
#include "tests/lists/lists.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <random>

namespace zuk {
namespace {

using Bytes = std::string;

// ---- The models -----------------------------------------------------------------------------------------------------

// What a kind does. Positions are from 1 on, and a status is 0 for success.
class Model {
public:
    virtual ~Model() = default;
    virtual i32 count() const = 0;
    virtual i32 write(i32 mode, i32 position, const std::vector<Bytes> &elements) = 0;
    virtual i32 read(i32 position, i32 n, std::vector<Bytes> *elements) = 0;
    virtual i32 remove(i32 position) = 0;
    virtual i32 compact() = 0;
    virtual void walk_begin() {}
    virtual i32 walk_to(i32 position, Bytes *element) = 0;    // as an iterator reads
    virtual void walk_end() {}
    virtual std::vector<i32> numbers() const { return {}; }   // of the page store
};

class MemoryModel : public Model {
public:
    i32 count() const override { return (i32)elements.size(); }

    i32 write(i32 mode, i32 position, const std::vector<Bytes> &added) override
    {
        i32 lowest = mode == 0 ? 0 : 1;
        i32 highest = mode == 1 ? count() + 1 : count();
        if (position < lowest || position > highest) return 11;
        if (mode == 2) {
            elements[(size_t)position - 1] = added[0];
            return 0;
        }
        i32 before = mode == 0 ? position : position - 1;
        elements.insert(elements.begin() + before, added.begin(), added.end());
        return 0;
    }

    i32 read(i32 position, i32 n, std::vector<Bytes> *read) override
    {
        if (position < 1 || position + n - 1 > count()) return 11;
        read->assign(elements.begin() + position - 1, elements.begin() + position - 1 + n);
        return 0;
    }

    i32 remove(i32 position) override
    {
        if (position < 1 || position > count()) return 11;
        elements.erase(elements.begin() + position - 1);
        return 0;
    }

    i32 compact() override { return 0; }

    i32 walk_to(i32 position, Bytes *element) override
    {
        if (position < 1 || position > count()) return 11;
        *element = elements[(size_t)position - 1];
        return 0;
    }

private:
    std::vector<Bytes> elements;
};

class DiskModel : public Model {
public:
    DiskModel(i32 size_of_element, i32 size_of_page, i32 frames_to_make)
        : element_size(size_of_element), page_size(size_of_page), frames_left(frames_to_make) {}

    i32 count() const override { return (i32)table.size(); }

    i32 write(i32 mode, i32 position, const std::vector<Bytes> &added) override
    {
        i32 lowest = mode == 0 ? 0 : 1;
        i32 highest = mode == 1 ? count() + 1 : count();
        if (position < lowest || position > highest) return 11;
        if (mode == 2) {
            Place at = table[(size_t)position - 1];
            Frame *frame;
            i32 status = fetch(at.page, &frame);
            if (status) return status;
            frame->bytes.replace((size_t)at.offset, (size_t)element_size, added[0]);    // and stays as clean as it was
            return 0;
        }
        size_t per_page = (size_t)(page_size / element_size);
        for (size_t i = 0; i < added.size(); i += per_page) {
            size_t end = std::min(added.size(), i + per_page);
            i32 status = insert_batch(mode, position, { added.begin() + (i64)i, added.begin() + (i64)end });
            if (status) return status;
        }
        return 0;
    }

    i32 read(i32 position, i32 n, std::vector<Bytes> *elements) override
    {
        for (i32 i = 0; i < n; i++) {
            Bytes element;
            if (position + i < 1) return 11;
            if (position + i > count()) return 7;
            i32 status = fetch_element(table[(size_t)(position + i) - 1], &element);
            if (status) return status;
            elements->push_back(element);
        }
        return 0;
    }

    i32 remove(i32 position) override
    {
        if (position > count()) return 7;
        if (position < 1) return 11;
        table.erase(table.begin() + position - 1);
        return 0;
    }

    i32 compact() override
    {
        if (frames.empty()) return 16;
        std::vector<Bytes> pages;
        Bytes page((size_t)page_size, 0);
        i32 offset = 0;
        for (Place &at : table) {
            Bytes element;
            i32 status = fetch_element(at, &element);
            EXPECT_EQ(status, 0);
            at = { (i32)pages.size() + 1, offset };
            page.replace((size_t)offset, (size_t)element_size, element);
            offset += element_size;
            if (offset + element_size > page_size) flush(&pages, page, &offset);
        }
        if (offset) flush(&pages, page, &offset);

        i32 left = (i32)pages.size();
        i32 status = 0;
        if (page_count > left) {
            if (page_count > (i32)free_space.size()) status = 7;
            else free_space.resize((size_t)left);
        }
        page_count = file_pages = left;
        file = pages;
        has_file = true;
        if (status) return status;
        for (Frame &frame : frames) {
            frame.page = -1;
            frame.dirty = frame.referenced = false;
        }
        return 0;
    }

    void walk_begin() override { pinned = 0; }

    i32 walk_to(i32 position, Bytes *element) override
    {
        if (position < 1 || position > count() + 1) return 11;
        if (position > count()) return 7;
        Place at = table[(size_t)position - 1];
        if (at.page != pinned) {
            walk_end();
            Frame *frame;
            i32 status = fetch(at.page, &frame);
            if (status) return status;
            frame->pins++;
            pinned = at.page;
        }
        *element = find(pinned)->bytes.substr((size_t)at.offset, (size_t)element_size);
        return 0;
    }

    void walk_end() override
    {
        if (pinned) find(pinned)->pins--;
        pinned = 0;
    }

    std::vector<i32> numbers() const override
    {
        return { page_count, file_pages, frames_left, sweep, (i32)free_space.size(), (i32)frames.size(), has_file };
    }

private:
    struct Place {
        i32 page, offset;
    };
    struct Frame {
        i32 page;
        i32 pins;
        bool dirty, referenced;
        Bytes bytes;
    };

    Frame *find(i32 page)
    {
        for (Frame &frame : frames) {
            if (frame.page == page) return &frame;
        }
        return nullptr;
    }

    // The page in memory, marked as used.
    i32 fetch(i32 page, Frame **frame)
    {
        *frame = find(page);
        if (!*frame) {
            i32 status = frames_left > 0 ? new_frame(frame) : victim(frame);
            if (status) return status;
            if (page <= (i32)file.size()) (*frame)->bytes = file[(size_t)page - 1];
            (*frame)->page = page;
            (*frame)->dirty = false;
            (*frame)->pins = 0;
        }
        (*frame)->referenced = true;
        return 0;
    }

    i32 new_frame(Frame **frame)
    {
        frames_left--;
        frames.push_back({ 0, 0, false, true, Bytes((size_t)page_size, 0) });
        *frame = &frames.back();
        return 0;
    }

    i32 victim(Frame **frame)
    {
        has_file = true;
        i32 total = (i32)frames.size();
        if (sweep > total) sweep = 1;
        for (i32 wraps = 0;;) {
            *frame = &frames[(size_t)sweep++ - 1];
            if (!(*frame)->referenced && (*frame)->pins <= 0) break;
            (*frame)->referenced = false;
            if (sweep > total) {
                sweep = 1;
                if (++wraps == 2) return 15;
            }
        }
        if ((*frame)->dirty) {
            size_t page = (size_t)(*frame)->page;
            while (file.size() < page) file.push_back((*frame)->bytes);    // the gap and the page
            file[page - 1] = (*frame)->bytes;
            file_pages = (i32)file.size();
        }
        return 0;
    }

    i32 fetch_element(Place at, Bytes *element)
    {
        Frame *frame;
        i32 status = fetch(at.page, &frame);
        if (status) return status;
        *element = frame->bytes.substr((size_t)at.offset, (size_t)element_size);
        return 0;
    }

    i32 insert_batch(i32 mode, i32 position, const std::vector<Bytes> &batch)
    {
        i32 need = (i32)batch.size() * element_size;
        auto room = std::find_if(free_space.begin(), free_space.end(), [&](i32 bytes) { return bytes >= need; });
        i32 page = (i32)(room - free_space.begin()) + 1;
        if (room == free_space.end()) {
            free_space.push_back(page_size);
            page = ++page_count;
            if (page > (i32)free_space.size()) return 7;
            if (free_space[(size_t)page - 1] < need) return 1;
        }
        Frame *frame;
        i32 status = fetch(page, &frame);
        if (status) return status;
        frame->dirty = true;
        i32 offset = page_size - free_space[(size_t)page - 1];
        for (size_t i = 0; i < batch.size(); i++) {
            frame->bytes.replace((size_t)offset + i * (size_t)element_size, (size_t)element_size, batch[i]);
        }

        i32 before = position;    // the entries go in front of the one behind so many
        if (count() == 0) before = 0;
        else if (mode == 1 && position > count()) return 7;
        else if (mode == 1) before = position - 1;
        for (size_t i = 0; i < batch.size(); i++) {
            Place at = { page, offset + (i32)i * element_size };
            table.insert(table.begin() + before + (i64)i, at);
        }
        free_space[(size_t)page - 1] -= need;
        return 0;
    }

    void flush(std::vector<Bytes> *pages, const Bytes &page, i32 *offset)
    {
        if (!free_space.empty()) free_space[0] = page_size - *offset;
        pages->push_back(page);
        *offset = 0;
    }

    i32 element_size, page_size, frames_left;
    i32 page_count = 0, file_pages = 0, sweep = 1;
    bool has_file = false;
    i32 pinned = 0;
    std::vector<Place> table;
    std::vector<i32> free_space;
    std::vector<Frame> frames;
    std::vector<Bytes> file;
};

// ---- A run ----------------------------------------------------------------------------------------------------------

i16 begins_with(void *element, intptr_t data) { return *(const u8 *)element == (u8)data; }

class Run {
public:
    Run(i32 of_kind, u32 seed) : kind(of_kind), random(seed)
    {
        element_size = pick({ 1, 4, 7 });
        page_size = element_size * any(1, 5) + any(0, element_size - 1);
        i32 frames = any(1, 4);
        if (kind == GLIST_DISK) model = std::make_unique<DiskModel>(element_size, page_size, frames);
        else model = std::make_unique<MemoryModel>();

        Shape shape = { "", kind, kind == GLIST_DISK ? page_size : any(7, 40), frames };
        i32 err = 77;
        list = new_list(shape, element_size, &err);
        EXPECT_EQ(err, 0);
        cursors[0] = 0;
        cursors[1] = glist_cursor_create(list, nullptr);
    }

    ~Run()
    {
        glist_cursor_dispose(list, cursors[1]);
        glist_dispose(list);
        for (FileHandle file : dropped) EXPECT_EQ(file_close(file), 1);
    }

    void operations(i32 n)
    {
        for (i32 i = 0; i < n && !testing::Test::HasFailure(); i++) {
            which = any(0, 1);
            cursor = cursors[which];
            i32 what = any(0, 99);
            SCOPED_TRACE("operation " + std::to_string(i) + ", choice " + std::to_string(what));
            operation(what);
            EXPECT_EQ(glist_tell(list, cursor), at());
            EXPECT_EQ(glist_count(list, 0), model->count());
            compare_store();
        }
    }

private:
    i32 any(i32 low, i32 high) { return low + (i32)(random() % (u32)(high - low + 1)); }
    i32 pick(std::initializer_list<i32> of) { return of.begin()[any(0, (i32)of.size() - 1)]; }
    i32 &at() { return positions[which]; }

    Bytes some_element()
    {
        Bytes element;
        element += (char)any('a', 'f');
        while ((i32)element.size() < element_size) element += (char)any(0, 255);
        return element;
    }

    // Flag and status of an operation.
    void expect(i16 flag, i32 status)
    {
        EXPECT_EQ(flag, status == 0);
        EXPECT_EQ(glist_cursor_error(list, cursor), status);
    }

    void operation(i32 what)
    {
        bool large = model->count() > 60;
        if (what < 12) large ? remove() : append();
        else if (what < 24) large ? remove() : insert();
        else if (what < 36) replace();
        else if (what < 44) remove();
        else if (what < 64) read();
        else if (what < 76) seek();
        else if (what < 92) find();
        else if (what < 94) delete_matching();
        else if (what < 99) get_at();
        else if (any(0, 9) == 0) compact();
    }

    i32 model_seek(i32 position)
    {
        i32 count = model->count();
        switch (position) {
        case -1: at() = 0; return 0;
        case -2: at() = count + 1; return 0;
        case -3: if (at() >= count) return 7; at()++; return 0;
        case -4: if (at() < 2) return 7; at()--; return 0;
        case -5: at() = count ? 1 : 0; return count ? 0 : 7;
        case -6: at() = count; return count ? 0 : 11;
        default: if (position < 0 || position > count) return 7; at() = position; return 0;
        }
    }

    void seek()
    {
        i32 position = any(0, 1) ? any(-7, -1) : any(0, model->count() + 2);
        expect(glist_seek(list, cursor, position), model_seek(position));
    }

    void append()
    {
        std::vector<Bytes> elements = some_elements();
        i32 before = model->count();
        i32 status = model->write(0, before, elements);
        expect(glist_append(list, cursor, joined(elements).data(), (i32)elements.size(), 0), status);
        if (!status) at() = before + (i32)elements.size();
    }

    void insert()
    {
        std::vector<Bytes> elements = some_elements();
        i32 status = model->write(model->count() > 0 ? 1 : 0, at(), elements);
        expect(glist_insert(list, cursor, joined(elements).data(), (i32)elements.size(), 0), status);
        if (!status) at() += (i32)elements.size();
    }

    void replace()
    {
        Bytes element = some_element();
        i32 status = model->write(2, at(), { element });
        expect(glist_replace(list, cursor, element.data()), status);
    }

    void remove()
    {
        i32 status = model->remove(at());
        expect(glist_delete(list, cursor), status);
        if (!status) at()--;
    }

    // The plan of a read: where from, how many, and where the cursor is afterwards.
    i32 model_read(i32 mode, i32 count, i32 *got, std::vector<Bytes> *elements)
    {
        i32 status = 0, total = model->count(), start, n, after;
        if (mode == 1) status = model_seek(-5);
        if (mode == 2) status = model_seek(-3);
        if (mode == 4) status = model_seek(-2);
        if (status) return status;
        if (mode < 3) {
            start = at();
            n = std::min(count, total - start + 1);
            if (n < 0) return 11;
            after = mode ? start + n - 1 : start;
        } else {
            if (mode == 3 && at() < 2) return 7;
            bool enough = at() - count >= 1;
            start = after = enough ? at() - count : 1;
            n = enough ? count : mode == 3 ? at() : at() - 1;
        }
        *got = n;
        status = model->read(start, n, elements);
        if (!status) at() = after;
        return status;
    }

    void read()
    {
        i32 mode = any(0, 4), count = any(0, 9), got = 77, expected_got = 0;
        std::vector<Bytes> expected;
        i32 status = model_read(mode, count, &expected_got, &expected);
        Bytes buffer((size_t)(count + 1) * (size_t)element_size, '.');
        expect(glist_read(list, cursor, mode, buffer.data(), count, &got), status);
        EXPECT_EQ(got, expected_got);
        EXPECT_EQ(buffer.substr(0, expected.size() * (size_t)element_size), joined(expected));
        EXPECT_EQ(buffer.substr(expected.size() * (size_t)element_size),
                  Bytes(buffer.size() - expected.size() * (size_t)element_size, '.'));
    }

    void get_at()
    {
        i32 position = any(0, model->count() + 1);
        i32 status = model_seek(position);
        Bytes buffer((size_t)element_size, '.'), wanted = buffer;
        if (!status) {
            i32 got;
            std::vector<Bytes> expected;
            status = model_read(0, 1, &got, &expected);
            if (!status && got) wanted = expected[0];
        }
        expect(glist_get_at(list, cursor, position, buffer.data()), status);
        EXPECT_EQ(buffer, wanted);
    }

    void find()
    {
        i32 direction = any(0, 3);
        char wanted = (char)any('a', 'g');
        i32 behind = model->count() + 1;
        i32 step = direction % 2 ? -1 : 1;
        i32 stop = step > 0 ? behind : 0;
        i32 position = direction == 0 ? 0 : direction == 1 ? behind : at();

        i32 status;
        model->walk_begin();
        for (;;) {
            position += step;
            status = 5;
            if (position == stop) break;
            Bytes element;
            status = model->walk_to(position, &element);
            if (status || element[0] == wanted) break;
        }
        model->walk_end();
        if (!status) at() = position;
        expect(glist_find(list, cursor, direction, GLIST_NO_CALLBACK_ID, begins_with, wanted), status);
    }

    void delete_matching()
    {
        char wanted = (char)any('a', 'f');
        i32 removed = 77, expected = 0;
        model->walk_begin();
        at() = 1;
        for (; at() <= model->count(); at()++) {
            Bytes element;
            EXPECT_EQ(model->walk_to(at(), &element), 0);
            if (element[0] != wanted) continue;
            EXPECT_EQ(model->remove(at()), 0);
            at()--;
            expected++;
        }
        model->walk_end();
        expect(glist_delete_matching(list, cursor, GLIST_NO_CALLBACK_ID, begins_with, wanted, &removed), 0);
        EXPECT_EQ(removed, expected);
    }

    void compact()
    {
        i32 status = model->compact();
        FileHandle before = kind == GLIST_DISK ? store()->file : 0;
        EXPECT_EQ(glist_kind_compact(kind, glist_state((Glist *)glock(list))), status);
        // A compaction drops the handle of the old file.
        if (before && store()->file != before) dropped.push_back(before);
    }

    PageStore *store() { return &((GlistDiskState *)glist_state((Glist *)glock(list)))->store; }

    void compare_store()
    {
        if (kind != GLIST_DISK) return;
        const PageStore *s = store();
        std::vector<i32> numbers = { s->page_count, s->file_pages, s->frames_left, s->sweep,
                                     glist_count(s->free_space, 0), glist_count(s->frames, 0), s->file != 0 };
        EXPECT_EQ(numbers, model->numbers());
    }

    std::vector<Bytes> some_elements()
    {
        std::vector<Bytes> elements((size_t)any(0, 3) == 0 ? (size_t)any(2, 12) : 1);
        for (Bytes &element : elements) element = some_element();
        return elements;
    }

    static Bytes joined(const std::vector<Bytes> &elements)
    {
        Bytes all;
        for (const Bytes &element : elements) all += element;
        return all;
    }

    i32 kind;
    std::mt19937 random;
    i32 element_size, page_size;
    std::unique_ptr<Model> model;
    GHandle list;
    GHandle cursors[2];
    i32 positions[2] = { 0, 0 };
    i32 which = 0;
    GHandle cursor = 0;
    std::vector<FileHandle> dropped;
};

i32 setting(const char *name, i32 otherwise)
{
    const char *value = getenv(name);
    return value ? atoi(value) : otherwise;
}

void run_all(i32 kind)
{
    i32 first = setting("ZUK_LIST_FIRST", 1), seeds = setting("ZUK_LIST_SEEDS", 200);
    i32 operations = setting("ZUK_LIST_OPERATIONS", 1000);
    TemporaryFiles files;
    for (i32 seed = first; seed < first + seeds && !testing::Test::HasFailure(); seed++) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        NothingLeft nothing;
        Run run(kind, (u32)seed);
        run.operations(operations);
        calls_reset();    // the log of millions of calls is of no use here
    }
}

TEST(random_list_operations, on_memory_go_as_in_a_vector) { run_all(GLIST_MEMORY); }
TEST(random_list_operations, on_disk_go_as_in_the_model_of_its_pages) { run_all(GLIST_DISK); }

} // namespace
} // namespace zuk
