#include <windows.h>

namespace {

thread_local DWORD lastError = ERROR_SUCCESS;

} // namespace

DWORD WINAPI GetLastError(void) { return lastError; }

void WINAPI SetLastError(DWORD dwErrCode) { lastError = dwErrCode; }
