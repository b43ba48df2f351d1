#include "platform/platform.h"

#include <windows.h>

namespace zuk {

// A program that stops without a debugger would end.
static void win32_debug_break()
{
    if (IsDebuggerPresent()) DebugBreak();
}

constinit const PlatformDiagnostics native_diagnostics = { .debug_break = win32_debug_break };

} // namespace zuk
