#pragma once

#include <tvkcore/base/tvkexport.h>
#include <tvkcore/base/tvkprocessmutex.h>
#include <tvkcore/base/tvkstring.h>

// Provider and key container of the CSPManager that was constructed last; empty until then. Every CSPManager
// constructor writes them, the import of keys reads them, both under the lock.
extern TVKString& s_cspName;
extern TVKString& s_containerName;
extern TVKProcessMutex s_lastManagerMutex;

// Registers the module with the toolkit's library manager while it lives.
class CAPIGlobal {
public:
    CAPIGlobal();
    ~CAPIGlobal();
    CAPIGlobal(CAPIGlobal const&) = delete;
    CAPIGlobal& operator=(CAPIGlobal const&) = delete;

private:
    static int s_instances;
};

// The function through which the module is obtained. Gives a new CAPIManager as its TVKCAPIManager base,
// owned by the caller; the argument isn't looked at. Throws TVKCAPIException 578004 on a system that is too
// old, and what the constructor of CAPIManager throws.
void* libraryFunction(void* argument);

// Register and remove the library function.
void init();
void fini();

// Two texts that the module exports, for people and tools that look into the file: the legal notice, and the
// version record, whose lines are "@(#)", a key, a colon, blanks and a value.
extern "C" TVK_MODULE_API char const tvkbridge_Copyright[];
extern "C" TVK_MODULE_API char const tvkbridge_SCCSInfo[];
