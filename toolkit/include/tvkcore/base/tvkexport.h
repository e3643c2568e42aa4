#pragma once

// Marks what the shared library offers. TVKCORE_BUILD is set while the library itself is compiled.
#if defined(_WIN32)
#if defined(TVKCORE_BUILD)
#define TVK_API __declspec(dllexport)
#else
#define TVK_API __declspec(dllimport)
#endif
#else
#define TVK_API __attribute__((visibility("default")))
#endif
