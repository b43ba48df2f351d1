// A stopwatch on the finest counter of the system.
//
// A stopwatch is a `GHandle` with the count at its start. Any number may run at the same time. 0, a freed handle and
// one of less than 8 bytes are no stopwatch. Services for callers. Built on `platform_clock`.
#pragma once

#include "zuk/types.h"

namespace zuk {

i32 stopwatch_resolution();                  // 10, whatever the counter is: see its KEPT note
GHandle stopwatch_create();                  // one that started at the count of 0; 0 when memory is short
i16 stopwatch_start(GHandle watch);          // from now on; 1, or 0 without a stopwatch

// The milliseconds since the start, cut: 1. Without a counter in the system `*milliseconds` is 0 and the result 0;
// without a stopwatch the result is 0 and `*milliseconds` stays. Times of 2147483647 and more are stored as -1, and of
// a count that has gone back by that much only the low 32 bits. A null pointer stores nothing.
i16 stopwatch_elapsed(GHandle watch, i32 *milliseconds);

void stopwatch_dispose(GHandle watch);       // free it; 0 and a freed handle do nothing

} // namespace zuk
