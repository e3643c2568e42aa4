// The version query: this system answers as 10.0 without service pack, which every program of the platform
// knows.
#include "boundary.h"

using namespace wincrypt;

namespace {

// Bits of a condition mask: three for each field.
constexpr struct {
    DWORD field;
    unsigned shift;
} fieldShifts[] = {
    {VER_MINORVERSION, 0},      {VER_MAJORVERSION, 3},      {VER_BUILDNUMBER, 6}, {VER_PLATFORMID, 9},
    {VER_SERVICEPACKMINOR, 12}, {VER_SERVICEPACKMAJOR, 15}, {VER_SUITENAME, 18},  {VER_PRODUCT_TYPE, 21},
};

unsigned conditionOf(DWORDLONG mask, DWORD field) {
    for (auto const& each : fieldShifts)
        if (each.field == field)
            return static_cast<unsigned>(mask >> each.shift & 7);
    return 0;
}

bool holds(DWORD own, DWORD wanted, unsigned condition) {
    switch (condition) {
    case VER_EQUAL:
        return own == wanted;
    case VER_GREATER:
        return own > wanted;
    case VER_GREATER_EQUAL:
        return own >= wanted;
    case VER_LESS:
        return own < wanted;
    case VER_LESS_EQUAL:
        return own <= wanted;
    default:
        fail(ERROR_BAD_ARGUMENTS);
    }
}

constexpr DWORD ownMajor = 10;
constexpr DWORD ownBuild = 19045;

} // namespace

BOOL WINAPI VerifyVersionInfoA(LPOSVERSIONINFOEXA lpVersionInformation, DWORD dwTypeMask,
                               DWORDLONG dwlConditionMask) {
    return boundary([&]() -> DWORD {
        if (lpVersionInformation == nullptr)
            return ERROR_INVALID_PARAMETER;
        OSVERSIONINFOEXA const& wanted = *lpVersionInformation;
        const struct {
            DWORD field;
            DWORD own;
            DWORD wanted;
        } chain[] =
            {
                {VER_MAJORVERSION, ownMajor, wanted.dwMajorVersion},
                {VER_MINORVERSION, 0, wanted.dwMinorVersion},
                {VER_SERVICEPACKMAJOR, 0, wanted.wServicePackMajor},
                {VER_SERVICEPACKMINOR, 0, wanted.wServicePackMinor},
            },
          single[] = {
              {VER_BUILDNUMBER, ownBuild, wanted.dwBuildNumber},
              {VER_PLATFORMID, VER_PLATFORM_WIN32_NT, wanted.dwPlatformId},
              {VER_PRODUCT_TYPE, VER_NT_WORKSTATION, wanted.wProductType},
          };
        DWORD known = 0;
        for (auto const& each : fieldShifts)
            known |= each.field;
        if (dwTypeMask == 0 || (dwTypeMask & ~(known & ~DWORD{VER_SUITENAME})) != 0)
            return ERROR_BAD_ARGUMENTS;
        for (auto const& each : single)
            if ((dwTypeMask & each.field) != 0 &&
                !holds(each.own, each.wanted, conditionOf(dwlConditionMask, each.field)))
                return ERROR_OLD_WIN_VERSION;
        // The first number of the chain that differs decides; where none does, the last one that was asked
        // for.
        bool holding = true;
        for (auto const& each : chain) {
            if ((dwTypeMask & each.field) == 0)
                continue;
            holding = holds(each.own, each.wanted, conditionOf(dwlConditionMask, each.field));
            if (each.own != each.wanted)
                break;
        }
        return holding ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_OLD_WIN_VERSION};
    });
}

ULONGLONG WINAPI VerSetConditionMask(ULONGLONG ConditionMask, DWORD TypeMask, BYTE Condition) {
    for (auto const& each : fieldShifts)
        if ((TypeMask & each.field) != 0)
            ConditionMask |= static_cast<ULONGLONG>(Condition & 7) << each.shift;
    return ConditionMask;
}

BOOL WINAPI DisableThreadLibraryCalls(HMODULE) { return TRUE; }
