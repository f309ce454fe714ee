// Tests under Wine: its imaging component has gaps that the one of Windows does not have.
#pragma once

#ifdef _WIN32
#include <windows.h>

inline bool IsWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}
#else
inline bool IsWine() {
    return false;
}
#endif
