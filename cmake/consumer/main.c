/* Uses the installed C interface: a handle is made, resized and freed. */
#include <zuk/zuk.h>

int main(void)
{
    GHandle handle = galloc(10, 0, 1);
    if (!handle || !grealloc(&handle, 20) || gsize(handle) != 20) return 1;
    gfree(handle);
    return 0;
}
