#pragma once

#include <tvkcore/base/tvkexport.h>
#include <tvkcore/base/tvkstring.h>
#include <tvkcore/store/tvkcspmanager.h>
#include <tvkcore/store/tvkprioritycontainer.h>

#include <functional>

// One registered provider.
struct CSPEntry {
    unsigned long type; // the platform's provider type
    char* name;         // zero-terminated, owned by the entry
};

// Deletes an entry with its name.
inline void tvkDestroyElement(CSPEntry* entry) {
    ::operator delete(entry->name);
    delete entry;
}

using CSPEntryContainer = TVKPtrContainer<TVKPrioritySet<CSPEntry*, std::equal_to<CSPEntry*>>>;

// The root of what a provider module offers: its providers, and the key stores over them. The host gets one
// from the module's library function and owns it.
class TVK_API TVKCAPIManager {
public:
    virtual ~TVKCAPIManager();

    // A new manager that shares this one's state, owned by the caller.
    virtual TVKCAPIManager* duplicate() = 0;

    // A new key store, owned by the caller, who may keep it longer than this manager. An empty `cspName`
    // stands for the default provider; any other name is taken as it is, also one that isn't listed.
    // `storeKind`: 0 "CA", 1 "MY", 2 "UserDS", 3 "ROOT". Throws TVKCAPIException 578001 or 578002.
    virtual TVKCspManager* getCspManager(TVKString const& cspName, unsigned long storeKind) = 0;

    // Number of providers in the list.
    virtual unsigned int getCspCount() = 0;

    // The providers, in the platform's order, read once when the manager was made. The list stays the
    // manager's and goes with the last of its duplicates.
    virtual CSPEntryContainer* getCspNameList() = 0;

    virtual bool isKindOf(TVKString const& name) const;
    virtual TVKString getInstanceName() = 0;

protected:
    TVKCAPIManager();
};
