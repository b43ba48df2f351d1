#include "platform/platform.h"

namespace zuk {

constinit const PlatformMemory *platform_memory = &native_memory;
constinit const PlatformFiles *platform_files = &native_files;
constinit const PlatformClock *platform_clock = &native_clock;

} // namespace zuk
