#include "engine/locks.h"

#include "engine/block_table.h"
#include "engine/dict_set.h"
#include "engine/module_table.h"
#include "files/file.h"
#include "platform/platform.h"

namespace zuk {

constexpr i32 GATE_RETRIES = 5000;
constexpr i32 READER_ROUNDS = 3;
constexpr i32 WRITER_RETRIES = 60;

// ---- Waits ----------------------------------------------------------------------------------------------------------

void delay_half_double_click()
{
    u32 length = platform_clock->double_click_time() / 2;
    u32 start = platform_clock->tick_count();
    for (;;) {
        u32 passed = platform_clock->tick_count() - start;
        if (passed >= length) return;
        platform_clock->sleep(length - passed);
    }
}

u32 clock_seconds() { return platform_clock->tick_count() / 1000; }

// Until the next second begins, so up to one second.
static void delay_to_next_second()
{
    u32 second = clock_seconds();
    for (;;) {
        u32 now = platform_clock->tick_count();  // one look for both, or a second that turns in between is waited for
        if (now / 1000 != second) return;
        platform_clock->sleep(1000 - now % 1000);
    }
}

// ---- The gate and the spare byte ------------------------------------------------------------------------------------

bool gate_lock(DictFile *file)
{
    for (i32 retries = 0;; retries++) {
        if (file_lock(file->file, GATE_BYTE, 1)) return true;
        if (retries == GATE_RETRIES) return false;
        delay_half_double_click();
    }
}

void gate_unlock(DictFile *file)
{
    (void)file_unlock(file->file, GATE_BYTE, 1);  // a gate that is not held needs no freeing
}

// KEPT: one would expect somebody to look at this byte. Callers may take it; nothing in the engine asks for it.
// Test: spare_byte_lock.hinders_no_operation
bool spare_byte_lock(DictFile *file) { return file_lock(file->file, SPARE_BYTE, 1) != 0; }
bool spare_byte_unlock(DictFile *file) { return file_unlock(file->file, SPARE_BYTE, 1) != 0; }

// ---- Has the file changed? ------------------------------------------------------------------------------------------

bool dict_changed(DictFile *file)
{
    // KEPT: one would expect a table that has moved to be noticed, or a count of free entries that differs. The counter
    // alone is compared, for inequality. Test: dict_changed.looks_at_no_other_field
    DictHeader now = file->header;  // a header that cannot be read has not changed
    (void)header_read(file, &now);
    return le_get(now.change_count) != le_get(file->header.change_count);
}

// KEPT: one would expect all that is in memory to be fresh afterwards. Core tables and pinned blocks stay as they were,
// so that the last writer of a core table wins. Test: dict_reload.leaves_core_tables_and_pinned_blocks
void dict_reload(DictFile *file)
{
    block_cache_drop(file);
    module_table_release(file);
    (void)header_read(file, &file->header);  // what is no dictionary any more shows in the next two steps
    if (!header_is_sound(file)) return;      // no module table: the file reads as empty
    (void)module_table_load(file);           // a failure leaves none either
}

// ---- Readers --------------------------------------------------------------------------------------------------------

bool read_lock_needed(const DictFile *file)
{
    return dict_file_is_open(file) && file->open_mode == FILE_RW_SHARED && file->lock_state == LOCK_NONE;
}

// The number of the reader byte that was locked, 0 for none.
static i16 take_reader_byte(DictFile *file)
{
    for (i32 round = 0; round < READER_ROUNDS; round++) {
        // KEPT: one would expect readers to spread over the bytes. Each tries them from 1 upward, one call a byte.
        // Test: read_lock.tries_the_reader_bytes_from_1_upward
        for (u32 n = 1; n <= READER_COUNT; n++) {
            if (file_lock(file->file, READER_BASE + n, 1)) return (i16)n;
        }
        // KEPT: one would expect no wait when no round is left. Each round that finds no byte ends with one.
        // Test: read_lock.gives_up_after_3_rounds_and_3_waits
        delay_to_next_second();
    }
    return 0;
}

static void reload_if_changed(DictFile *file)
{
    if (dict_changed(file)) dict_reload(file);
}

bool read_lock(DictFile *file)
{
    // KEPT: one would expect a closed file to be refused. No lock is needed there, as in the modes that take no part,
    // and that counts as success. Test: read_lock.of_a_closed_file_does_nothing
    // Test: read_lock.does_nothing_in_other_modes, Test: write_lock.does_nothing_in_other_modes
    if (!read_lock_needed(file)) return true;
    if (!gate_lock(file)) return false;
    i16 byte = take_reader_byte(file);
    gate_unlock(file);
    if (!byte) return false;
    reload_if_changed(file);
    file->lock_state = byte;
    return true;
}

void read_unlock(DictFile *file)
{
    if (file->lock_state == LOCK_NONE) return;
    // KEPT: one would expect a writer's state to be left alone. The sum is then the spare byte: it is given up if the
    // caller holds it, and the state with it. No operation of the engine comes here as a writer.
    // Test: read_unlock.as_a_writer_frees_the_spare_byte
    u32 byte = READER_BASE + (u32)(i32)file->lock_state;
    if (file_unlock(file->file, byte, 1)) file->lock_state = LOCK_NONE;
}

// ---- Writers --------------------------------------------------------------------------------------------------------

bool write_lock_needed(const DictFile *file)
{
    return dict_file_is_open(file) && file->open_mode == FILE_RW_SHARED && file->lock_state != LOCK_WRITER;
}

static bool take_writer_range(DictFile *file)
{
    // KEPT: one would expect a reader of its own to make way. The range covers the byte that this very file may hold
    // for reading, the platform refuses the overlap, and all attempts are made in vain.
    // Test: write_lock.fails_over_its_own_read_lock
    for (i32 retries = 0;; retries++) {
        if (file_lock(file->file, READER_BASE + 1, READER_COUNT)) return true;
        if (retries == WRITER_RETRIES) return false;
        delay_to_next_second();
    }
}

bool write_lock(DictFile *file)
{
    // KEPT: one would expect each operation to count. One that is called by another finds the lock held, works under it
    // and leaves the release to it, so that `change_count` rises once.
    // Test: write_lock.of_a_nested_operation_counts_once
    if (!write_lock_needed(file)) return true;
    if (!gate_lock(file)) return false;
    // KEPT: one would expect the gate to be open while a writer waits. It stays held, so that no reader overtakes.
    // Test: write_lock.holds_the_gate_while_it_waits
    bool taken = take_writer_range(file);
    gate_unlock(file);
    if (!taken) return false;
    reload_if_changed(file);
    file->lock_state = LOCK_WRITER;
    return true;
}

u16 write_unlock(DictFile *file)
{
    // KEPT: one would expect 1 or 0. Where nothing is shared the answer is the open mode, and nothing is done.
    // Test: write_unlock.returns_the_mode_unless_shared
    if (file->open_mode != FILE_RW_SHARED) return file->open_mode;

    // KEPT: one would expect only a change to count. The counter rises at every release, after a failure too.
    // Test: write_unlock.raises_change_count_whatever_happened
    file->header.change_count = le16((u16)(le_get(file->header.change_count) + 1));
    (void)header_write(file->file, &file->header);  // nobody is told, and the lock has to go all the same
    (void)file_flush(file->file);                   // only checks the handle

    // KEPT: one would expect the lock to be free afterwards. Where the file was closed and opened since, the range is
    // not held any more: the unlock fails, `lock_state` stays at the writer through close and reopen, and this DictFile
    // takes no lock and sees no change again. Test: write_unlock.leaves_the_state_when_the_range_was_lost
    u16 unlocked = (u16)file_unlock(file->file, READER_BASE + 1, READER_COUNT);
    if (unlocked) file->lock_state = LOCK_NONE;
    return unlocked;
}

// ---- By cookie ------------------------------------------------------------------------------------------------------

// The open file that a cookie and a selector name, null if there is none.
static DictFile *open_file(const DictCookie *cookie, i32 selector)
{
    return dict_selected_is_open(cookie, selector) ? dict_file_by_cookie(cookie, selector) : nullptr;
}

DictStatus dict_selected_read_lock(const DictCookie *cookie, i32 selector)
{
    DictFile *file = open_file(cookie, selector);
    // KEPT: one would expect 3 for a file that there is not and 7 for a closed one, as elsewhere. Both give 6.
    // Test: dict_selected_read_lock.gives_6_without_an_open_file
    if (!file) return DICT_NO_FILE;
    if (!read_lock(file)) return DICT_LOCKED_OUT;
    return DICT_OK;
}

bool dict_selected_has_lock(const DictCookie *cookie, i32 selector)
{
    const DictFile *file = open_file(cookie, selector);
    // KEPT: one would expect no where nothing is held. A file in a mode that takes no part has its lock at all times.
    // Test: dict_selected_has_lock.is_the_opposite_of_a_lock_that_is_needed
    return file && !read_lock_needed(file);
}

void dict_selected_read_unlock(const DictCookie *cookie, i32 selector)
{
    DictFile *file = open_file(cookie, selector);
    if (file) read_unlock(file);
}

bool dict_selected_write_lock(const DictCookie *cookie, i32 selector)
{
    DictFile *file = open_file(cookie, selector);
    return file && write_lock(file);
}

u16 dict_selected_write_unlock(const DictCookie *cookie, i32 selector)
{
    DictFile *file = open_file(cookie, selector);
    return file ? write_unlock(file) : (u16)0;
}

bool dict_selected_spare_lock(const DictCookie *cookie, i32 selector)
{
    DictFile *file = open_file(cookie, selector);
    return file && spare_byte_lock(file);
}

bool dict_selected_spare_unlock(const DictCookie *cookie, i32 selector)
{
    DictFile *file = open_file(cookie, selector);
    return file && spare_byte_unlock(file);
}

} // namespace zuk
