// The shared library's own translation unit: all code comes from kwa_core.
#if defined(_WIN32)
#include <windows.h>

// Loading and unloading do no work of their own.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }
#endif
