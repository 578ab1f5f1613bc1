#pragma once

// The one gate through which <windows.h> comes in: lean, without min/max, then Winsock 2. Not for public headers.

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif

// clang-format off: winsock2.h comes after the lean windows.h.
#include <windows.h>
#include <winsock2.h>
// clang-format on
