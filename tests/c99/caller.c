/* A program in plain C that uses the library through its public header: it makes a dictionary, fills it, reads it back,
 * changes and removes what is in it, and compares every result. It says what surprised it, and fails then. */
#include "zuk/zuk.h"

#include <stdio.h>
#include <string.h>

static int surprises;

#define EXPECT(what, expected) expect(#what, (long)(what), (long)(expected), __LINE__)

static void expect(const char *what, long actual, long expected, int line)
{
    if (actual == expected) return;
    printf("line %d: %s is %ld, not %ld\n", line, what, actual, expected);
    surprises++;
}

/* A string of the library, in a buffer that lasts until the next but three. */
static PString text(const char *characters)
{
    static uint8_t buffers[4][256];
    static int next;
    next = (next + 1) % 4;
    return pstrconst(buffers[next], characters);
}

static GHandle body_of(const char *characters)
{
    GHandle body = galloc((int32_t)strlen(characters), text("a body"), 0);
    memcpy(glock(body), characters, strlen(characters));
    gunlock(body);
    return body;
}

static int same_body(GHandle body, const char *characters)
{
    int same = gsize(body) == (int32_t)strlen(characters) && memcmp(glock(body), characters, strlen(characters)) == 0;
    gunlock(body);
    gfree(body);
    return same;
}

static int same_text(ConstPString string, const char *characters)
{
    return string[0] == strlen(characters) && memcmp(string + 1, characters, string[0]) == 0;
}

/* Kind 2, module 101 (the second of its kind), type 9. */
enum { KIND = 2, MODULE = 101, TYPE = 9, MODULES = 2 };
static const char LONG_BODY[] = "a body that is longer than the one before";

static void fill(void)
{
    GHandle body = body_of("the first body");
    EXPECT(dd_add_resource(KIND, 100, MODULES, 100, text("one hundred"), 0), DICT_OK);
    EXPECT(dd_add_resource(KIND, MODULE, MODULES, MODULE, text("one hundred and one"), 0), DICT_OK);
    EXPECT(dd_add_resource(KIND, MODULE, TYPE, 1, text("first"), body), DICT_OK);
    EXPECT(dd_add_resource(KIND, MODULE, TYPE, 2, text("second"), 0), DICT_OK);
    EXPECT(dd_add_resource(KIND, MODULE, TYPE, 2, text("third"), body), DICT_EXISTS);
    EXPECT(dd_add_resource(KIND, MODULE, TYPE, 3, text("first"), body), DICT_EXISTS);
    EXPECT(dd_add_resource(KIND, MODULE, TYPE, 3, text(""), body), DICT_BAD_NAME);
    EXPECT(dd_add_resource(KIND, 102, TYPE, 1, text("nowhere"), body), DICT_NOT_FOUND);
    EXPECT(same_body(body, "the first body"), 1);
}

static void read_back(void)
{
    uint32_t status = 99;
    uint8_t name[256];
    EXPECT(same_body(dd_getresourcehndl(KIND, MODULE, TYPE, 1, 0, &status), "the first body"), 1);
    EXPECT(status, DICT_OK);
    EXPECT(same_body(dd_getnresourcehndl(KIND, MODULE, TYPE, 1, 0, NULL), "the first body"), 1);
    EXPECT(same_body(dd_getnamedreshndl(KIND, MODULE, TYPE, text("first"), 0, &status), "the first body"), 1);
    EXPECT(same_body(dd_getresourcehndl(KIND, MODULE, TYPE, 2, 0, &status), ""), 1);
    EXPECT(dd_getresourcehndl(KIND, MODULE, TYPE, 3, 0, &status), 0);
    EXPECT(status, DICT_NOT_FOUND);

    EXPECT(dd_getresname(KIND, MODULE, TYPE, 2, name), DICT_OK);
    EXPECT(same_text(name, "second"), 1);
    EXPECT(dd_getresname(KIND, MODULE, TYPE, 3, name), DICT_NOT_FOUND);
    EXPECT(same_text(name, "[Not Found]"), 1);
    EXPECT(dd_getnresname(KIND, MODULE, TYPE, 1, name), DICT_OK);
    EXPECT(same_text(name, "first"), 1);

    EXPECT(dd_numresources(KIND, MODULE, TYPE), 2);
    EXPECT(dd_numresources(KIND, 0, MODULES), 2);
    EXPECT(dd_get_resid(KIND, MODULE, TYPE, text("second")), 2);
    EXPECT(dd_get_resid(KIND, MODULE, TYPE, text("third")), 0);
    EXPECT(dd_get_nresid(KIND, MODULE, TYPE, 2), 2);
    EXPECT(dd_get_nresid(KIND, 0, MODULES, 2), MODULE);
    EXPECT(dd_get_resid_pos(KIND, MODULE, TYPE, 2), 2);
    EXPECT(dd_local_numres(0, KIND, MODULE, TYPE), 2);
}

static void change_and_remove(void)
{
    uint32_t status = 99;
    GHandle body = body_of(LONG_BODY);
    EXPECT(dd_change_resource(KIND, MODULE, TYPE, 2, text("changed"), body), DICT_OK);
    EXPECT(dd_change_resource(KIND, MODULE, TYPE, 2, NULL, 0), DICT_OK);
    EXPECT(dd_change_resource(KIND, MODULE, TYPE, 2, text("first"), 0), DICT_EXISTS);
    EXPECT(dd_change_resource(KIND, MODULE, TYPE, 3, text("third"), body), DICT_NOT_FOUND);
    gfree(body);
    EXPECT(dd_get_resid(KIND, MODULE, TYPE, text("changed")), 2);
    EXPECT(same_body(dd_getresourcehndl(KIND, MODULE, TYPE, 2, 0, &status), LONG_BODY), 1);

    EXPECT(dd_remove_resource(KIND, MODULE, TYPE, 1), DICT_OK);
    EXPECT(dd_remove_resource(KIND, MODULE, TYPE, 1), DICT_NOT_FOUND);
    EXPECT(dd_numresources(KIND, MODULE, TYPE), 1);
    EXPECT(same_body(dd_getresourcehndl(KIND, MODULE, TYPE, 2, 0, &status), LONG_BODY), 1);
    EXPECT(dd_remove_resource(KIND, 0, MODULES, 100), DICT_OK);
    EXPECT(dd_numresources(KIND, 0, MODULES), 1);
}

/* In another process, or after a close, the file tells the same. */
static void open_again(ConstPString path)
{
    uint32_t status = 99;
    DictCookie cookie = { 7, 7, 7 };
    EXPECT(ds_openfile(2, path, DICT_READ_ONLY, 0, &cookie), DICT_OK);
    EXPECT(cookie.slot, 1);
    EXPECT(cookie.selector, 0);
    EXPECT(cookie.other_selector, 0);
    EXPECT(ds_default_form_cookie(&cookie), 0);
    EXPECT(ds_setcurdict(&cookie), DICT_OK);
    EXPECT(same_body(dd_getresourcehndl(KIND, MODULE, TYPE, 2, 0, &status), LONG_BODY), 1);
    EXPECT(dd_add_resource(KIND, MODULE, TYPE, 9, text("refused"), 0), DICT_ACCESS_DENIED);
    EXPECT(ds_openfile(2, path, DICT_READ_ONLY, 0, &cookie), DICT_EXISTS);
    EXPECT(ds_closefile(2), DICT_OK);
    EXPECT(dd_getresourcehndl(KIND, MODULE, TYPE, 2, 0, &status), 0);
    EXPECT(status, DICT_NOT_OPEN);
}

static void use_the_rest(void)
{
    uint8_t name[256];
    GHandle handle = galloc(4, NULL, 1);
    EXPECT(grealloc(&handle, 100), 1);
    EXPECT(gsize(handle), 100);
    EXPECT(((uint8_t *)glock(handle))[99], 0);
    gunlock(handle);
    gfree(handle);

    EXPECT(dd_get_owner(NULL, TYPE, 1), -1);
    EXPECT(dd_choose_owner(0), 0);

    pstrconst(name, "DIR/");
    pstricat(name, text("xFILEx"), 2, 4);
    EXPECT(pstricompare(name, text("dir/file"), 1, 255, 1), 0);
    EXPECT(strcmp((char *)ptocstr(filename_2_native(name)), "DIR\\FILE"), 0);
    EXPECT(ctopstr(name) == name, 1);
    EXPECT(same_text(native_2_filename(name), "DIR/FILE"), 1);
    pstricpy(name, text("abcdef"), 2, 3);
    EXPECT(same_text(name, "bcd"), 1);
    EXPECT(pstrnull(name)[0], 0);
}

int main(void)
{
    static const char file[] = "c99_caller.dic";
    uint8_t path[256];
    pstrconst(path, file);

    EXPECT(ds_createfile(1, path), DICT_NOT_STARTED);
    EXPECT(dd_init(), 1);
    EXPECT(ds_createfile(1, NULL), DICT_NO_NAME);
    EXPECT(ds_createfile(1, path), DICT_OK);
    EXPECT(ds_openfile(1, path, DICT_EXCLUSIVE, 0, NULL), DICT_OK);
    fill();
    read_back();
    change_and_remove();
    EXPECT(ds_closefile(1), DICT_OK);
    open_again(path);
    use_the_rest();
    dd_term();
    EXPECT(remove(file), 0);

    if (surprises) printf("%d surprises\n", surprises);
    return surprises != 0;
}
