#include "capiglobal.h"

#include "capimanager.h"
#include "failure.h"
#include "tracing.h"
#include "untilunloaded.h"

#include <tvkcore/base/tvkglobal.h>
#include <tvkcore/base/tvklibrarymanager.h>

#include <windows.h>

#include <cstring>

namespace {

constexpr SourceFile kSource{"./capi/src/capiglobal", 2048};

constexpr char kLibraryName[] = "tvkbridge";

constexpr WORD kLeastMajorVersion = 5;
constexpr WORD kLeastServicePack = 2;

bool isSystemSupported() {
    OSVERSIONINFOEXA version;
    std::memset(&version, 0, sizeof version);
    version.dwOSVersionInfoSize = sizeof version;
    version.dwMajorVersion = kLeastMajorVersion;
    version.dwMinorVersion = 0;
    version.wServicePackMajor = kLeastServicePack;
    ULONGLONG condition = VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL);
    condition = VerSetConditionMask(condition, VER_MINORVERSION, VER_GREATER_EQUAL);
    condition = VerSetConditionMask(condition, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
    return VerifyVersionInfoA(&version, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR,
                              condition) != 0;
}

} // namespace

// The size is a published one, the same for every word size.
static_assert(sizeof(OSVERSIONINFOEXA) == 156);

int CAPIGlobal::s_instances = 0;

namespace {

// The toolkit's global object comes first and goes last: the registration below it traces and calls the
// library manager while it is built and while it is destroyed.
TVKCoreGlobal const s_coreGlobal;
CAPIGlobal const s_registration;

} // namespace

namespace {

UntilUnloaded<TVKString> s_lastCspName;
UntilUnloaded<TVKString> s_lastContainerName;

} // namespace

TVKString& s_cspName = s_lastCspName.get();
TVKString& s_containerName = s_lastContainerName.get();
TVKProcessMutex s_lastManagerMutex;

CAPIGlobal::CAPIGlobal() {
    OperationTrace const trace(kSource, "CAPIGlobal::ctor");
    if (++s_instances == 1) {
        init();
    }
}

CAPIGlobal::~CAPIGlobal() {
    OperationTrace const trace(kSource, "CAPIGlobal::dtor");
    if (s_instances-- == 1) {
        fini();
    }
}

void* libraryFunction(void* /*argument*/) {
    OperationTrace const trace(kSource, "libraryFunction");
    if (!isSystemSupported()) {
        raise(kSource, errorSystemNotSupported,
              "MS Crypto API only support on Windows 2000 with Service Pack 2");
    }
    TVKCAPIManager* const manager = new CAPIManager;
    return manager;
}

void init() {
    OperationTrace const trace(kSource, "init");
    TVKLibraryManager::addLibEntry(kLibraryName, &libraryFunction);
}

void fini() {
    OperationTrace const trace(kSource, "fini");
    TVKLibraryManager::removeLibEntries(&libraryFunction);
}

// Called by the platform's loader: the module wants no notes about threads.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/) {
    if (reason == DLL_PROCESS_ATTACH) {
        DisableThreadLibraryCalls(instance);
    }
    return TRUE;
}
