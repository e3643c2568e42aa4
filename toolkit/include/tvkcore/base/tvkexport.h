#pragma once

// TVK_API marks what the shared library offers, TVK_MODULE_API what a module exports. TVKCORE_BUILD is set
// while the library itself is compiled.
#if defined(_WIN32)
#if defined(TVKCORE_BUILD)
#define TVK_API __declspec(dllexport)
#else
#define TVK_API __declspec(dllimport)
#endif
#define TVK_MODULE_API __declspec(dllexport)
#else
#define TVK_API __attribute__((visibility("default")))
#define TVK_MODULE_API __attribute__((visibility("default")))
#endif
