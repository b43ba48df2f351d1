#include "desktop/app_state.h"

#include <string.h>

namespace zuk {

constinit WindowRef app_main_window = nullptr;
constinit WindowRef app_current_window = nullptr;
constinit i32 app_client_width = 0;
constinit i32 app_client_height = 0;
constinit DrawingRef app_device_context = nullptr;
constinit char args_text[ARGS_TEXT_SIZE] = {};

void app_set_main_window(WindowRef window) { app_main_window = window; }
void app_set_current_window(WindowRef window) { app_current_window = window; }
void app_set_device_context(DrawingRef drawing) { app_device_context = drawing; }

void app_set_client_size(i32 width, i32 height)
{
    app_client_width = width;
    app_client_height = height;
}

void args_set_text(const char *text)
{
    size_t length = text ? strnlen(text, ARGS_TEXT_SIZE - 1) : 0;
    if (length > 0) memmove(args_text, text, length);
    memset(args_text + length, 0, ARGS_TEXT_SIZE - length);
}

void window_platform_set(const PlatformDesktop *table) { platform_desktop = table ? table : &native_desktop; }

} // namespace zuk
