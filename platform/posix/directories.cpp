// Directories, temporary files and searches over POSIX calls.
//
// A search reads its directory whole when it begins and keeps the names that match in one block: `.` and `..` first,
// the others in the order of the counterpart, where letters of both cases count as capitals. What comes and goes
// afterwards is not seen. The block is of the C library: a test that makes the memory of the library fail does not hit
// it.

#include "platform/posix/names.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace zuk {

static u32 posix_make(const char *name)
{
    char path[PATH_SIZE];
    u32 error = path_of(name, path);
    if (error) return error;
    return mkdir(path, 0777) == 0 ? PLATFORM_OK : name_error_of(errno, path);
}

static u32 posix_change(const char *name)
{
    char path[PATH_SIZE];
    u32 error = path_of(name, path);
    if (error) return error;
    return chdir(path) == 0 ? PLATFORM_OK : name_error_of(errno, path);
}

// ---- Temporary files ------------------------------------------------------------------------------------------------

static const char *temporary_setting()
{
    static const char *const variables[] = { "TMPDIR", "TMP" };
    for (const char *variable : variables) {
        const char *setting = getenv(variable);
        if (setting && *setting) return setting;
    }
    return "/tmp";
}

static u32 posix_temporary(char path[PLATFORM_PATH_SIZE])
{
    const char *setting = temporary_setting();
    size_t length = strlen(setting);
    if (length + 2 > PLATFORM_PATH_SIZE) return PLATFORM_BUFFER_OVERFLOW;

    memcpy(path, setting, length);
    if (path[length - 1] != '/') path[length++] = '/';
    path[length] = 0;
    return PLATFORM_OK;
}

// What the counterpart takes. The file's name, `TNT` with four digits and `.tmp`, and a separator fit behind it.
constexpr size_t LONGEST_DIRECTORY = PLATFORM_PATH_SIZE - 14;
static_assert(LONGEST_DIRECTORY + sizeof "/TNT0000.tmp" <= PLATFORM_PATH_SIZE);
constexpr u32 TEMPORARY_NAMES = 0xFFFF;  // from 1 on

static void put_temporary_name(char *at, u32 number)
{
    static const char digits[] = "0123456789ABCDEF";
    memcpy(at, "TNT0000.tmp", sizeof "TNT0000.tmp");
    for (i32 i = 6; i >= 3; i--, number >>= 4) at[i] = digits[number & 15];
}

static u32 posix_make_temporary(const char *directory, char path[PLATFORM_PATH_SIZE])
{
    char directory_path[PATH_SIZE];
    u32 error = path_of(directory, directory_path);
    if (error) return error;

    struct stat found;
    if (stat(directory_path, &found) == -1 || !S_ISDIR(found.st_mode)) return PLATFORM_NO_DIRECTORY;
    size_t length = strlen(directory_path);
    if (length > LONGEST_DIRECTORY) return PLATFORM_BUFFER_OVERFLOW;

    memcpy(path, directory_path, length);
    if (path[length - 1] != '/') path[length++] = '/';

    // The search for a free number begins anywhere, so that programs do not queue for the same ones.
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    u32 start = (u32)now.tv_nsec / 1000 + (u32)getpid() * 31;
    for (u32 i = 0; i < TEMPORARY_NAMES; i++) {
        put_temporary_name(path + length, (start + i) % TEMPORARY_NAMES + 1);
        int fd = open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd != -1) {
            close(fd);
            return PLATFORM_OK;
        }
        if (errno != EEXIST) return name_error_of(errno, directory_path);
    }
    return PLATFORM_FILE_EXISTS;
}

// ---- Patterns -------------------------------------------------------------------------------------------------------

static u8 upper(char character)
{
    return (u8)(character >= 'a' && character <= 'z' ? character - 'a' + 'A' : character);
}

// Whether the `length` characters of a pattern stand for the whole name.
static bool wildcards_match(const char *pattern, size_t length, const char *name)
{
    const char *end = pattern + length;
    const char *after_star = nullptr;  // the pattern behind the last `*`, and the first character it did not take
    const char *not_taken = nullptr;
    while (*name) {
        if (pattern < end && *pattern == '*') {
            after_star = ++pattern;
            not_taken = name;
        } else if (pattern < end && (*pattern == '?' || upper(*pattern) == upper(*name))) {
            pattern++;
            name++;
        } else if (after_star) {
            pattern = after_star;
            name = ++not_taken;
        } else {
            return false;
        }
    }
    while (pattern < end && *pattern == '*') pattern++;
    return pattern == end;
}

static bool name_matches(const char *pattern, const char *name)
{
    size_t length = strlen(pattern);
    if (wildcards_match(pattern, length, name)) return true;

    // A name without a dot has an empty extension.
    bool any_extension = length >= 2 && memcmp(pattern + length - 2, ".*", 2) == 0;
    return any_extension && wildcards_match(pattern, length - 2, name);
}

// ---- Searches -------------------------------------------------------------------------------------------------------

struct Search {
    char *text;        // the names, each with its terminator
    size_t text_size;
    size_t text_room;
    const char **names;
    size_t count;
    size_t next;
};

static void search_free(Search *search)
{
    free(search->text);
    free(search->names);
    free(search);
}

static bool search_add(Search *search, const char *name)
{
    size_t size = strlen(name) + 1;
    if (search->text_size + size > search->text_room) {
        size_t room = search->text_room * 2 + 1024;
        char *text = (char *)realloc(search->text, room);
        if (!text) return false;
        search->text = text;
        search->text_room = room;
    }
    memcpy(search->text + search->text_size, name, size);
    search->text_size += size;
    search->count++;
    return true;
}

static int rank_of(const char *name)
{
    if (strcmp(name, ".") == 0) return 0;
    return strcmp(name, "..") == 0 ? 1 : 2;
}

static int order_of_names(const void *first, const void *second)
{
    const char *a = *(const char *const *)first;
    const char *b = *(const char *const *)second;
    int ranks = rank_of(a) - rank_of(b);
    if (ranks) return ranks;

    for (size_t i = 0; a[i] || b[i]; i++) {
        if (upper(a[i]) != upper(b[i])) return upper(a[i]) - upper(b[i]);  // so `_` comes behind Z
    }
    return strcmp(a, b);
}

// The names lie where they stay only when all have been read.
static bool search_sort(Search *search)
{
    search->names = (const char **)malloc(search->count * sizeof(const char *));
    if (!search->names) return false;

    const char *name = search->text;
    for (size_t i = 0; i < search->count; i++, name += strlen(name) + 1) search->names[i] = name;
    qsort(search->names, search->count, sizeof(const char *), order_of_names);
    return true;
}

static u32 search_read(Search *search, const char *directory, const char *pattern)
{
    DIR *entries = opendir(directory);
    if (!entries) return errno == ENOENT ? (u32)PLATFORM_PATH_NOT_FOUND : error_of(errno);

    u32 error = PLATFORM_OK;
    while (!error) {
        errno = 0;
        const dirent *entry = readdir(entries);
        if (!entry) {
            error = error_of(errno);
            break;
        }
        if (name_matches(pattern, entry->d_name) && !search_add(search, entry->d_name)) {
            error = PLATFORM_NOT_ENOUGH_MEMORY;
        }
    }
    closedir(entries);
    if (error) return error;
    if (search->count == 0) return PLATFORM_FILE_NOT_FOUND;
    return search_sort(search) ? PLATFORM_OK : PLATFORM_NOT_ENOUGH_MEMORY;
}

static u32 posix_find_next(PlatformSearch search, char name[PLATFORM_PATH_SIZE])
{
    if (search == 0 || search == PLATFORM_FAILED_SEARCH) return PLATFORM_INVALID_HANDLE;

    Search *at = (Search *)search;
    if (at->next == at->count) return PLATFORM_NO_MORE_FILES;
    static_assert(NAME_MAX < PLATFORM_PATH_SIZE);
    size_t size = strnlen(at->names[at->next], PLATFORM_PATH_SIZE - 1);  // no system gives more than `NAME_MAX`
    memcpy(name, at->names[at->next++], size);
    name[size] = 0;
    return PLATFORM_OK;
}

static u32 posix_find_first(const char *pattern, PlatformSearch *search, char name[PLATFORM_PATH_SIZE])
{
    *search = PLATFORM_FAILED_SEARCH;
    char path[PATH_SIZE];
    u32 error = path_of(pattern, path);
    if (error) return error;

    // The directory keeps its separator, so that it is one and not a file.
    const char *last_slash = strrchr(path, '/');
    const char *last = last_slash ? last_slash + 1 : path;
    char directory[PATH_SIZE] = ".";
    if (last_slash) {
        memcpy(directory, path, (size_t)(last - path));
        directory[last - path] = 0;
    }

    Search *made = (Search *)calloc(1, sizeof(Search));
    if (!made) return PLATFORM_NOT_ENOUGH_MEMORY;
    error = search_read(made, directory, last);
    if (error) {
        search_free(made);
        return error;
    }
    *search = (PlatformSearch)made;
    return posix_find_next(*search, name);
}

static void posix_find_close(PlatformSearch search)
{
    if (search != 0 && search != PLATFORM_FAILED_SEARCH) search_free((Search *)search);
}

// ---- The table ------------------------------------------------------------------------------------------------------

constinit const PlatformDirectories native_directories = {
    .make = posix_make,
    .change = posix_change,
    .temporary = posix_temporary,
    .make_temporary = posix_make_temporary,
    .find_first = posix_find_first,
    .find_next = posix_find_next,
    .find_close = posix_find_close,
};

} // namespace zuk
