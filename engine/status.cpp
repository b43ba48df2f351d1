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
    case 6: return DICT_NOT_OPEN;  // the file layer has no such code today
    case FILE_FULL: return DICT_NO_ROOM;
    default: return DICT_FAILED;
    }
}

} // namespace zuk
