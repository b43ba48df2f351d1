#include "desktop/value_ref.h"

#include "engine/cookies.h"
#include "foundation/handles.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <set>
#include <stddef.h>
#include <string.h>
#include <string>
#include <utility>

namespace zuk {
namespace {

using Kinds = std::initializer_list<i32>;

constexpr i32 KIND_LAST = 17;

// ---- Fields and bytes of a packed record, by value ------------------------------------------------------------------

i32 kind(const ValueRef &ref) { return ref.kind; }
uintptr_t value(const ValueRef &ref) { return ref.value; }
i16 extra(const ValueRef &ref) { return ref.extra; }
u8 *value_place(ValueRef *ref) { return (u8 *)ref + 4; }

std::string bytes(const ValueRef &ref) { return std::string((const char *)&ref, sizeof ref); }

ValueRef made(i32 kind, uintptr_t value, i16 extra = 0)
{
    ValueRef ref;
    memset((void *)&ref, 0xFF, sizeof ref);
    value_ref_set(&ref, kind, value, extra);
    return ref;
}

// As no operation makes it.
ValueRef raw(i32 kind, uintptr_t value, i16 extra)
{
    ValueRef ref;
    ref.kind = kind;
    ref.value = value;
    ref.extra = extra;
    return ref;
}

uintptr_t resource(u16 type, u16 id) { return (uintptr_t)type | (uintptr_t)id << 16; }

// A cell can stand at any address, since a reference can.
GHandle in_cell(const void *cell)
{
    GHandle handle = 0;
    EXPECT_NE(cell, nullptr);
    if (cell) memcpy(&handle, cell, sizeof handle);
    return handle;
}

std::string text_at(const void *data, size_t size)
{
    return data ? std::string((const char *)data, size) : std::string("<null>");
}

// The resource that a lock has read, whose handle is freed.
std::string take_locked(const void *data) { return data ? take(ghandle(data)) : std::string("<null>"); }

// ---- A value for each kind ------------------------------------------------------------------------------------------

// A dictionary with resources of type 1, and values of every other kind of holding. The handle is freed at the end
// unless a test has had it freed.
class World : public Library {
public:
    World()
    {
        EXPECT_EQ(add(1, 1, 1, 5, "five", "body of five"), 0u);
        EXPECT_EQ(add(1, 1, 9, 300, "nine", "a body of type 9"), 0u);
        handle = handle_of("of a handle");
        inner = text + 5;
        handle_cell = handle;
        memcpy(record + FIELD, &handle, sizeof handle);
        record_at = record + FIELD - OFFSET;
    }
    ~World()
    {
        gfree(handle);
    }

    // A reference of a kind to what it stands for here.
    ValueRef of(i32 kind_made)
    {
        switch (kind_made) {
        case 1: return made(1, 'b');
        case 2: return made(2, 0x3412);
        case 3: return made(3, 0x78563412);
        case 6: return made(6, (uintptr_t)&inner, -5);
        case 7:
        case 9:
        case 13: return made(kind_made, handle);
        case 8:
        case 10:
        case 14: return made(kind_made, resource(1, 5));
        case 15:
        case 16: return made(kind_made, (uintptr_t)&handle_cell);
        case 17: return made(17, (uintptr_t)&record_at, OFFSET);
        default: return made(kind_made, (uintptr_t)text);    // 4, 5, 11, 12
        }
    }
    bool handle_lives() const { return glock(handle) != nullptr; }
    static bool is_resource(i32 which) { return which == 8 || which == 10 || which == 14; }

    static constexpr size_t FIELD = 3;     // odd, so that it is at no address for a handle
    static constexpr i16 OFFSET = -100;    // from the address inside to the field; it may go either way

    char text[12] = "of an array";
    char *inner;
    GHandle handle;
    GHandle handle_cell;
    u8 record[8] = {};
    u8 *record_at;
};

TEST(value_ref, has_every_operation)
{
    void *const operations[] = {
        (void *)value_ref_set,  (void *)value_ref_copy,        (void *)value_ref_equal,
        (void *)value_ref_handle, (void *)value_ref_handle_cell, (void *)value_ref_lock,
        (void *)value_ref_unlock, (void *)value_ref_release,   (void *)value_ref_own,
    };
    std::set<void *> different(std::begin(operations), std::end(operations));
    EXPECT_EQ(different.size(), std::size(operations));
    EXPECT_EQ(different.count(nullptr), 0u);
}

TEST(value_ref, is_packed)
{
    EXPECT_EQ(sizeof(ValueRef), sizeof(void *) == 4 ? 10u : 14u);
    EXPECT_EQ(alignof(ValueRef), 1u);
    EXPECT_EQ(offsetof(ValueRef, kind), 0u);
    EXPECT_EQ(offsetof(ValueRef, value), 4u);
    EXPECT_EQ(offsetof(ValueRef, extra), 4 + sizeof(void *));
}

TEST(value_ref, has_these_kinds)
{
    EXPECT_EQ(VALUE_NONE, 0);
    EXPECT_EQ(VALUE_BYTE, 1);
    EXPECT_EQ(VALUE_WORD, 2);
    EXPECT_EQ(VALUE_LONG, 3);
    EXPECT_EQ(VALUE_POINTER, 4);
    EXPECT_EQ(VALUE_POINTER_TWIN, 5);
    EXPECT_EQ(VALUE_INNER_POINTER, 6);
    EXPECT_EQ(VALUE_LENT, 7);
    EXPECT_EQ(VALUE_RESOURCE, 8);
    EXPECT_EQ(VALUE_OWNED, 9);
    EXPECT_EQ(VALUE_RESOURCE_TWIN, 10);
    EXPECT_EQ(VALUE_POINTER_TO_OWN, 11);
    EXPECT_EQ(VALUE_POINTER_TO_OWN_TWIN, 12);
    EXPECT_EQ(VALUE_LENT_TO_OWN, 13);
    EXPECT_EQ(VALUE_RESOURCE_TO_OWN, 14);
    EXPECT_EQ(VALUE_HANDLE_AT, 15);
    EXPECT_EQ(VALUE_OWNED_AT, 16);
    EXPECT_EQ(VALUE_OWNED_INSIDE, 17);
}

// ---- Setting --------------------------------------------------------------------------------------------------------

TEST(value_ref_set, stores_kind_and_value)
{
    for (i32 k = 1; k <= KIND_LAST; k++) {
        ValueRef ref = made(k, 0x41);
        EXPECT_EQ(kind(ref), k);
        EXPECT_EQ(value(ref), 0x41u);
    }
}

TEST(value_ref_set, of_kind_1_stores_a_byte)
{
    ValueRef ref = made(1, 300);
    EXPECT_EQ(value(ref), 44u);
    EXPECT_EQ(*value_place(&ref), 44);
    EXPECT_EQ(value(made(1, UINTPTR_MAX)), 255u);
}

TEST(value_ref_set, of_kind_2_stores_16_bits)
{
    EXPECT_EQ(value(made(2, 70000)), 70000u - 65536u);
    EXPECT_EQ(value(made(2, UINTPTR_MAX)), 65535u);
}

TEST(value_ref_set, of_a_number_a_handle_or_a_resource_stores_32_bits)
{
    for (i32 k : Kinds{ 3, 7, 8, 9, 10, 13, 14 }) EXPECT_EQ(value(made(k, UINTPTR_MAX)), 0xFFFFFFFFu) << k;
}

TEST(value_ref_set, of_an_address_stores_all_of_it)
{
    for (i32 k : Kinds{ 4, 5, 6, 11, 12, 15, 16, 17 }) EXPECT_EQ(value(made(k, UINTPTR_MAX)), UINTPTR_MAX) << k;
}

TEST(value_ref_set, stores_extra_for_kinds_6_and_17_alone)
{
    for (i32 k = 1; k <= KIND_LAST; k++) EXPECT_EQ(extra(made(k, 1, -2)), k == 6 || k == 17 ? -2 : 0) << k;
}

TEST(value_ref_set, of_an_unknown_kind_clears_all)
{
    const std::string clear(sizeof(ValueRef), '\0');
    for (i32 k : Kinds{ 0, 18, -1, 256 + 7, INT32_MAX, INT32_MIN }) EXPECT_EQ(bytes(made(k, 1234, 5)), clear) << k;
}

TEST(value_ref_set, leaves_null_alone)
{
    value_ref_set(nullptr, 3, 1, 1);
}

TEST(value_ref_set, forgets_what_was_owned)
{
    World world;
    ValueRef ref = world.of(9);
    value_ref_set(&ref, 3, 1, 0);
    EXPECT_TRUE(world.handle_lives());
}

// ---- Copying and comparing ------------------------------------------------------------------------------------------

TEST(value_ref_copy, copies_all_bytes)
{
    ValueRef from = raw(17, (uintptr_t)&from, -2);
    ValueRef to = made(3, 1);
    value_ref_copy(&to, &from);
    EXPECT_EQ(bytes(to), bytes(from));

    ValueRef odd = raw(99, 5, 6);    // also those of no kind
    value_ref_copy(&to, &odd);
    EXPECT_EQ(bytes(to), bytes(odd));
    value_ref_copy(&to, &to);
    EXPECT_EQ(bytes(to), bytes(odd));
}

TEST(value_ref_copy, of_null_clears)
{
    ValueRef to = raw(17, 5, 6);
    value_ref_copy(&to, nullptr);
    EXPECT_EQ(bytes(to), std::string(sizeof(ValueRef), '\0'));
}

TEST(value_ref_copy, to_null_does_nothing)
{
    ValueRef from = made(3, 1);
    value_ref_copy(nullptr, &from);
    value_ref_copy(nullptr, nullptr);
}

TEST(value_ref_equal, compares_all_bytes)
{
    ValueRef a = made(17, 1000, 5);
    ValueRef b = made(17, 1000, 5);
    EXPECT_EQ(value_ref_equal(&a, &b), 1);
    for (size_t i = 0; i < sizeof b; i++) {
        ((u8 *)&b)[i] ^= 1;
        EXPECT_EQ(value_ref_equal(&a, &b), 0) << i;
        ((u8 *)&b)[i] ^= 1;
    }
}

TEST(value_ref_equal, of_a_different_extra_is_0)
{
    ValueRef a = made(6, 1000, 5);
    ValueRef b = made(6, 1000, 6);
    EXPECT_EQ(value_ref_equal(&a, &b), 0);
    ValueRef c = raw(3, 1000, 5);    // also where it counts for nothing
    ValueRef d = raw(3, 1000, 6);
    EXPECT_EQ(value_ref_equal(&c, &d), 0);
}

TEST(value_ref_equal, of_one_reference_is_1)
{
    ValueRef a = made(3, 1);
    EXPECT_EQ(value_ref_equal(&a, &a), 1);
}

TEST(value_ref_equal, with_null_is_0)
{
    ValueRef a = made(3, 1);
    EXPECT_EQ(value_ref_equal(&a, nullptr), 0);
    EXPECT_EQ(value_ref_equal(nullptr, &a), 0);
    EXPECT_EQ(value_ref_equal(nullptr, nullptr), 0);
}

// ---- The handle -----------------------------------------------------------------------------------------------------

TEST(value_ref_handle, of_a_number_or_an_address_is_0)
{
    World world;
    for (i32 k : Kinds{ 1, 2, 3, 4, 5, 6, 11, 12 }) {
        ValueRef ref = world.of(k);
        EXPECT_EQ(value_ref_handle(&ref), 0u) << k;
    }
    ValueRef number = made(3, world.handle);    // though it is the number of one
    EXPECT_EQ(value_ref_handle(&number), 0u);
}

TEST(value_ref_handle, of_a_stored_handle_is_that)
{
    World world;
    for (i32 k : Kinds{ 7, 9, 13, 15, 16, 17 }) {
        ValueRef ref = world.of(k);
        EXPECT_EQ(value_ref_handle(&ref), world.handle) << k;
    }
}

TEST(value_ref_handle, of_a_resource_is_a_new_handle_each_time)
{
    World world;
    for (i32 k : Kinds{ 8, 10, 14 }) {
        ValueRef ref = world.of(k);
        GHandle first = value_ref_handle(&ref);
        GHandle second = value_ref_handle(&ref);
        EXPECT_NE(first, second);
        EXPECT_EQ(take(first), "body of five");
        EXPECT_EQ(take(second), "body of five");
        EXPECT_EQ(bytes(ref), bytes(world.of(k)));    // the reference knows neither
    }
}

TEST(value_ref_handle, takes_twin_kinds_alike)
{
    World world;
    for (Kinds twins : { Kinds{ 4, 5, 11, 12 }, Kinds{ 7, 13 }, Kinds{ 15, 16 } }) {
        std::set<GHandle> handles;
        for (i32 k : twins) {
            ValueRef ref = world.of(k);
            handles.insert(value_ref_handle(&ref));
        }
        EXPECT_EQ(handles.size(), 1u);
    }
    std::set<std::string> bodies;
    for (i32 k : Kinds{ 8, 10, 14 }) {
        ValueRef ref = world.of(k);
        bodies.insert(take(value_ref_handle(&ref)));
    }
    EXPECT_EQ(bodies, (std::set<std::string>{ "body of five" }));
}

TEST(value_ref_handle, of_null_or_an_unknown_kind_is_0)
{
    World world;
    EXPECT_EQ(value_ref_handle(nullptr), 0u);
    for (i32 k : Kinds{ 0, 18, -1, 256 + 7, INT32_MAX, INT32_MIN }) {
        ValueRef ref = raw(k, world.handle, 0);
        EXPECT_EQ(value_ref_handle(&ref), 0u) << k;
    }
}

TEST(value_ref_handle, with_null_on_the_way_is_0)
{
    for (i32 k : Kinds{ 15, 16, 17 }) {
        ValueRef ref = made(k, 0, 4);
        EXPECT_EQ(value_ref_handle(&ref), 0u) << k;
    }
    u8 *inner = nullptr;
    ValueRef ref = made(17, (uintptr_t)&inner, 4);
    EXPECT_EQ(value_ref_handle(&ref), 0u);
}

// ---- Which resource -------------------------------------------------------------------------------------------------

TEST(value_ref_handle, takes_the_type_from_the_low_word_and_the_identifier_from_the_high_one)
{
    World world;
    EXPECT_EQ(world.add(1, 1, 5, 1, "five over", "type 5, identifier 1"), 0u);
    EXPECT_EQ(world.add(1, 1, 60, 32767, "last", "the last identifier"), 0u);
    for (i32 k : Kinds{ 8, 10, 14 }) {
        ValueRef ref = made(k, 5u << 16 | 1u);
        EXPECT_EQ(take(value_ref_handle(&ref)), "body of five");
        ref = made(k, 1u << 16 | 5u);
        EXPECT_EQ(take(value_ref_handle(&ref)), "type 5, identifier 1");
        ref = made(k, 300u << 16 | 9u);
        EXPECT_EQ(take(value_ref_handle(&ref)), "a body of type 9");
        ref = made(k, 32767u << 16 | 60u);
        EXPECT_EQ(take(value_ref_handle(&ref)), "the last identifier");
    }
}

TEST(value_ref_handle, reads_module_1_of_kind_1_alone)
{
    World world;
    world.add_module(2, 1, "Mod1");
    EXPECT_EQ(world.add(2, 1, 1, 5, "five", "of kind 2"), 0u);
    EXPECT_EQ(world.add(2, 1, 1, 6, "six", "of kind 2"), 0u);
    EXPECT_EQ(world.add(1, 3, 1, 7, "seven", "of module 3"), 0u);
    ValueRef ref = made(8, resource(1, 5));
    EXPECT_EQ(take(value_ref_handle(&ref)), "body of five");
    for (u16 id : std::initializer_list<u16>{ 6, 7 }) {
        ref = made(8, resource(1, id));
        EXPECT_EQ(value_ref_handle(&ref), 0u) << id;
    }
}

TEST(value_ref_handle, finds_a_resource_of_any_series)
{
    World world;
    (void)dd_choose_owner(4);
    EXPECT_EQ(world.add(1, 1, 1, 8, "eight", "of series 4"), 0u);
    (void)dd_choose_owner(0);
    ValueRef ref = made(8, resource(1, 8));
    EXPECT_EQ(take(value_ref_handle(&ref)), "of series 4");
}

// No flag keeps the redirect from choosing the file: low identifiers are those of the main dictionary.
TEST(value_ref_handle, follows_the_redirect_to_the_main_dictionary)
{
    World world;
    Name second = world.dir.name("second.dic");
    DictCookie cookie;
    EXPECT_EQ(ds_createfile(2, second), 0u);
    EXPECT_EQ(ds_openfile(2, second, DICT_EXCLUSIVE, 0, &cookie), 0u);
    EXPECT_EQ(ds_setcurdict(&cookie), 0u);
    EXPECT_EQ(world.add(1, 1, 1, 5, "five", "of the second"), 0u);

    for (bool redirected : { false, true }) {
        if (redirected) {
            set_main_slot((u16)world.cookie.slot);
            set_redirect_to_main(1);
        }
        const std::string expected = redirected ? "body of five" : "of the second";
        ValueRef ref = made(14, resource(1, 5));
        EXPECT_EQ(take(value_ref_handle(&ref)), expected);
        EXPECT_EQ(take_locked(value_ref_lock(&ref)), expected);
        i16 err = 77;
        EXPECT_EQ(value_ref_own(&ref, 0, &err), nullptr);
        EXPECT_EQ(take((GHandle)value(ref)), expected);
    }
}

TEST(value_ref_handle, of_a_resource_that_cannot_be_read_is_0)
{
    World world;
    for (i32 k : Kinds{ 8, 10, 14 }) {
        for (uintptr_t at : { resource(1, 6), resource(2, 5), resource(0, 5), resource(1, 0), resource(1, 0xFFFF) }) {
            ValueRef ref = made(k, at);
            EXPECT_EQ(value_ref_handle(&ref), 0u) << at;
            EXPECT_EQ(value_ref_lock(&ref), nullptr) << at;
        }
    }
}

TEST(value_ref_handle, of_a_resource_without_a_dictionary_is_0)
{
    ValueRef ref = made(8, resource(1, 5));
    EXPECT_EQ(value_ref_handle(&ref), 0u);
    EXPECT_EQ(value_ref_lock(&ref), nullptr);
}

// ---- The cell -------------------------------------------------------------------------------------------------------

TEST(value_ref_handle_cell, stands_in_the_reference_for_kinds_7_9_and_13)
{
    World world;
    for (i32 k : Kinds{ 7, 9, 13 }) {
        ValueRef ref = world.of(k);
        GHandle *cell = value_ref_handle_cell(&ref);
        EXPECT_EQ((u8 *)cell, value_place(&ref)) << k;
        EXPECT_EQ(in_cell(cell), world.handle) << k;

        const GHandle other = 0x12345678;
        memcpy((void *)cell, &other, sizeof other);
        EXPECT_EQ(value_ref_handle(&ref), other) << k;
        EXPECT_EQ(value(ref), 0x12345678u) << k;
    }
}

TEST(value_ref_handle_cell, is_the_address_for_kinds_15_and_16)
{
    World world;
    for (i32 k : Kinds{ 15, 16 }) {
        ValueRef ref = world.of(k);
        EXPECT_EQ(value_ref_handle_cell(&ref), &world.handle_cell) << k;
        world.handle_cell = 0;
        EXPECT_EQ(value_ref_handle_cell(&ref), &world.handle_cell) << k;    // whatever is in it
        EXPECT_EQ(value_ref_handle(&ref), 0u) << k;
        world.handle_cell = world.handle;
    }
}

TEST(value_ref_handle_cell, is_at_extra_bytes_for_kind_17)
{
    World world;
    ValueRef ref = world.of(17);
    EXPECT_EQ((u8 *)value_ref_handle_cell(&ref), world.record + World::FIELD);
    ValueRef plain = made(17, (uintptr_t)&world.record_at, 0);
    EXPECT_EQ((u8 *)value_ref_handle_cell(&plain), world.record_at);
    ValueRef positive = made(17, (uintptr_t)&world.record_at, 32767);
    EXPECT_EQ((uintptr_t)value_ref_handle_cell(&positive), (uintptr_t)world.record_at + 32767);
}

TEST(value_ref_handle_cell, of_all_others_is_null)
{
    World world;
    EXPECT_EQ(value_ref_handle_cell(nullptr), nullptr);
    for (i32 k : Kinds{ 1, 2, 3, 4, 5, 6, 8, 10, 11, 12, 14 }) {
        ValueRef ref = world.of(k);
        EXPECT_EQ(value_ref_handle_cell(&ref), nullptr) << k;
    }
    for (i32 k : Kinds{ 0, 18, -1, INT32_MIN }) {
        ValueRef ref = raw(k, (uintptr_t)&world.handle_cell, 0);
        EXPECT_EQ(value_ref_handle_cell(&ref), nullptr) << k;
    }
}

TEST(value_ref_handle_cell, with_null_on_the_way_is_null)
{
    for (i32 k : Kinds{ 15, 16, 17 }) {
        ValueRef ref = made(k, 0, 4);
        EXPECT_EQ(value_ref_handle_cell(&ref), nullptr) << k;
    }
    u8 *inner = nullptr;
    ValueRef ref = made(17, (uintptr_t)&inner, 4);
    EXPECT_EQ(value_ref_handle_cell(&ref), nullptr);
}

// ---- Locking --------------------------------------------------------------------------------------------------------

TEST(value_ref_lock, of_a_number_is_its_place_in_the_reference)
{
    World world;
    for (auto [k, expected] : { std::pair(1, "b"), { 2, "\x12\x34" }, { 3, "\x12\x34\x56\x78" } }) {
        ValueRef ref = world.of(k);
        void *data = value_ref_lock(&ref);
        EXPECT_EQ(data, (void *)value_place(&ref)) << k;
        EXPECT_EQ(text_at(data, strlen(expected)), expected) << k;
        *(u8 *)data = 'z';    // the value itself, no copy
        EXPECT_EQ((u8)value(ref), 'z') << k;
    }
}

TEST(value_ref_lock, of_an_address_is_that)
{
    World world;
    for (i32 k : Kinds{ 4, 5, 11, 12 }) {
        ValueRef ref = world.of(k);
        EXPECT_EQ(value_ref_lock(&ref), (void *)world.text) << k;
    }
}

TEST(value_ref_lock, of_kind_6_is_at_extra_bytes_from_the_address_inside)
{
    World world;
    ValueRef ref = world.of(6);
    EXPECT_EQ(value_ref_lock(&ref), (void *)world.text);    // five bytes back
    ValueRef ahead = made(6, (uintptr_t)&world.inner, 4);
    EXPECT_EQ(value_ref_lock(&ahead), (void *)(world.text + 9));
    world.inner = world.text;
    EXPECT_EQ(value_ref_lock(&ahead), (void *)(world.text + 4));    // what is there now
    for (i16 far : std::initializer_list<i16>{ INT16_MIN, INT16_MAX }) {
        ValueRef ref_far = made(6, (uintptr_t)&world.inner, far);
        EXPECT_EQ((uintptr_t)value_ref_lock(&ref_far), (uintptr_t)world.text + (uintptr_t)(intptr_t)far);
    }
}

TEST(value_ref_lock, of_a_handle_is_its_data)
{
    World world;
    for (i32 k : Kinds{ 7, 9, 13, 15, 16, 17 }) {
        ValueRef ref = world.of(k);
        EXPECT_EQ(value_ref_lock(&ref), glock(world.handle)) << k;
        EXPECT_EQ(text_at(value_ref_lock(&ref), 11), "of a handle") << k;
    }
}

TEST(value_ref_lock, of_a_resource_is_in_a_new_handle_each_time)
{
    World world;
    for (i32 k : Kinds{ 8, 10, 14 }) {
        ValueRef ref = world.of(k);
        u32 before = handles_alive();
        void *first = value_ref_lock(&ref);
        void *second = value_ref_lock(&ref);
        EXPECT_NE(first, second);
        EXPECT_EQ(handles_alive(), before + 2);
        EXPECT_EQ(take_locked(first), "body of five");
        EXPECT_EQ(take_locked(second), "body of five");
    }
}

TEST(value_ref_lock, of_an_empty_resource_is_no_null)
{
    World world;
    EXPECT_EQ(world.add(1, 1, 1, 6, "six", ""), 0u);
    ValueRef ref = made(8, resource(1, 6));
    void *data = value_ref_lock(&ref);
    EXPECT_NE(data, nullptr);
    gfree(ghandle(data));
}

TEST(value_ref_lock, takes_twin_kinds_alike)
{
    World world;
    for (Kinds twins : { Kinds{ 4, 5, 11, 12 }, Kinds{ 7, 13 }, Kinds{ 15, 16 } }) {
        std::set<void *> places;
        for (i32 k : twins) {
            ValueRef ref = world.of(k);
            places.insert(value_ref_lock(&ref));
        }
        EXPECT_EQ(places.size(), 1u);
        EXPECT_EQ(places.count(nullptr), 0u);
    }
    std::set<std::string> bodies;
    for (i32 k : Kinds{ 8, 10, 14 }) {
        ValueRef ref = world.of(k);
        bodies.insert(take_locked(value_ref_lock(&ref)));
    }
    EXPECT_EQ(bodies, (std::set<std::string>{ "body of five" }));
}

TEST(value_ref_lock, of_kind_0_null_or_an_unknown_kind_is_null)
{
    World world;
    EXPECT_EQ(value_ref_lock(nullptr), nullptr);
    for (i32 k : Kinds{ 0, 18, -1, 256 + 7, INT32_MAX, INT32_MIN }) {
        ValueRef ref = raw(k, world.handle, 0);
        EXPECT_EQ(value_ref_lock(&ref), nullptr) << k;
    }
}

TEST(value_ref_lock, with_null_on_the_way_is_null)
{
    for (i32 k = 4; k <= KIND_LAST; k++) {
        ValueRef ref = made(k, 0, 4);
        EXPECT_EQ(value_ref_lock(&ref), nullptr) << k;
    }
    u8 *inner = nullptr;
    GHandle none = 0;
    for (i32 k : Kinds{ 6, 17 }) {
        ValueRef ref = made(k, (uintptr_t)&inner, 4);
        EXPECT_EQ(value_ref_lock(&ref), nullptr) << k;
    }
    for (i32 k : Kinds{ 15, 16 }) {
        ValueRef ref = made(k, (uintptr_t)&none);
        EXPECT_EQ(value_ref_lock(&ref), nullptr) << k;
    }
    inner = (u8 *)&none;
    ValueRef ref = made(17, (uintptr_t)&inner, 0);
    EXPECT_EQ(value_ref_lock(&ref), nullptr);
}

TEST(value_ref_lock, of_a_freed_handle_is_null)
{
    World world;
    gfree(world.handle);
    for (i32 k : Kinds{ 7, 9, 13, 15, 16, 17 }) {
        ValueRef ref = world.of(k);
        EXPECT_EQ(value_ref_lock(&ref), nullptr) << k;
    }
}

// Whatever call of memory or the file fails: null, and no handle stays.
TEST(value_ref_lock, of_a_resource_gives_null_and_loses_nothing_when_a_call_fails)
{
    World world;
    ValueRef ref = world.of(8);
    u32 failures = 0;
    for (u32 nth = 1;; nth++) {
        u32 before = handles_alive();
        faults_start({ .call = FAULT_ANY, .nth = nth });
        void *data = value_ref_lock(&ref);
        bool met = faults_stop();
        if (data) EXPECT_EQ(take_locked(data), "body of five");
        else failures++;
        EXPECT_EQ(handles_alive(), before) << nth;
        if (!met) break;
    }
    EXPECT_GE(failures, 2u);    // memory for the handle, and the read
    (void)memory_sweep();       // a block is lost when the table of handles cannot grow
}

// ---- Unlocking ------------------------------------------------------------------------------------------------------

TEST(value_ref_unlock, changes_nothing)
{
    World world;
    for (i32 k = 0; k <= KIND_LAST; k++) {
        ValueRef ref = world.of(k);
        const std::string before = bytes(ref);
        u32 alive = handles_alive();
        void *data = value_ref_lock(&ref);
        u32 read = handles_alive() - alive;
        EXPECT_EQ(read, World::is_resource(k) ? 1u : 0u) << k;
        value_ref_unlock(&ref);
        EXPECT_EQ(bytes(ref), before) << k;
        EXPECT_EQ(handles_alive(), alive + read) << k;
        EXPECT_TRUE(world.handle_lives()) << k;
        if (read) gfree(ghandle(data));
    }
    EXPECT_EQ(bytes_of(world.handle), "of a handle");
    EXPECT_EQ(std::string(world.text), "of an array");
}

TEST(value_ref_unlock, of_kind_3_does_nothing)
{
    World world;
    ValueRef ref = made(3, world.handle);
    value_ref_unlock(&ref);
    EXPECT_EQ(value(ref), world.handle);
    EXPECT_EQ(bytes_of(world.handle), "of a handle");
}

TEST(value_ref_unlock, leaves_the_handle_that_a_lock_has_read)
{
    World world;
    for (i32 k : Kinds{ 8, 10, 14 }) {
        ValueRef ref = world.of(k);
        u32 before = handles_alive();
        void *data = value_ref_lock(&ref);
        value_ref_unlock(&ref);
        EXPECT_EQ(handles_alive(), before + 1) << k;
        EXPECT_EQ(take_locked(data), "body of five") << k;    // by whoever locked it
    }
}

// Type and identifier can be the number of a live handle.
TEST(value_ref_unlock, of_a_resource_leaves_a_handle_of_that_number)
{
    World world;
    for (i32 k : Kinds{ 8, 10, 14 }) {
        ValueRef ref = made(k, world.handle);
        value_ref_unlock(&ref);
        EXPECT_EQ(bytes_of(world.handle), "of a handle") << k;
    }
}

TEST(value_ref_unlock, takes_null_on_the_way_and_unknown_kinds)
{
    value_ref_unlock(nullptr);
    for (i32 k : Kinds{ -1, 0, 7, 8, 9, 10, 13, 14, 15, 16, 17, 18 }) {
        ValueRef ref = raw(k, 0, 4);
        value_ref_unlock(&ref);
        EXPECT_EQ(bytes(ref), bytes(raw(k, 0, 4)));
    }
    u8 *inner = nullptr;
    ValueRef ref = made(17, (uintptr_t)&inner, 4);
    value_ref_unlock(&ref);
}

// ---- Releasing ------------------------------------------------------------------------------------------------------

TEST(value_ref_release, frees_what_kinds_9_16_and_17_hold)
{
    for (i32 k : Kinds{ 9, 16, 17 }) {
        World world;
        ValueRef ref = world.of(k);
        u32 before = handles_alive();
        value_ref_release(&ref);
        EXPECT_EQ(handles_alive(), before - 1) << k;
        EXPECT_FALSE(world.handle_lives()) << k;
        value_ref_release(&ref);    // it owns nothing now
        EXPECT_EQ(handles_alive(), before - 1) << k;
    }
}

TEST(value_ref_release, forgets_what_is_not_owned)
{
    World world;
    u32 before = handles_alive();
    for (i32 k : Kinds{ 1, 2, 3, 4, 5, 6, 7, 8, 10, 11, 12, 13, 14, 15 }) {
        ValueRef ref = world.of(k);
        value_ref_release(&ref);
        EXPECT_EQ(kind(ref), 0) << k;
        EXPECT_EQ(value(ref), 0u) << k;
        EXPECT_EQ(handles_alive(), before) << k;
        EXPECT_TRUE(world.handle_lives()) << k;
    }
}

TEST(value_ref_release, leaves_extra)
{
    for (i32 k = 0; k <= KIND_LAST; k++) {
        ValueRef ref = raw(k, 0, -2);
        value_ref_release(&ref);
        EXPECT_EQ(bytes(ref), bytes(raw(0, 0, -2))) << k;
    }
    World world;
    ValueRef ref = world.of(17);
    value_ref_release(&ref);
    EXPECT_EQ(extra(ref), World::OFFSET);
    ValueRef clear = made(0, 0);
    EXPECT_EQ(value_ref_equal(&ref, &clear), 0);
}

TEST(value_ref_release, leaves_the_number_in_the_cell)
{
    {
        World world;
        ValueRef ref = world.of(16);
        value_ref_release(&ref);
        EXPECT_EQ(world.handle_cell, world.handle);
    }
    World world;
    ValueRef ref = world.of(17);
    value_ref_release(&ref);
    EXPECT_EQ(in_cell(world.record + World::FIELD), world.handle);
}

TEST(value_ref_release, of_no_handle_frees_nothing)
{
    World world;
    u32 before = handles_alive();
    GHandle none = 0;
    u8 *to_none = (u8 *)&none;
    u8 *to_null = nullptr;
    for (ValueRef ref : { made(9, 0), made(16, 0), made(16, (uintptr_t)&none), made(17, 0, 4),
                          made(17, (uintptr_t)&to_null, 4), made(17, (uintptr_t)&to_none, 0) }) {
        value_ref_release(&ref);
        EXPECT_EQ(kind(ref), 0);
        EXPECT_EQ(value(ref), 0u);
    }
    EXPECT_EQ(handles_alive(), before);
}

TEST(value_ref_release, of_null_or_an_unknown_kind_frees_nothing)
{
    World world;
    value_ref_release(nullptr);
    for (i32 k : Kinds{ 18, -1, 256 + 9, INT32_MIN }) {
        ValueRef ref = raw(k, world.handle, 3);
        value_ref_release(&ref);
        EXPECT_EQ(bytes(ref), bytes(raw(0, 0, 3))) << k;
        EXPECT_TRUE(world.handle_lives()) << k;
    }
}

// A record in a handle that holds its own handle.
TEST(value_ref_release, may_free_the_block_that_the_cell_is_in)
{
    GHandle block = galloc(8, nullptr, 1);
    u8 *data = (u8 *)glock(block);
    memcpy(data + 4, &block, sizeof block);
    ValueRef ref = made(17, (uintptr_t)&data, 4);
    u32 before = handles_alive();
    value_ref_release(&ref);
    EXPECT_EQ(handles_alive(), before - 1);
    EXPECT_EQ(kind(ref), 0);
}

// A record in a handle that owns itself: nothing is written there once it is freed.
TEST(value_ref_release, clears_a_reference_ahead_of_the_block_that_it_is_in)
{
    GHandle block = galloc((i32)sizeof(ValueRef), nullptr, 1);
    ValueRef *ref = (ValueRef *)glock(block);
    value_ref_set(ref, 9, block, 0);
    std::string as_it_goes;
    faults_hook(FAULT_FREE, 1, [&] { as_it_goes = bytes(*ref); });
    value_ref_release(ref);
    EXPECT_EQ(as_it_goes, bytes(raw(0, 0, 0)));
    EXPECT_EQ(glock(block), nullptr);
}

// ---- Owning ---------------------------------------------------------------------------------------------------------

// What `value_ref_own` has made, which is freed.
std::string take_owned(ValueRef *ref)
{
    EXPECT_EQ(kind(*ref), 9);
    std::string content = bytes_of((GHandle)value(*ref));
    value_ref_release(ref);
    return content;
}

TEST(value_ref_own, of_data_copies_as_many_bytes)
{
    World world;
    for (i32 k : Kinds{ 11, 12 }) {
        for (i32 length : { 1, 5, 11 }) {
            ValueRef ref = world.of(k);
            i16 err = 77;
            EXPECT_EQ(value_ref_own(&ref, length, &err), nullptr);
            EXPECT_EQ(err, 0);
            EXPECT_EQ(take_owned(&ref), std::string(world.text, (size_t)length)) << k;
        }
    }
    EXPECT_EQ(std::string(world.text), "of an array");
}

TEST(value_ref_own, of_a_negative_length_gives_back_the_address)
{
    World world;
    for (i32 k : Kinds{ 11, 12 }) {
        gfree(handle_of(std::string(10, '\xFF')));    // what is likely to be given out next
        ValueRef ref = world.of(k);
        i16 err = 77;
        EXPECT_EQ(value_ref_own(&ref, -10, &err), (void *)world.text) << k;
        EXPECT_EQ(err, 0);
        EXPECT_EQ(take_owned(&ref), std::string(10, '\0')) << k;
    }
}

TEST(value_ref_own, of_no_bytes_has_no_handle)
{
    World world;
    for (i32 k : Kinds{ 11, 12 }) {
        ValueRef ref = world.of(k);
        u32 before = handles_alive();
        i16 err = 77;
        EXPECT_EQ(value_ref_own(&ref, 0, &err), nullptr);
        EXPECT_EQ(err, 0);
        EXPECT_EQ(bytes(ref), bytes(raw(9, 0, 0))) << k;
        EXPECT_EQ(handles_alive(), before);
    }
}

TEST(value_ref_own, leaves_a_null_address_of_its_kind)
{
    for (i32 k : Kinds{ 11, 12 }) {
        for (i32 length : { 0, 5, -5, INT32_MIN }) {
            ValueRef ref = made(k, 0);
            i16 err = 77;
            EXPECT_EQ(value_ref_own(&ref, length, &err), nullptr);
            EXPECT_EQ(err, 0);
            EXPECT_EQ(bytes(ref), bytes(raw(k, 0, 0))) << k << ", " << length;
        }
    }
}

TEST(value_ref_own, of_the_lowest_length_fails)
{
    World world;
    for (i32 k : Kinds{ 11, 12 }) {
        ValueRef ref = world.of(k);
        i16 err = 77;
        EXPECT_EQ(value_ref_own(&ref, INT32_MIN, &err), nullptr);
        EXPECT_EQ(err, 1);
        EXPECT_EQ(bytes(ref), bytes(raw(k, 0, 0))) << k;
    }
}

TEST(value_ref_own, of_a_lent_handle_copies_it)
{
    World world;
    ValueRef ref = world.of(13);
    i16 err = 77;
    EXPECT_EQ(value_ref_own(&ref, 3, &err), nullptr);    // the length counts for nothing
    EXPECT_EQ(err, 0);
    EXPECT_NE(value(ref), world.handle);
    EXPECT_EQ(take_owned(&ref), "of a handle");
    EXPECT_EQ(bytes_of(world.handle), "of a handle");
}

TEST(value_ref_own, of_no_handle_fails)
{
    GHandle freed = galloc(1, nullptr, 0);
    gfree(freed);
    for (GHandle handle : { (GHandle)0, freed }) {
        ValueRef ref = made(13, handle);
        i16 err = 77;
        EXPECT_EQ(value_ref_own(&ref, 5, &err), nullptr);
        EXPECT_EQ(err, 1);
        EXPECT_EQ(bytes(ref), bytes(raw(13, 0, 0)));
    }
}

TEST(value_ref_own, of_a_resource_copies_it)
{
    World world;
    u32 before = handles_alive();
    ValueRef ref = world.of(14);
    i16 err = 77;
    EXPECT_EQ(value_ref_own(&ref, 3, &err), nullptr);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(handles_alive(), before + 1);    // the one that was read is freed
    EXPECT_EQ(take_owned(&ref), "body of five");
}

TEST(value_ref_own, of_a_missing_resource_fails)
{
    World world;
    u32 before = handles_alive();
    ValueRef ref = made(14, resource(1, 6));
    i16 err = 77;
    EXPECT_EQ(value_ref_own(&ref, 5, &err), nullptr);
    EXPECT_EQ(err, 1);
    EXPECT_EQ(bytes(ref), bytes(raw(14, 0, 0)));
    EXPECT_EQ(handles_alive(), before);
}

TEST(value_ref_own, leaves_other_kinds_alone)
{
    World world;
    u32 before = handles_alive();
    for (i32 k : Kinds{ 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 15, 16, 17 }) {
        for (i32 length : { 5, 0, -5 }) {
            ValueRef ref = world.of(k);
            const std::string as_it_was = bytes(ref);
            i16 err = 77;
            EXPECT_EQ(value_ref_own(&ref, length, &err), nullptr);
            EXPECT_EQ(err, 0) << k;
            EXPECT_EQ(bytes(ref), as_it_was) << k;
        }
    }
    for (i32 k : Kinds{ 18, -1, 256 + 11, INT32_MIN }) {
        ValueRef ref = raw(k, (uintptr_t)world.text, 2);
        i16 err = 77;
        EXPECT_EQ(value_ref_own(&ref, 5, &err), nullptr);
        EXPECT_EQ(err, 0) << k;
        EXPECT_EQ(bytes(ref), bytes(raw(k, (uintptr_t)world.text, 2))) << k;
    }
    EXPECT_EQ(handles_alive(), before);
}

TEST(value_ref_own, leaves_extra)
{
    World world;
    ValueRef ref = raw(11, (uintptr_t)world.text, 5);
    i16 err = 77;
    EXPECT_EQ(value_ref_own(&ref, 2, &err), nullptr);
    EXPECT_EQ(extra(ref), 5);
    EXPECT_EQ(take_owned(&ref), "of");
}

TEST(value_ref_own, takes_null)
{
    World world;
    i16 err = 77;
    EXPECT_EQ(value_ref_own(nullptr, 5, &err), nullptr);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(value_ref_own(nullptr, 5, nullptr), nullptr);
    ValueRef ref = world.of(11);
    EXPECT_EQ(value_ref_own(&ref, 5, nullptr), nullptr);
    EXPECT_EQ(take_owned(&ref), "of an");
    ref = made(13, 0);
    EXPECT_EQ(value_ref_own(&ref, 5, nullptr), nullptr);
    EXPECT_EQ(kind(ref), 13);
}

TEST(value_ref_own, leaves_the_kind_and_a_value_of_0_when_memory_is_short)
{
    World world;
    u32 before = handles_alive();
    for (i32 k : Kinds{ 11, 12, 13, 14 }) {
        for (i32 length : { 5, -5 }) {
            ValueRef ref = world.of(k);
            i16 err = 77;
            faults_start({ .call = FAULT_ALLOC });
            EXPECT_EQ(value_ref_own(&ref, length, &err), nullptr);
            EXPECT_TRUE(faults_stop());
            EXPECT_EQ(err, 1) << k;
            EXPECT_EQ(bytes(ref), bytes(raw(k, 0, 0))) << k;
            EXPECT_EQ(handles_alive(), before) << k;
        }
    }
    EXPECT_TRUE(world.handle_lives());
}

// Whatever call of memory or the file fails; the read and the copy each have some.
TEST(value_ref_own, of_a_resource_loses_no_handle_when_a_call_fails)
{
    World world;
    u32 before = handles_alive();
    u32 failures = 0;
    for (u32 nth = 1;; nth++) {
        ValueRef ref = world.of(14);
        i16 err = 77;
        faults_start({ .call = FAULT_ANY, .nth = nth });
        EXPECT_EQ(value_ref_own(&ref, 0, &err), nullptr);
        bool met = faults_stop();
        if (err) {
            failures++;
            EXPECT_EQ(err, 1);
            EXPECT_EQ(bytes(ref), bytes(raw(14, 0, 0))) << nth;
        } else {
            EXPECT_EQ(take_owned(&ref), "body of five") << nth;
        }
        EXPECT_EQ(handles_alive(), before) << nth;
        if (!met) break;
    }
    EXPECT_GE(failures, 3u);    // two handles, and the read
    (void)memory_sweep();       // a block is lost when the table of handles cannot grow
}

// ---- Everything together --------------------------------------------------------------------------------------------

// References, and the addresses and handles on their way, may stand anywhere: a sanitizer of alignment sees it.
TEST(value_ref, works_at_odd_addresses)
{
    World world;
    u8 place[1 + sizeof(ValueRef)];
    ValueRef *ref = (ValueRef *)(place + 1);
    u8 odd[1 + sizeof(void *) + sizeof(GHandle)];
    u8 *address_cell = odd + 1;
    u8 *handle_cell = odd + 1 + sizeof(void *);
    memcpy(address_cell, &handle_cell, sizeof handle_cell);
    memcpy(handle_cell, &world.handle, sizeof world.handle);

    for (i32 k = 0; k <= KIND_LAST; k++) {
        ValueRef even = world.of(k);
        value_ref_copy(ref, &even);
        EXPECT_EQ(value_ref_equal(ref, &even), 1) << k;
        (void)value_ref_handle_cell(ref);
        void *data = value_ref_lock(ref);
        value_ref_unlock(ref);
        if (World::is_resource(k)) gfree(ghandle(data));
        GHandle handle = value_ref_handle(ref);
        if (World::is_resource(k)) gfree(handle);
        i16 err = 77;
        (void)value_ref_own(ref, 4, &err);
        EXPECT_EQ(err, 0) << k;
        if (k >= 11 && k <= 14) value_ref_release(ref);
    }
    for (i32 k : Kinds{ 15, 16 }) {
        value_ref_set(ref, k, (uintptr_t)handle_cell, 0);
        EXPECT_EQ(value_ref_handle(ref), world.handle) << k;
        EXPECT_EQ((u8 *)value_ref_handle_cell(ref), handle_cell) << k;
    }
    value_ref_set(ref, 6, (uintptr_t)address_cell, 0);
    EXPECT_EQ(value_ref_lock(ref), (void *)handle_cell);
    value_ref_set(ref, 17, (uintptr_t)address_cell, 0);
    EXPECT_EQ(value_ref_lock(ref), glock(world.handle));
    value_ref_release(ref);
    EXPECT_FALSE(world.handle_lives());
}

// A round over all kinds gives back all memory. The table of handles may grow in one of the rounds, for good.
TEST(value_ref, leaves_no_memory_behind)
{
    World world;
    u32 least = UINT32_MAX;
    for (i32 round = 0; round < 4; round++) {
        u32 before = memory_alive();
        for (i32 k = 0; k <= KIND_LAST; k++) {
            ValueRef ref = world.of(k);
            if (k == 9 || k == 16 || k == 17) continue;    // they would free the handle of all
            void *data = value_ref_lock(&ref);
            if (World::is_resource(k)) gfree(ghandle(data));
            i16 err = 77;
            (void)value_ref_own(&ref, 4, &err);
            value_ref_release(&ref);
        }
        least = std::min(least, memory_alive() - before);
    }
    EXPECT_EQ(least, 0u);
}

} // namespace
} // namespace zuk
