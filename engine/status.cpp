#include "engine/status.h"

#include "files/file.h"

namespace zuk {

DictStatus status_from_file_error()
{
    switch (file_error) {
    case FILE_OK: return DICT_OK;
    case FILE_END:
    case FILE_BAD_NUMBER: return DICT_BAD_POSITION;
    case FILE_NOT_FOUND:
    case FILE_BAD_PATH: return DICT_NO_FILE;
    case FILE_TOO_MANY_OPEN: return DICT_TOO_MANY_FILES;
    case FILE_REFUSED: return DICT_ACCESS_DENIED;
    // KEPT: one would expect a row only for what can happen. The file layer has no code 6, and so this status comes
    // from elsewhere alone. Test: status_from_file_error.gives_7_for_a_code_that_no_operation_gives
    case 6: return DICT_NOT_OPEN;
    case FILE_FULL: return DICT_NO_ROOM;
    default: return DICT_FAILED;
    }
}

} // namespace zuk
