// Records inside the body of a resource.
//
// A body can begin with a header of counters, followed by arrays of records of a fixed size. A layout number (0 to 39)
// names one array; a record is named by layout and index, and nobody but this unit has to know where it lies. Only
// handles are used: no file is touched, nothing is locked, and nothing is kept between calls.
//
// A body of a group of three arrays, with 2, 1 and 3 records:
//
//   | counters, then the format's own | 1 | 2 |   1   | 1 | 2 | 3 |  tail
//   |             header              | first | second|   third   |  whatever the format has there
//
// The arrays of a group stand in the order of their layouts, without a gap. Each has a signed counter of 16 bits in the
// header, which is the only record of its length: an array begins where the counters of those in front of it say.
//
// `add_res`, `get_res`, `del_res` and `change_res` are declared in zuk/zuk.h. They tell no status. Whatever would reach
// outside the body does nothing at all, and so does a body that is shorter than the header of its layout.
#pragma once

#include "zuk/zuk.h"

namespace zuk {

// Bytes of one record; 0 for a layout that does not exist.
i16 sub_record_size(i32 layout);

// Bytes of the arrays in front of this one. `body` is what `glock` gave, as its size is asked for: a counter that the
// body is too short for is 0.
i32 sub_records_before(i32 layout, const void *body);

// Bytes of the header and of the records below `index` (from 1 on). A record begins at the sum of these two.
i32 sub_record_offset(i32 layout, i32 index);

// Add `delta` to the array's counter, in 16 bits. A body too short for the counter is left alone.
void sub_record_count_add(GHandle body, i32 layout, i16 delta);

} // namespace zuk
