#pragma once

#include <tvkcore/base/tvkexport.h>
#include <tvkcore/base/tvkstring.h>

// The registry of plug-ins, and what loads and unloads their modules. Usable from any thread. The manager
// never calls a registered function itself: the host asks for it with getLibEntry and calls it with an
// argument of its choice.
class TVK_API TVKLibraryManager {
public:
    using LibraryFunction = void* (*)(void*);

    // Registers a plug-in under a name, with the function through which the plug-in is obtained. A later
    // entry of the same name stands before an earlier one until it is removed.
    static void addLibEntry(TVKString const& name, LibraryFunction function);

    // Removes every entry that carries this function.
    static void removeLibEntries(LibraryFunction function);

    // The function registered under `name`, or null.
    static LibraryFunction getLibEntry(TVKString const& name);

    // Loads a module; its static objects register what it offers. `name` is a path when it holds a slash,
    // else a bare name that is looked up in the plug-in folders: those of TVK_PLUGIN_PATH (separated by ':')
    // or, where that isn't set, the folder beside this library and "tvkcore" in it. Each load wants one
    // unload. Throws TVKException TVKCORE_LIBRARY_NOT_LOADED with the cause.
    static void loadLibrary(TVKString const& name);

    // Unloads a module that was loaded under this name. Everything that came from it must be gone by then.
    // Throws TVKException TVKCORE_LIBRARY_NOT_KNOWN for a name that isn't loaded.
    static void unloadLibrary(TVKString const& name);

    // Whether the calling thread is in unloadLibrary: what a module destroys then is destroyed because the
    // module goes, and otherwise because the process ends.
    static bool isUnloading();
};
