// The platform's base types, version query, loader notes and error values, under their published names and
// with their published values, so that a source written for that platform compiles here unchanged. A DWORD
// has 32 bits and a BOOL is an int, whatever the word size; a wide character is the compiler's wchar_t.
#pragma once

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define WINCRYPT_API __attribute__((visibility("default")))
#else
#define WINCRYPT_API
#endif

#define WINAPI
#define CALLBACK
#define APIENTRY WINAPI

#ifdef __cplusplus
#define WINCRYPT_INTEGER(type, value) (static_cast<type>(value))
#define WINCRYPT_POINTER(type, value) (reinterpret_cast<type>(static_cast<ULONG_PTR>(value)))
extern "C" {
#else
#define WINCRYPT_INTEGER(type, value) ((type)(value))
#define WINCRYPT_POINTER(type, value) ((type)(ULONG_PTR)(value))
#endif

typedef void VOID;
typedef char CHAR;
typedef unsigned char UCHAR;
typedef unsigned char BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef int INT;
typedef unsigned int UINT;
typedef int BOOL;
typedef unsigned long long ULONGLONG;
typedef unsigned long long DWORDLONG;
typedef unsigned long ULONG_PTR;
typedef wchar_t WCHAR;
typedef LONG HRESULT;

typedef void* PVOID;
typedef void* LPVOID;
typedef void const* LPCVOID;
typedef void* HANDLE;
typedef BYTE* PBYTE;
typedef BYTE* LPBYTE;
typedef DWORD* PDWORD;
typedef DWORD* LPDWORD;
typedef BOOL* PBOOL;
typedef CHAR* LPSTR;
typedef CHAR const* LPCSTR;
typedef WCHAR* LPWSTR;
typedef WCHAR const* LPCWSTR;

struct HINSTANCE__;
typedef struct HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;

#ifndef FALSE
#define FALSE 0
#endif
#ifndef TRUE
#define TRUE 1
#endif

#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#define DLL_THREAD_ATTACH 2
#define DLL_THREAD_DETACH 3

typedef struct _FILETIME {
    DWORD dwLowDateTime; // 100 nanosecond steps since 1601-01-01, lower half
    DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;

typedef struct _SYSTEMTIME {
    WORD wYear;
    WORD wMonth; // 1 to 12
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;

typedef struct _OSVERSIONINFOEXA {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    CHAR szCSDVersion[128];
    WORD wServicePackMajor;
    WORD wServicePackMinor;
    WORD wSuiteMask;
    BYTE wProductType;
    BYTE wReserved;
} OSVERSIONINFOEXA, *POSVERSIONINFOEXA, *LPOSVERSIONINFOEXA;

#define VER_EQUAL 1
#define VER_GREATER 2
#define VER_GREATER_EQUAL 3
#define VER_LESS 4
#define VER_LESS_EQUAL 5
#define VER_AND 6
#define VER_OR 7

#define VER_MINORVERSION 0x00000001
#define VER_MAJORVERSION 0x00000002
#define VER_BUILDNUMBER 0x00000004
#define VER_PLATFORMID 0x00000008
#define VER_SERVICEPACKMINOR 0x00000010
#define VER_SERVICEPACKMAJOR 0x00000020
#define VER_SUITENAME 0x00000040
#define VER_PRODUCT_TYPE 0x00000080

#define VER_PLATFORM_WIN32_NT 2
#define VER_NT_WORKSTATION 0x00000001

// Error values of the system.
#define ERROR_SUCCESS 0
#define NO_ERROR 0
#define ERROR_FILE_NOT_FOUND 2
#define ERROR_PATH_NOT_FOUND 3
#define ERROR_ACCESS_DENIED 5
#define ERROR_INVALID_HANDLE 6
#define ERROR_NOT_ENOUGH_MEMORY 8
#define ERROR_NOT_SUPPORTED 50
#define ERROR_INVALID_PARAMETER 87
#define ERROR_DISK_FULL 112
#define ERROR_BAD_ARGUMENTS 160
#define ERROR_BUSY 170
#define ERROR_MORE_DATA 234
#define ERROR_NO_MORE_ITEMS 259
#define ERROR_NO_UNICODE_TRANSLATION 1113
#define ERROR_IO_DEVICE 1117
#define ERROR_OLD_WIN_VERSION 1150
#define ERROR_CANCELLED 1223
#define ERROR_INTERNAL_ERROR 1359
#define ERROR_REVISION_MISMATCH 1306
#define ERROR_FILE_CORRUPT 1392

#define S_OK WINCRYPT_INTEGER(HRESULT, 0)
#define E_UNEXPECTED WINCRYPT_INTEGER(HRESULT, 0x8000FFFF)
#define E_ACCESSDENIED WINCRYPT_INTEGER(HRESULT, 0x80070005)
#define E_OUTOFMEMORY WINCRYPT_INTEGER(HRESULT, 0x8007000E)
#define E_INVALIDARG WINCRYPT_INTEGER(HRESULT, 0x80070057)

// Error values of providers.
#define NTE_BAD_UID WINCRYPT_INTEGER(HRESULT, 0x80090001)
#define NTE_BAD_HASH WINCRYPT_INTEGER(HRESULT, 0x80090002)
#define NTE_BAD_KEY WINCRYPT_INTEGER(HRESULT, 0x80090003)
#define NTE_BAD_LEN WINCRYPT_INTEGER(HRESULT, 0x80090004)
#define NTE_BAD_DATA WINCRYPT_INTEGER(HRESULT, 0x80090005)
#define NTE_BAD_SIGNATURE WINCRYPT_INTEGER(HRESULT, 0x80090006)
#define NTE_BAD_VER WINCRYPT_INTEGER(HRESULT, 0x80090007)
#define NTE_BAD_ALGID WINCRYPT_INTEGER(HRESULT, 0x80090008)
#define NTE_BAD_FLAGS WINCRYPT_INTEGER(HRESULT, 0x80090009)
#define NTE_BAD_TYPE WINCRYPT_INTEGER(HRESULT, 0x8009000A)
#define NTE_BAD_KEY_STATE WINCRYPT_INTEGER(HRESULT, 0x8009000B)
#define NTE_BAD_HASH_STATE WINCRYPT_INTEGER(HRESULT, 0x8009000C)
#define NTE_NO_KEY WINCRYPT_INTEGER(HRESULT, 0x8009000D)
#define NTE_NO_MEMORY WINCRYPT_INTEGER(HRESULT, 0x8009000E)
#define NTE_EXISTS WINCRYPT_INTEGER(HRESULT, 0x8009000F)
#define NTE_PERM WINCRYPT_INTEGER(HRESULT, 0x80090010)
#define NTE_NOT_FOUND WINCRYPT_INTEGER(HRESULT, 0x80090011)
#define NTE_DOUBLE_ENCRYPT WINCRYPT_INTEGER(HRESULT, 0x80090012)
#define NTE_BAD_PROVIDER WINCRYPT_INTEGER(HRESULT, 0x80090013)
#define NTE_BAD_PROV_TYPE WINCRYPT_INTEGER(HRESULT, 0x80090014)
#define NTE_BAD_PUBLIC_KEY WINCRYPT_INTEGER(HRESULT, 0x80090015)
#define NTE_BAD_KEYSET WINCRYPT_INTEGER(HRESULT, 0x80090016)
#define NTE_PROV_TYPE_NOT_DEF WINCRYPT_INTEGER(HRESULT, 0x80090017)
#define NTE_PROV_TYPE_ENTRY_BAD WINCRYPT_INTEGER(HRESULT, 0x80090018)
#define NTE_KEYSET_NOT_DEF WINCRYPT_INTEGER(HRESULT, 0x80090019)
#define NTE_KEYSET_ENTRY_BAD WINCRYPT_INTEGER(HRESULT, 0x8009001A)
#define NTE_PROV_TYPE_NO_MATCH WINCRYPT_INTEGER(HRESULT, 0x8009001B)
#define NTE_SIGNATURE_FILE_BAD WINCRYPT_INTEGER(HRESULT, 0x8009001C)
#define NTE_PROVIDER_DLL_FAIL WINCRYPT_INTEGER(HRESULT, 0x8009001D)
#define NTE_PROV_DLL_NOT_FOUND WINCRYPT_INTEGER(HRESULT, 0x8009001E)
#define NTE_BAD_KEYSET_PARAM WINCRYPT_INTEGER(HRESULT, 0x8009001F)
#define NTE_FAIL WINCRYPT_INTEGER(HRESULT, 0x80090020)
#define NTE_SYS_ERR WINCRYPT_INTEGER(HRESULT, 0x80090021)
#define NTE_SILENT_CONTEXT WINCRYPT_INTEGER(HRESULT, 0x80090022)
#define NTE_TOKEN_KEYSET_STORAGE_FULL WINCRYPT_INTEGER(HRESULT, 0x80090023)
#define NTE_NOT_SUPPORTED WINCRYPT_INTEGER(HRESULT, 0x80090029)

// Error values of certificate stores and encodings.
#define CRYPT_E_UNKNOWN_ALGO WINCRYPT_INTEGER(HRESULT, 0x80091002)
#define CRYPT_E_EXISTS WINCRYPT_INTEGER(HRESULT, 0x80092005)
#define CRYPT_E_NOT_FOUND WINCRYPT_INTEGER(HRESULT, 0x80092004)
#define CRYPT_E_NO_KEY_PROPERTY WINCRYPT_INTEGER(HRESULT, 0x8009200B)
#define CRYPT_E_PENDING_CLOSE WINCRYPT_INTEGER(HRESULT, 0x8009200F)
#define CRYPT_E_INVALID_X500_STRING WINCRYPT_INTEGER(HRESULT, 0x80092023)
#define CRYPT_E_BAD_ENCODE WINCRYPT_INTEGER(HRESULT, 0x80092002)
#define CRYPT_E_ASN1_CORRUPT WINCRYPT_INTEGER(HRESULT, 0x80093103)

// Error values of smart cards.
#define SCARD_E_TIMEOUT WINCRYPT_INTEGER(HRESULT, 0x8010000A)
#define SCARD_E_SHARING_VIOLATION WINCRYPT_INTEGER(HRESULT, 0x8010000B)
#define SCARD_E_NO_SMARTCARD WINCRYPT_INTEGER(HRESULT, 0x8010000C)
#define SCARD_F_COMM_ERROR WINCRYPT_INTEGER(HRESULT, 0x80100013)
#define SCARD_E_NO_READERS_AVAILABLE WINCRYPT_INTEGER(HRESULT, 0x8010002E)
#define SCARD_W_WRONG_CHV WINCRYPT_INTEGER(HRESULT, 0x8010006B)
#define SCARD_W_CHV_BLOCKED WINCRYPT_INTEGER(HRESULT, 0x8010006C)
#define SCARD_W_REMOVED_CARD WINCRYPT_INTEGER(HRESULT, 0x80100069)
#define SCARD_W_CANCELLED_BY_USER WINCRYPT_INTEGER(HRESULT, 0x8010006E)
#define SCARD_W_CARD_NOT_AUTHENTICATED WINCRYPT_INTEGER(HRESULT, 0x8010006F)

// The error value of the calling thread's last call that failed. A call that succeeds leaves it alone.
WINCRYPT_API DWORD WINAPI GetLastError(void);
WINCRYPT_API void WINAPI SetLastError(DWORD dwErrCode);

// Compares this system, which answers as version 10.0 without service pack, with the fields that dwTypeMask
// names. Major number, minor number and service pack are compared in that order, and a later one counts only
// where the earlier ones are equal. Errors: ERROR_OLD_WIN_VERSION when the system doesn't meet it,
// ERROR_BAD_ARGUMENTS.
WINCRYPT_API BOOL WINAPI VerifyVersionInfoA(LPOSVERSIONINFOEXA lpVersionInformation, DWORD dwTypeMask,
                                            DWORDLONG dwlConditionMask);

// Adds one comparison to a condition mask: TypeMask is one VER_ field, Condition one of VER_EQUAL to VER_OR.
WINCRYPT_API ULONGLONG WINAPI VerSetConditionMask(ULONGLONG ConditionMask, DWORD TypeMask, BYTE Condition);

// A loader that never notifies of threads has nothing to turn off: TRUE for every module handle.
WINCRYPT_API BOOL WINAPI DisableThreadLibraryCalls(HMODULE hLibModule);

#ifdef __cplusplus
}
static_assert(sizeof(DWORD) == 4 && sizeof(LONG) == 4 && sizeof(WORD) == 2, "published widths");
static_assert(sizeof(OSVERSIONINFOEXA) == 156, "published size, which callers pass as a number");
static_assert(sizeof(SYSTEMTIME) == 16 && sizeof(FILETIME) == 8, "published sizes");
#endif
