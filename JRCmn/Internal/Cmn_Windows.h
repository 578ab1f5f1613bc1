#pragma once

// The one gate through which <windows.h> comes in: lean, without min/max, Winsock 2 before it. Only sources include it.

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif

// clang-format off: the order is Winsock's.
#include <windows.h>
#include <winsock2.h>
// clang-format on
