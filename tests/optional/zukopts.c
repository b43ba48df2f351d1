/* The optional library of the tests: two sort orders, and a function that shows what it was given. */
#include <stdint.h>

#ifdef _WIN32
#define EXPORTED __declspec(dllexport)
#else
#define EXPORTED __attribute__((visibility("default")))
#endif

#pragma pack(push, 1)
struct record {
    uint16_t id;
    const char *name;
    const uint8_t *table;
};
#pragma pack(pop)

static uint8_t backwards[256];
static uint8_t blind[256];
static struct record backwards_record = { 7, "BACKWARDS", backwards };
static struct record blind_record = { 8, "BLIND", blind };

EXPORTED uintptr_t DLLFunction1(uintptr_t argument) { return argument * 2 + 1; }

/* The characters from the last to the first. */
EXPORTED uintptr_t DLLFunction2(uintptr_t argument)
{
    int i;
    for (i = 0; i < 256; i++) backwards[i] = (uint8_t)(255 - i);
    return argument ? 0 : (uintptr_t)&backwards_record;
}

/* Letters of both cases have one weight. */
EXPORTED uintptr_t DLLFunction3(uintptr_t argument)
{
    int i;
    for (i = 0; i < 256; i++) blind[i] = (uint8_t)(i >= 'A' && i <= 'Z' ? i - 'A' + 'a' : i);
    return argument ? 0 : (uintptr_t)&blind_record;
}
