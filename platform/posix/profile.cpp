// Profile files, which this system has no service for: read and written by platform/profile_text.h.
//
// A file is never lost or cut: the new text is written to a file beside it, and takes its place only when all of it is
// on the disk. Writers take their turns by a lock on the directory, as the file itself is another one after each write.

#include "platform/posix/names.h"
#include "platform/profile_text.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace zuk {

// A larger file is no profile file: it reads as if it were not there, and is not written to.
constexpr off_t LARGEST_PROFILE = 16 << 20;

// ---- Names ----------------------------------------------------------------------------------------------------------

// The path of a profile file. `in_home` tells that it is in the directory of settings, which a write makes.
static u32 profile_path(const char *file, char path[PATH_SIZE], bool *in_home)
{
    char directory[PATH_SIZE];
    char home[PATH_SIZE];
    if (!native_paths.windows_directory(directory, PATH_SIZE) || path_of(directory, home)) home[0] = 0;

    char native[2 * PATH_SIZE];
    bool bare = !strpbrk(file, "/\\");
    if (!file[0] || (bare && !home[0])) return PLATFORM_PATH_NOT_FOUND;
    int length = snprintf(native, sizeof native, "%s%s%s", bare ? home : "", bare ? "/" : "", file);
    if (length < 0 || length >= (int)sizeof native) return PLATFORM_BAD_PATHNAME;

    u32 error = path_of(native, path);
    if (error) return error;
    const char *last_slash = strrchr(path, '/');
    size_t home_length = strlen(home);
    *in_home = home_length && last_slash && (size_t)(last_slash - path) == home_length &&
               memcmp(path, home, home_length) == 0;
    return PLATFORM_OK;
}

// Make a directory and those above it. What fails shows when the file is made.
static void make_directories(char *path)
{
    for (char *at = path + 1; *at; at++) {
        if (*at != '/') continue;
        *at = 0;
        (void)mkdir(path, 0777);
        *at = '/';
    }
    (void)mkdir(path, 0777);
}

// ---- Reading --------------------------------------------------------------------------------------------------------

// The whole of a file in memory.
struct ProfileFile {
    char *text;       // to be freed
    size_t length;
    bool exists;
    struct stat found;
};

static int read_all(int fd, char *to, size_t length)
{
    for (size_t done = 0; done < length;) {
        ssize_t got = read(fd, to + done, length - done);
        if (got == -1 && errno == EINTR) continue;
        if (got == -1) return errno;
        if (got == 0) return EIO;  // it has become shorter meanwhile, and nobody writes to it like that
        done += (size_t)got;
    }
    return 0;
}

// A file that is not there is an empty one; any other failure is an error.
static u32 load(const char *path, ProfileFile *profile)
{
    *profile = {};
    // Without O_NONBLOCK a pipe would keep the caller waiting.
    int fd = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd == -1) return errno == ENOENT ? PLATFORM_OK : error_of(errno);

    u32 error = fstat(fd, &profile->found) == 0 ? (u32)PLATFORM_OK : error_of(errno);
    if (!error && !S_ISREG(profile->found.st_mode)) error = PLATFORM_ACCESS_DENIED;
    if (!error && profile->found.st_size > LARGEST_PROFILE) error = PLATFORM_NOT_ENOUGH_MEMORY;
    if (!error) {
        profile->exists = true;
        profile->length = (size_t)profile->found.st_size;
        profile->text = (char *)malloc(profile->length + 1);
        error = profile->text ? error_of(read_all(fd, profile->text, profile->length))
                              : (u32)PLATFORM_NOT_ENOUGH_MEMORY;
    }
    (void)close(fd);  // nothing was written
    if (!error) return PLATFORM_OK;
    free(profile->text);
    *profile = {};
    return error;
}

static u32 posix_profile_read(const char *file, const char *section, const char *key, char *value, u32 size)
{
    if (size == 0) return 0;
    value[0] = 0;
    char path[PATH_SIZE];
    bool in_home;
    ProfileFile profile;
    if (profile_path(file, path, &in_home) || load(path, &profile)) return 0;

    u32 length = profile_value(profile.text, profile.length, section, key, value, size);
    free(profile.text);
    return length;
}

static u32 posix_profile_read_number(const char *file, const char *section, const char *key)
{
    char value[PROFILE_NUMBER_SIZE];
    return posix_profile_read(file, section, key, value, sizeof value) ? profile_number(value) : 0;
}

// ---- Writing --------------------------------------------------------------------------------------------------------

// The name of the new file beside the old one.
constexpr size_t BESIDE_SIZE = PATH_SIZE + 32;

static int write_all(int fd, const char *from, size_t length)
{
    for (size_t done = 0; done < length;) {
        ssize_t put = write(fd, from + done, length - done);
        if (put == -1 && errno == EINTR) continue;
        if (put == -1) return errno;
        if (put == 0) return EIO;
        done += (size_t)put;
    }
    return 0;
}

static int write_edited(int fd, const ProfileFile &profile, const ProfileEdit &edit)
{
    int error = write_all(fd, profile.text, edit.place.from);
    for (u32 i = 0; !error && i < edit.count; i++) error = write_all(fd, edit.pieces[i].text, edit.pieces[i].length);
    if (!error) error = write_all(fd, profile.text + edit.place.to, profile.length - edit.place.to);
    return error;
}

// A new file with a name that nobody else has, and the rights of the old one: from its first moment on it gives nobody
// more of them, as passwords stand in such files.
static int make_beside(const char *path, const ProfileFile &profile, char beside[BESIDE_SIZE])
{
    mode_t rights = profile.exists ? profile.found.st_mode & 0777 : 0666;
    int fd = -1;
    for (u32 n = 0; n < 1000; n++) {
        (void)snprintf(beside, BESIDE_SIZE, "%s.%lx.%u", path, (unsigned long)getpid(), n);
        fd = open(beside, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, rights);
        if (fd != -1 || errno != EEXIST) break;
    }
    if (fd == -1 || !profile.exists) return fd;
    // The owner first, since a change of it takes away some rights. Who may not do this writes as himself.
    if (fchown(fd, profile.found.st_uid, profile.found.st_gid) == -1) (void)fchown(fd, (uid_t)-1, profile.found.st_gid);
    (void)fchmod(fd, profile.found.st_mode & 07777);
    return fd;
}

// Write the new text beside the old one and put it in its place. To the system that is a change of the directory alone,
// but who may not write to the file is refused here as everywhere.
static u32 replace(const char *path, const ProfileFile &profile, const ProfileEdit &edit)
{
    if (profile.exists && faccessat(AT_FDCWD, path, W_OK, AT_EACCESS) == -1) return error_of(errno);

    char beside[BESIDE_SIZE];
    int fd = make_beside(path, profile, beside);
    if (fd == -1) return name_error_of(errno, path);

    int error = write_edited(fd, profile, edit);
    if (!error && fsync(fd) == -1) error = errno;
    if (close(fd) == -1 && !error) error = errno;
    if (!error && rename(beside, path) == -1) error = errno;
    if (error) (void)unlink(beside);
    return error_of(error);
}

// Wait for the other writers of the directory, but not for ever: who does not come to his turn writes all the same, and
// nothing but one key of two that are written at the same moment can get lost. The lock goes with the descriptor.
constexpr u32 TURNS_WAITED = 200;

static int wait_for_turn(const char *path)
{
    char directory[PATH_SIZE];
    const char *last_slash = strrchr(path, '/');
    size_t length = last_slash ? (size_t)(last_slash - path) + 1 : 0;  // with the slash, for the root
    memcpy(directory, path, length);
    directory[length] = 0;
    int fd = open(length ? directory : ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (u32 turn = 0; fd != -1 && turn < TURNS_WAITED; turn++) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) break;
        timespec moment = { 0, 5000000 };
        (void)nanosleep(&moment, nullptr);  // a signal only makes it shorter
    }
    return fd;
}

static u32 posix_profile_write(const char *file, const char *section, const char *key, const char *value)
{
    char path[PATH_SIZE];
    bool in_home;
    u32 error = profile_path(file, path, &in_home);
    if (error) return error;
    if (in_home) {
        char *last_slash = strrchr(path, '/');
        *last_slash = 0;
        make_directories(path);
        *last_slash = '/';
    }
    // A link stays a link: what it leads to is written. One that leads nowhere at the moment is not written over.
    char real[PATH_MAX];
    struct stat link;
    if (realpath(path, real)) {
        if (strlen(real) >= PATH_SIZE) return PLATFORM_BAD_PATHNAME;
        strcpy(path, real);
    } else if (lstat(path, &link) == 0 && S_ISLNK(link.st_mode)) {
        return PLATFORM_FILE_NOT_FOUND;
    }

    int turn = wait_for_turn(path);
    ProfileFile profile;
    error = load(path, &profile);
    ProfileEdit edit;
    bool good = !error && profile_edit(profile.text, profile.length, section, key, value, &edit);
    if (!error && !good) error = PLATFORM_ACCESS_DENIED;
    if (!error) error = replace(path, profile, edit);
    free(profile.text);
    if (turn != -1) (void)close(turn);
    return error;
}

// Each read reads the file itself.
static void posix_profile_flush(const char *) {}

// ---- The table ------------------------------------------------------------------------------------------------------

constinit const PlatformProfiles native_profiles = {
    .read = posix_profile_read,
    .read_number = posix_profile_read_number,
    .write = posix_profile_write,
    .flush = posix_profile_flush,
};

} // namespace zuk
