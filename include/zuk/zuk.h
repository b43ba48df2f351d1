/* The C interface of the library: the exported functions and nothing else.
 *
 * A program calls `dd_init`, then `ds_createfile` or `ds_openfile`, works on the current dictionary with the `dd_`
 * operations, and ends with `ds_closefile` and `dd_term`. Handles that a read returns belong to the caller, who frees
 * them with `gfree`. All of it serves one thread at a time.
 *
 * On Windows the functions are cdecl and undecorated. A result of 16 bits leaves the rest of its register undefined,
 * so a caller in another language has to declare it with its width.
 */
#ifndef ZUK_ZUK_H
#define ZUK_ZUK_H

#include "zuk/types.h"

#if defined(_WIN32)
#define ZUK_API                  /* a list of names decides what the DLL exports */
#else
#define ZUK_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Statuses -------------------------------------------------------------------------------------------------- */

/* KEPT: one would expect the numbers to run through. 5, 8, 16, 17 and 20 are never given.
 * Test: statuses.never_5_8_16_17_or_20 */
enum {
    DICT_OK = 0,                  /* success */
    DICT_FAILED = 1,              /* unspecified failure */
    DICT_EXISTS = 2,              /* the dictionary, module, resource or name is there already */
    DICT_NOT_FOUND = 3,           /* not found, or out of range */
    DICT_NOT_A_DICTIONARY = 4,    /* the file does not begin as a dictionary does, or its tables lie outside it */
    DICT_NO_FILE = 6,             /* no such file, or a file that cannot be created */
    DICT_NOT_OPEN = 7,            /* the dictionary has no open file */
    DICT_NO_MEMORY = 9,
    DICT_ACCESS_DENIED = 10,
    DICT_TOO_MANY_FILES = 11,
    DICT_BAD_POSITION = 12,
    DICT_NO_ROOM = 13,
    DICT_NO_NAME = 14,            /* no file name was given */
    DICT_NOT_STARTED = 15,        /* `dd_init` was not called, or failed */
    DICT_ALREADY_OPEN = 18,
    DICT_BAD_NAME = 19,           /* an empty name, or an identifier below 1, on adding */
    DICT_LOCKED_OUT = 21          /* another workstation holds the lock */
};

/* Open modes of `ds_openfile`. */
enum {
    DICT_SHARED = 0,              /* read and write, shared with others through byte-range locks */
    DICT_READ_ONLY = 16384,       /* read; others may not write */
    DICT_EXCLUSIVE = 32768        /* read and write; nobody else */
};

/* ---- Library and dictionaries ---------------------------------------------------------------------------------- */

/* Start the library. 1 on success, 0 on failure: the opposite of a status. A second call forgets every open
 * dictionary without closing it. */
ZUK_API int32_t dd_init(void);

/* Close every open dictionary and stop the library. */
ZUK_API void dd_term(void);

/* Open the dictionary at `path` under the identifier `id` (0 to 65534) and make it the current one; `cookie` (may be
 * null) then names it. `option` is only stored. Status: 2 when `id` is open, 14 for a null path, 15 before `dd_init`,
 * 4, 6, 9, 10, 11 as the file and the system have it. After a failure the cookie is cleared and the current dictionary
 * is a slot without a file, until `ds_setcurdict`. Where no slot could be had (2, 15, and 9 when the table of slots
 * cannot grow) the cookie stays as it was; that 9 also stops the library, with every dictionary lost and not closed. */
ZUK_API DictStatus ds_openfile(uint16_t id, ConstPString path, uint16_t mode, uint16_t option, DictCookie *cookie);

/* Make a new, empty dictionary at `path`, in the place of any file that stands there, and leave it closed. Status: 2
 * when `id` is open, 6 when the file cannot be made, 9, 14, 15. A failure to write the first bytes gives 0 and no
 * file: open it to be certain. */
ZUK_API DictStatus ds_createfile(uint16_t id, ConstPString path);

/* Close the dictionary `id`. Always 0; a negative or unknown `id` does nothing. `current` stays where it was. */
ZUK_API DictStatus ds_closefile(int16_t id);

/* Make the dictionary that `cookie` names the current one. Status: 3 for a null cookie or a slot that does not exist,
 * 15 before `dd_init`. Whether a file is open there is not tested. */
ZUK_API DictStatus ds_setcurdict(const DictCookie *cookie);

/* Fill `cookie` with the current slot, `selector` 1 if file 1 of it is open, else 0, and `other_selector` 0. The
 * result is that selector; 0 for a null cookie. All of the cookie is 0 before `dd_init`. */
ZUK_API int32_t ds_default_form_cookie(DictCookie *cookie);

/* ---- Reading --------------------------------------------------------------------------------------------------- */
/*
 * Coordinates: `kind` is 1, 2 or 3; `module` is a core type (1 to 12) for kind 1, which the engine completes with the
 * series of the resource, and a whole module number for the others; `type` is 1 to 63; `id` is 1 to 32767; a position
 * `n` counts from 1. Types 2 and 23 stand for the modules themselves: their identifiers are module numbers.
 *
 * `status` may be null. It gets 0; 3 for something missing or an `id` or `n` below 1; 21 when the lock could not be
 * had; 7 or 15 without an open dictionary; or what the file gave. Operations without a status give 0 then. A read by
 * position or by name asks for the identifier first, and gives 3 whatever kept that from being found.
 *
 * `flags`: 4 leaves the body in its stored form, 16 selects the file as for identifier 20000; other bits count for
 * nothing.
 */

/* The body of a resource in a new unlocked handle, 0 on failure. No memory for the body gives 0 with status 0. */
ZUK_API GHandle dd_getresourcehndl(int32_t kind, int32_t module, uint16_t type, uint16_t id, int32_t flags,
                                   uint32_t *status);
/* The same by position in the listing of `dd_get_nresid`, */
ZUK_API GHandle dd_getnresourcehndl(int32_t kind, int32_t module, uint16_t type, int16_t n, int32_t flags,
                                    uint32_t *status);
/* and by name. */
ZUK_API GHandle dd_getnamedreshndl(int32_t kind, int32_t module, uint16_t type, ConstPString name, int32_t flags,
                                   uint32_t *status);

/* The name of a resource, cut to 79 characters, in `out` (256 bytes). Status 3 also puts "[Not Found]" there. */
ZUK_API DictStatus dd_getresname(int32_t kind, int32_t module, uint16_t type, uint16_t id, PString out);
/* The same by position; a position that does not exist gives 3 and leaves `out` alone. */
ZUK_API DictStatus dd_getnresname(int32_t kind, int32_t module, uint16_t type, int16_t n, PString out);

/* How many resources of the type there are; of types 2 and 23, how many modules of the kind. */
ZUK_API int16_t dd_numresources(int32_t kind, int32_t module, uint16_t type);
/* The identifier of a name, 0 when there is none. For kind 1 the series 0 to 6 are searched in this order. */
ZUK_API int32_t dd_get_resid(int32_t kind, int32_t module, uint16_t type, ConstPString name);
/* The identifier at position `n`, 0 when there is none. */
ZUK_API int32_t dd_get_nresid(int32_t kind, int32_t module, uint16_t type, int16_t n);
/* The position of an identifier, 0 when there is none; also 0 for kinds 2 and 3 in the first module of the file. */
ZUK_API int16_t dd_get_resid_pos(int32_t kind, int32_t module, uint16_t type, int32_t id);

/* The same for one module of kind 1, that of `series` and `core_type`, without regard to the owners of identifiers.
 * `dd_local_numres` alone takes a kind. */
ZUK_API int16_t dd_local_numres(int16_t series, int32_t kind, int32_t core_type, uint16_t type);
ZUK_API int16_t dd_local_get_nresid(int16_t series, int32_t core_type, uint16_t type, int16_t n);
ZUK_API int16_t dd_local_get_nresid_pos(int16_t series, int32_t core_type, uint16_t type, int32_t id);
/* Status 3 leaves `out` alone here. */
ZUK_API DictStatus dd_local_get_nresname(int16_t series, int32_t core_type, uint16_t type, int16_t n, PString out);

/* ---- Writing --------------------------------------------------------------------------------------------------- */
/*
 * Each takes the write lock for its own length where the dictionary is shared. Identifiers are cut to 16 bits. Status
 * also 7, 15, 21 and what the file gave; a failure in the midst leaves what was written so far, as the parts of
 * engine/write.cpp tell.
 */

/* Add a resource. `name` has 1 to 254 characters; `body` may be 0. Types 2 and 23 make the module. Status: 2 when the
 * name or the identifier is taken, 3 when the module is missing (kinds 2 and 3), 19 for a null or empty name or an `id`
 * below 1. */
ZUK_API DictStatus dd_add_resource(int32_t kind, int32_t module, uint16_t type, int16_t id, ConstPString name,
                                   GHandle body);

/* Change the name (unless null) and the body (unless 0 or empty: a body cannot be emptied). Status: 2 when the name
 * belongs to another resource, 3 when the resource is missing. */
ZUK_API DictStatus dd_change_resource(int32_t kind, int32_t module, uint16_t type, int32_t id, ConstPString name,
                                      GHandle body);

/* Remove a resource; of types 2 and 23, the module numbered `id` with all that is in it. Status 3 when missing. */
ZUK_API DictStatus dd_remove_resource(int32_t kind, int32_t module, uint16_t type, int32_t id);

/* ---- Owners and identifiers ------------------------------------------------------------------------------------ */

/* The series that owns an identifier of kind 1; -1 for a free or unknown one, 0 for types 52, 53 and 54. */
ZUK_API int16_t dd_get_owner(DictFile *file, uint16_t type, uint32_t id);

/* Choose the series that later additions of kind 1 belong to, 0 to 6; it is not checked. The result is `owner`. */
ZUK_API uint16_t dd_choose_owner(uint16_t owner);

/* The next free identifier, of types 2 and 23 the next free module number; 0 without the lock or an open file. Nothing
 * is reserved: it stays free until a resource is added under it. */
ZUK_API int16_t dd_uniqueid(int32_t kind, int32_t module, uint16_t type);

/* ---- Sub-records of a resource body --------------------------------------------------------------------------- */
/*
 * A body can begin with a header of counters, followed by arrays of records of a fixed size. These four work on one
 * record of such a body in memory, as a read returned it or as it will be added: no file is touched. `layout` (0 to 39)
 * names one array, `index` a record of it, from 1 on; where it lies nobody has to know. engine/sub_records.cpp lists
 * the layouts: the bytes of a record and of the header, and where the counter, a signed 16-bit number, stands in it.
 *
 * There is no status. No `body`, no `record`, a `layout` that does not exist, a body shorter than the header, and a
 * record that does not lie wholly in the body: nothing happens. The index is not held against the counter, which is for
 * the caller to read: behind the last record lie those of the next array, and index 0 is the end of the header.
 */

/* Insert a record at `index`, 1 to the counter + 1: it and all behind it, later arrays too, move up, and the counter
 * goes up by 1. Below 1 nothing happens. `record` is not a place in the body, which is resized: `*body` is 0, and the
 * body lost, when there is no memory. */
ZUK_API void add_res(GHandle *body, int32_t layout, int16_t index, const void *record);
/* Copy a record out, */
ZUK_API void get_res(GHandle body, int32_t layout, uint16_t index, void *record);
/* or remove it: all behind it moves down, and the counter goes down by 1. A failure is as in `add_res`. */
ZUK_API void del_res(GHandle *body, int32_t layout, uint16_t index);
/* Put another one in its place. */
ZUK_API void change_res(GHandle body, int32_t layout, uint16_t index, const void *record);

/* ---- Memory and strings ---------------------------------------------------------------------------------------- */
/*
 * A handle keeps its value for life; the pointer of `glock` holds until the next `grealloc` or `gfree` of the handle.
 * 0 and a handle that is not alive are harmless: the result is 0 or nothing.
 */

/* A new handle of `size` bytes (0 or more), zero-filled if `zero` is not 0; 0 on failure. `label` is ignored. */
ZUK_API GHandle galloc(int32_t size, ConstPString label, int16_t zero);
ZUK_API void gfree(GHandle handle);
/* Resize; new bytes are 0. 1 on success. 0 on failure, and then, unless the arguments were bad, `*handle` is 0 and the
 * old block is lost. */
ZUK_API int16_t grealloc(GHandle *handle, int32_t size);
ZUK_API void *glock(GHandle handle);       /* the data, aligned for any type; counts nothing */
ZUK_API void gunlock(GHandle handle);      /* does nothing */
ZUK_API int32_t gsize(GHandle handle);     /* the size asked for */

/* Positions in a string count from 1. */

/* Make a string of NUL-terminated text, cut to 255 characters. `dest` must hold strlen + 1 bytes even then. */
ZUK_API PString pstrconst(PString dest, const char *source);
ZUK_API PString pstrnull(PString string);
/* From NUL-terminated text and back, in place; the same address. 0 and 32768 to 65535 characters (modulo 65536) leave
 * `ctopstr` without effect. */
ZUK_API void *ctopstr(void *string);
ZUK_API void *ptocstr(void *string);
/* Copy `count` characters from `start` on; bad arguments give the empty string. `dest` is not `source`. */
ZUK_API PString pstricpy(PString dest, ConstPString source, int16_t start, int16_t count);
/* Append them; bad arguments, or a sum above 255, leave `dest` as it was. */
ZUK_API PString pstricat(PString dest, ConstPString source, int16_t start, int16_t count);
/* Compare `count` characters from `start` on. 0 equal, negative when `first` sorts first; 32767 for bad arguments, and
 * when either string is shorter than `start` and `first` is not empty (an empty `first` then gives 0 or -1). A
 * `fold_case` other than 0 makes it blind to case. */
ZUK_API int16_t pstricompare(ConstPString first, ConstPString second, int16_t start, int16_t count,
                             int16_t fold_case);

/* ---- File names ------------------------------------------------------------------------------------------------ */

/* From the portable form (`:C:DIR/A.TXT`) to the native one (`C:\DIR\A.TXT`) and back, in place, on every target. A
 * name can grow, to 255 characters at most: the buffer has 256 bytes. */
ZUK_API PString filename_2_native(PString name);
ZUK_API PString native_2_filename(PString name);

#ifdef __cplusplus
}
#endif

#endif
