#include "foundation/format.h"

namespace zuk {

PString long_to_pstr(PString dest, i32 value)
{
    u8 digits[10];
    u32 rest = value < 0 ? 0u - (u32)value : (u32)value;
    u32 count = 0;
    do {
        digits[count++] = (u8)('0' + rest % 10);
        rest /= 10;
    } while (rest);

    u32 at = 1;
    if (value < 0) dest[at++] = '-';
    while (count) dest[at++] = digits[--count];
    dest[0] = (u8)(at - 1);
    return dest;
}

} // namespace zuk
