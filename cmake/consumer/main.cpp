// Uses the installed static library: an operation that the shared one doesn't show.
#include "foundation/handles.h"

int main()
{
    GHandle handle = zuk::ghandle_from_bytes("four", 4);
    if (!handle || gsize(handle) != 4 || zuk::handles_alive() != 1) return 1;
    gfree(handle);
    return 0;
}
