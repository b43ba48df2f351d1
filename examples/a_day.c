/* A day of a program that keeps its forms in a dictionary, through zuk/zuk.h alone.
 *
 * In the morning it makes a dictionary and puts two forms into it; at noon it edits one of them, record by record; in
 * the evening it looks that form up by its name, lists what there is, and closes. A form is a resource of kind 1: it
 * belongs to a series of the application (here Sales), and its identifier is unique in all of them. */
#include "zuk/zuk.h"

#include <stdio.h>
#include <stdlib.h>

enum { FORMS = 1 };                           /* what this program calls its dictionary, from 0 to 65534 */
enum { SALES = 2 };                           /* a series */
enum { KIND = 1, FIELDS = 7, FORM = 18 };     /* the coordinates of all forms: kind, core type, resource type */

/* The body of a form: a header with two counters, then the numbers of its fields, then those of its messages, 16 bits
 * each. Layouts 0 and 1 of add_res and its family are such a pair of arrays. */
enum { HEADER_SIZE = 4, FIELD = 0, MESSAGE = 1 };

/* Every call that can fail goes through one of these two; the first that does fail ends the program, and the system
 * closes what is open. */
static void need(int done, const char *what)
{
    if (done) return;
    fprintf(stderr, "a_day: %s failed\n", what);
    exit(EXIT_FAILURE);
}

static void need_ok(DictStatus status, const char *what)
{
    if (status == DICT_OK) return;
    fprintf(stderr, "a_day: %s gave status %lu\n", what, (unsigned long)status);
    exit(EXIT_FAILURE);
}

/* Names and paths are strings with their length in front. Such a buffer holds any of them. */
typedef uint8_t Text[256];

/* What a dictionary holds is the same on every machine: numbers stand in it low byte first, at any address. */
static int number_at(const uint8_t *bytes) { return bytes[0] | bytes[1] << 8; }

static int count_of(GHandle form, int layout)
{
    int count = number_at((const uint8_t *)glock(form) + 2 * layout);   /* the two counters are the header */
    gunlock(form);
    return count;
}

static void insert(GHandle *form, int layout, int index, int number)
{
    uint8_t record[2] = { (uint8_t)number, (uint8_t)(number >> 8) };
    add_res(form, layout, (int16_t)index, record);
    need(*form != 0, "add_res");          /* the one sign of short memory: the handle is gone */
}

static void replace(GHandle form, int layout, int index, int number)
{
    uint8_t record[2] = { (uint8_t)number, (uint8_t)(number >> 8) };
    change_res(form, layout, (uint16_t)index, record);
}

static void print_form(GHandle form)
{
    for (int layout = FIELD; layout <= MESSAGE; layout++) {
        printf("    %s", layout == FIELD ? "fields  " : "messages");
        for (int index = 1; index <= count_of(form, layout); index++) {
            uint8_t record[2];
            get_res(form, layout, (uint16_t)index, record);
            printf(" %d", number_at(record));
        }
        printf("\n");
    }
}

/* Add a form with three fields and a message. Its identifier is the next free one, which the dictionary chooses. */
static uint16_t add_form(const char *name, int first_field)
{
    Text text;
    int16_t id = dd_uniqueid(KIND, FIELDS, FORM);
    need(id != 0, "dd_uniqueid");

    GHandle form = galloc(HEADER_SIZE, NULL, 1);     /* filled with 0: both arrays are empty */
    need(form != 0, "galloc");
    for (int i = 0; i < 3; i++) insert(&form, FIELD, i + 1, first_field + 10 * i);
    insert(&form, MESSAGE, 1, 900);

    need_ok(dd_add_resource(KIND, FIELDS, FORM, id, pstrconst(text, name), form), "dd_add_resource");
    gfree(form);                                     /* the dictionary has its own copy, in the file */
    printf("added \"%s\" as resource %d\n", name, id);
    return (uint16_t)id;
}

static void morning(uint16_t *order)
{
    Text path;
    pstrconst(path, "a_day.dic");
    need(dd_init() == 1, "dd_init");                 /* the only one that gives 1 for success */
    need_ok(ds_createfile(FORMS, path), "ds_createfile");
    need_ok(ds_openfile(FORMS, path, DICT_SHARED, 0, NULL), "ds_openfile");   /* and it is the current one */
    printf("made a_day.dic, and opened it for everybody\n");

    dd_choose_owner(SALES);                          /* what is added from here on belongs to Sales */
    *order = add_form("Order", 110);
    (void)add_form("Invoice", 210);
}

static void noon(uint16_t order)
{
    uint32_t status;
    GHandle form = dd_getresourcehndl(KIND, FIELDS, FORM, order, 0, &status);
    need_ok(status, "dd_getresourcehndl");
    need(form != 0, "dd_getresourcehndl");           /* status 0 without a handle: no memory for the body */
    printf("\nresource %d as it was\n", order);
    print_form(form);

    insert(&form, FIELD, 2, 115);                    /* between the first two; the message moves by itself */
    del_res(&form, FIELD, 4);                        /* the last one */
    need(form != 0, "del_res");
    replace(form, MESSAGE, 1, 905);

    need_ok(dd_change_resource(KIND, FIELDS, FORM, order, NULL, form), "dd_change_resource");   /* the name stays */
    gfree(form);                                     /* what a read gave is the reader's to free */
}

static void evening(void)
{
    Text name;
    uint32_t status;
    GHandle form = dd_getnamedreshndl(KIND, FIELDS, FORM, pstrconst(name, "Order"), 0, &status);
    need_ok(status, "dd_getnamedreshndl");
    need(form != 0, "dd_getnamedreshndl");
    printf("\n\"Order\" as it is now\n");
    print_form(form);
    gfree(form);

    int16_t count = dd_numresources(KIND, FIELDS, FORM);
    printf("\n%d forms\n", count);
    for (int16_t n = 1; n <= count; n++) {
        int32_t id = dd_get_nresid(KIND, FIELDS, FORM, n);
        need(id != 0, "dd_get_nresid");
        need_ok(dd_getnresname(KIND, FIELDS, FORM, n, name), "dd_getnresname");
        printf("    %ld  %.*s\n", (long)id, name[0], (const char *)name + 1);
    }

    need_ok(ds_closefile(FORMS), "ds_closefile");
    dd_term();
    printf("\nclosed\n");
}

int main(void)
{
    uint16_t order;
    morning(&order);
    noon(order);
    evening();
    return 0;
}
