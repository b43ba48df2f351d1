#include "platform/platform.h"

namespace zuk {

constinit const PlatformMemory *platform_memory = &native_memory;
constinit const PlatformFiles *platform_files = &native_files;
constinit const PlatformClock *platform_clock = &native_clock;
constinit const PlatformDirectories *platform_directories = &native_directories;
constinit const PlatformLibraries *platform_libraries = &native_libraries;
constinit const PlatformDiagnostics *platform_diagnostics = &native_diagnostics;
constinit const PlatformProfiles *platform_profiles = &native_profiles;
constinit const PlatformPaths *platform_paths = &native_paths;
constinit const PlatformDesktop *platform_desktop = &native_desktop;

} // namespace zuk
