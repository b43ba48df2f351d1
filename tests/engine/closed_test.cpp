// Every exported operation without an open dictionary: what it answers, and that it looks at no freed memory (which the
// sanitized build finds). The same table of operations is gone through in every state in which a caller can be.

#include "zuk/zuk.h"

#include "engine/dict_set.h"
#include "engine/identifiers.h"
#include "engine/resources.h"
#include "foundation/handles.h"
#include "foundation/pstrings.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zuk {
namespace {

// What a group of operations answers: its status. Those without a status give 0.
struct Answers {
    DictStatus kind1_reads;  // reads of kind 1, by the selector
    DictStatus reads;        // reads of the other kinds, by the other selector
    DictStatus writes;       // all of them, by the other selector
};

constexpr u16 OWN = 9;         // a type that goes by the selector in kind 1
constexpr u16 MAIN_ONLY = 20;  // one that file 0 alone holds

// One call of each reading operation, for a kind and a type.
void expect_reads(i32 kind, u16 type, DictStatus status)
{
    SCOPED_TRACE("kind " + std::to_string(kind) + ", type " + std::to_string(type));
    const DictStatus by_search = DICT_NOT_FOUND;  // a search tells only that it found nothing, whatever the reason
    u32 out = 4711;
    EXPECT_EQ(dd_getresourcehndl(kind, 5, type, 1, 0, &out), 0u);
    EXPECT_EQ(out, status);
    EXPECT_EQ(dd_getresourcehndl(kind, 5, type, 1, READ_NO_REDIRECT, nullptr), 0u);
    EXPECT_EQ(dd_getresourcehndl(kind, 5, type, 0, 0, &out), 0u);
    EXPECT_EQ(out, (DictStatus)DICT_NOT_FOUND);  // the identifier is tested first
    EXPECT_EQ(dd_getnresourcehndl(kind, 5, type, 1, 0, &out), 0u);
    EXPECT_EQ(out, by_search);
    EXPECT_EQ(dd_getnresourcehndl(kind, 5, type, 1, 0, nullptr), 0u);
    EXPECT_EQ(dd_getnamedreshndl(kind, 5, type, Name("name"), 0, &out), 0u);
    EXPECT_EQ(out, by_search);

    Name name("before");
    EXPECT_EQ(dd_getresname(kind, 5, type, 1, name), status);
    EXPECT_EQ(name.str(), status == DICT_NOT_FOUND ? "[Not Found]" : "before");
    name = Name("before");
    EXPECT_EQ(dd_getnresname(kind, 5, type, 1, name), by_search);
    EXPECT_EQ(name.str(), "before");

    EXPECT_EQ(dd_numresources(kind, 5, type), 0);
    EXPECT_EQ(dd_get_resid(kind, 5, type, Name("name")), 0);
    EXPECT_EQ(dd_get_nresid(kind, 5, type, 1), 0);
    EXPECT_EQ(dd_get_resid_pos(kind, 5, type, 1), 0);
    EXPECT_EQ(dd_uniqueid(kind, 5, type), 0);
    EXPECT_EQ(dd_local_uniqueid(kind, 5, type), 0);

    u8 buffer[16];
    EXPECT_EQ(dd_read_into(kind, 5, type, 1, buffer, 0), status);
    EXPECT_EQ(dd_nread_into(kind, 5, type, 1, buffer, 0), by_search);
    EXPECT_EQ(dd_read_named_into(kind, 5, type, Name("name"), buffer, 0), by_search);
}

// The operations of one series, which are all of kind 1 but the first.
void expect_local_reads(const Answers &answers)
{
    Name name("before");
    EXPECT_EQ(dd_local_numres(0, 1, 5, OWN), 0);
    EXPECT_EQ(dd_local_numres(0, 2, 5, OWN), 0);
    EXPECT_EQ(dd_local_get_nresid(0, 5, OWN, 1), 0);
    EXPECT_EQ(dd_local_get_nresid_pos(0, 5, OWN, 1), 0);
    EXPECT_EQ(dd_local_get_nresname(0, 5, OWN, 1, name), answers.kind1_reads);
    EXPECT_EQ(name.str(), "before");
}

void expect_writes(DictStatus status)
{
    for (i32 kind = 1; kind <= 3; kind++) {
        for (u16 type : { OWN, MAIN_ONLY, (u16)2, (u16)23 }) {
            SCOPED_TRACE("kind " + std::to_string(kind) + ", type " + std::to_string(type));
            GHandle body = handle_of("body");
            EXPECT_EQ(dd_add_resource(kind, 5, type, 1, Name("name"), body), status);
            EXPECT_EQ(dd_change_resource(kind, 5, type, 1, Name("name"), body), status);
            EXPECT_EQ(dd_change_resource(kind, 5, type, 1, nullptr, 0), status);
            EXPECT_EQ(dd_remove_resource(kind, 5, type, 1), status);
            EXPECT_EQ(bytes_of(body), "body");  // still the caller's
            gfree(body);

            // The file is sought before name and identifier are tested.
            EXPECT_EQ(dd_add_resource(kind, 5, type, 0, Name("name"), 0), status);
            EXPECT_EQ(dd_add_resource(kind, 5, type, 1, Name(""), 0), status);
            EXPECT_EQ(dd_add_resource(kind, 5, type, 1, nullptr, 0), status);
            EXPECT_EQ(dd_set_resource_flags(kind, 5, type, 1, 1), status);
        }
    }
}

// What does not depend on a dictionary works in every state.
void expect_the_rest()
{
    EXPECT_EQ(dd_get_owner(nullptr, OWN, 1), -1);
    for (u16 type = 52; type <= 54; type++) EXPECT_EQ(dd_get_owner(nullptr, type, 1), 0);
    EXPECT_EQ(dd_choose_owner(3), 3u);
    EXPECT_EQ(dd_choose_owner(0), 0u);

    GHandle handle = galloc(10, nullptr, 1);
    EXPECT_EQ(gsize(handle), 10);
    EXPECT_EQ(grealloc(&handle, 20), 1);
    EXPECT_NE(glock(handle), nullptr);
    gunlock(handle);
    gfree(handle);

    Name text;
    pstrconst(text, "A/B");
    EXPECT_EQ(filename_2_native(text), (PString)text);
    EXPECT_EQ(text.str(), "A\\B");
    EXPECT_EQ(native_2_filename(text), (PString)text);
    EXPECT_EQ(text.str(), "A/B");
    Name copy;
    pstricpy(copy, text, 1, 2);
    pstricat(copy, text, 3, 1);
    EXPECT_EQ(pstricompare(copy, text, 1, 255, 0), 0);
    EXPECT_STREQ((const char *)ptocstr(copy), "A/B");
    ctopstr(copy);
    EXPECT_EQ(pstrnull(copy)[0], 0u);
}

void expect_answers(const Answers &answers)
{
    u32 handles = handles_alive();
    calls_reset();
    expect_reads(1, OWN, answers.kind1_reads);
    expect_reads(2, OWN, answers.reads);
    expect_reads(3, OWN, answers.reads);
    expect_reads(2, 2, answers.reads);
    expect_reads(3, 23, answers.reads);
    expect_local_reads(answers);
    expect_writes(answers.writes);
    expect_the_rest();
    EXPECT_EQ(call_lines(), std::vector<std::string>());  // nothing of it reaches the platform
    EXPECT_EQ(handles_alive(), handles);
}

constexpr Answers ALL_CLOSED = { DICT_NOT_OPEN, DICT_NOT_OPEN, DICT_NOT_OPEN };
constexpr Answers NOT_STARTED = { DICT_NOT_STARTED, DICT_NOT_STARTED, DICT_NOT_STARTED };
constexpr Answers NO_FILE_AT_ALL = { DICT_NOT_FOUND, DICT_NOT_FOUND, DICT_NOT_FOUND };

// A dictionary with something in it: memory that must not be looked at once it is closed.
struct Filled : Library {
    explicit Filled(u16 mode = DICT_EXCLUSIVE)
    {
        add_module(2, 5, "five");
        EXPECT_EQ(add(2, 5, OWN, 1, "name", "body"), (DictStatus)DICT_OK);
        EXPECT_EQ(body(2, 5, OWN, 1), "body");
        if (mode != DICT_EXCLUSIVE) reopen(mode);
    }
    void choose(i32 slot, i32 selector, i32 other_selector)
    {
        DictCookie chosen = { .slot = slot, .selector = selector, .other_selector = other_selector };
        EXPECT_EQ(ds_setcurdict(&chosen), (DictStatus)DICT_OK);
    }
};

// ---- No library -----------------------------------------------------------------------------------------------------

void expect_sets_not_started()
{
    TempDir dir;
    DictCookie cookie = { .slot = 1, .selector = 2, .other_selector = 3 };
    EXPECT_EQ(ds_openfile(1, dir.name("a.dic"), DICT_SHARED, 0, &cookie), (DictStatus)DICT_NOT_STARTED);
    EXPECT_EQ(ds_createfile(1, dir.name("a.dic")), (DictStatus)DICT_NOT_STARTED);
    EXPECT_FALSE(dir.has("a.dic"));
    EXPECT_EQ(ds_setcurdict(&cookie), (DictStatus)DICT_NOT_STARTED);
    EXPECT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    EXPECT_EQ(ds_closefile(-1), (DictStatus)DICT_OK);
    EXPECT_EQ(cookie.slot, 1);
    EXPECT_EQ(ds_default_form_cookie(&cookie), 0);
    EXPECT_EQ(cookie.slot, 0);
}

TEST(closed, before_the_start_everything_gives_15_or_0)
{
    ASSERT_EQ(dict_set, nullptr);
    expect_answers(NOT_STARTED);
    expect_sets_not_started();
    dd_term();
    expect_answers(NOT_STARTED);
}

TEST(closed, after_the_end_everything_gives_15_or_0)
{
    Filled library;
    dd_term();
    expect_answers(NOT_STARTED);
    expect_sets_not_started();
}

TEST(closed, after_a_start_that_failed_everything_gives_15_or_0)
{
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(dd_init(), 0);
    EXPECT_TRUE(faults_stop());
    expect_answers(NOT_STARTED);
    expect_sets_not_started();
}

TEST(closed, when_the_set_could_not_grow_everything_gives_15_or_0)
{
    u32 handles = handles_alive();
    EXPECT_EQ(dd_init(), 1);
    EXPECT_EQ(slot_claim(1), (DictStatus)DICT_OK);
    GHandle lost = ghandle(dict_set);
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(ds_openfile(2, Name("none"), DICT_SHARED, 0, nullptr), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    expect_answers(NOT_STARTED);
    expect_sets_not_started();
    dd_term();
    gfree(lost);
    EXPECT_EQ(handles_alive(), handles);
}

// ---- No dictionary --------------------------------------------------------------------------------------------------

TEST(closed, without_a_current_dictionary_everything_gives_3_or_0)
{
    EXPECT_EQ(dd_init(), 1);
    expect_answers(NO_FILE_AT_ALL);
    DictCookie cookie = { .slot = 1, .selector = 1, .other_selector = 1 };
    EXPECT_EQ(ds_default_form_cookie(&cookie), 0);
    EXPECT_EQ(cookie.slot, 0);
    dd_term();
}

TEST(closed, after_the_current_one_is_closed_everything_gives_7_or_0)
{
    for (u16 mode : { (u16)DICT_EXCLUSIVE, (u16)DICT_SHARED, (u16)DICT_READ_ONLY }) {
        Filled library(mode);
        DictFile *file = library.file();
        EXPECT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
        expect_answers(ALL_CLOSED);
        EXPECT_EQ(dd_get_owner(file, OWN, 1), -1);
        EXPECT_EQ(dd_get_owner(file, 52, 1), 0);
        DictCookie cookie = {};
        EXPECT_EQ(ds_default_form_cookie(&cookie), 0);
        EXPECT_EQ(cookie.slot, 1);
        EXPECT_EQ(ds_closefile(1), (DictStatus)DICT_OK);

        library.reopen(mode);  // and nothing has suffered
        EXPECT_EQ(library.body(2, 5, OWN, 1), "body");
    }
}

TEST(closed, after_an_open_that_failed_everything_gives_7_or_0)
{
    Filled library;
    for (const Name &path : { library.dir.name("none"), library.dir.put("text", "Dear Sir or Madam,"), library.path }) {
        DictCookie cookie = { .slot = 1, .selector = 1, .other_selector = 1 };
        EXPECT_NE(ds_openfile(2, path, DICT_SHARED, 0, &cookie), (DictStatus)DICT_OK) << path.str();
        EXPECT_EQ(cookie.slot, 0);
        expect_answers(ALL_CLOSED);
        EXPECT_EQ(ds_setcurdict(&cookie), (DictStatus)DICT_NOT_FOUND);  // a cleared cookie names nothing
    }
    EXPECT_EQ(ds_setcurdict(&library.cookie), (DictStatus)DICT_OK);
    EXPECT_EQ(library.body(2, 5, OWN, 1), "body");
}

TEST(closed, in_a_free_slot_everything_gives_7_or_0)
{
    Filled library;
    EXPECT_EQ(ds_createfile(2, library.dir.name("b.dic")), (DictStatus)DICT_OK);  // has left a free slot
    library.choose(2, 0, 0);
    expect_answers(ALL_CLOSED);
}

// ---- No such file of the dictionary ---------------------------------------------------------------------------------

TEST(closed, with_selector_1_reads_of_kind_1_give_7_and_the_rest_works)
{
    Filled library;
    library.choose(1, 1, 0);
    expect_reads(1, OWN, DICT_NOT_OPEN);
    expect_reads(1, 53, DICT_NOT_OPEN);
    Name name("before");
    EXPECT_EQ(dd_local_get_nresname(0, 5, OWN, 1, name), (DictStatus)DICT_NOT_OPEN);
    EXPECT_EQ(library.body(1, 5, MAIN_ONLY, 1), "<status 3>");  // file 0, which is open and has none
    EXPECT_EQ(library.body(2, 5, OWN, 1), "body");
    EXPECT_EQ(library.add(2, 5, OWN, 2, "second", "another"), (DictStatus)DICT_OK);
    EXPECT_EQ(library.body(2, 5, OWN, 2), "another");
    DictCookie cookie;
    EXPECT_EQ(ds_default_form_cookie(&cookie), 0);
}

TEST(closed, with_selector_7_reads_of_kind_1_give_3_and_the_rest_works)
{
    Filled library;
    for (i32 selector : { 7, 3, -1 }) {
        library.choose(1, selector, 0);
        expect_reads(1, OWN, DICT_NOT_FOUND);
        Name name("before");
        EXPECT_EQ(dd_local_get_nresname(0, 5, OWN, 1, name), (DictStatus)DICT_NOT_FOUND);
        EXPECT_EQ(library.body(1, 5, MAIN_ONLY, 1), "<status 3>");
        EXPECT_EQ(library.body(2, 5, OWN, 1), "body");
        EXPECT_EQ(library.change(2, 5, OWN, 1, "name", "body"), (DictStatus)DICT_OK);
    }
}

TEST(closed, with_other_selector_1_everything_but_reads_of_kind_1_gives_7)
{
    Filled library;
    library.choose(1, 0, 1);
    expect_reads(2, OWN, DICT_NOT_OPEN);
    expect_reads(3, OWN, DICT_NOT_OPEN);
    expect_writes(DICT_NOT_OPEN);
    u32 status = 0;
    EXPECT_EQ(dd_getresourcehndl(1, 5, OWN, 1, 0, &status), 0u);
    EXPECT_EQ(status, (DictStatus)DICT_NOT_FOUND);  // file 0 is asked, and has none
}

TEST(closed, with_other_selector_7_everything_but_reads_of_kind_1_gives_3)
{
    Filled library;
    library.choose(1, 0, 7);
    expect_reads(2, OWN, DICT_NOT_FOUND);
    expect_reads(3, OWN, DICT_NOT_FOUND);
    expect_writes(DICT_NOT_FOUND);
}

TEST(closed, with_selectors_7_everything_gives_3_but_for_main_only_types)
{
    Filled library;
    library.choose(1, 7, 7);
    expect_answers(NO_FILE_AT_ALL);
    EXPECT_EQ(dd_numresources(2, 5, MAIN_ONLY), 0);
}

TEST(closed, a_file_lost_in_the_midst_of_a_write_gives_7)
{
    Filled library;
    EXPECT_EQ(library.add(2, 5, OWN, 2, "second", std::string(100, 'x')), (DictStatus)DICT_OK);
    faults_start({ .call = FAULT_OPEN });
    for (i32 module = 6; module < 100 && dict_file_is_open(library.file()); module++) {  // until the file has to grow
        (void)dd_add_resource(2, module, 2, (i16)module, Name("module " + std::to_string(module)), 0);
    }
    EXPECT_TRUE(faults_stop());
    expect_answers(ALL_CLOSED);
    library.reopen(DICT_EXCLUSIVE);
    EXPECT_EQ(library.body(2, 5, OWN, 1), "body");
    EXPECT_EQ(library.body(2, 5, OWN, 2), std::string(100, 'x'));
}

} // namespace
} // namespace zuk
