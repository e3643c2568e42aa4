#include <tvkcore/store/tvkcapimanager.h>
#include <tvkcore/store/tvkcspmanager.h>

TVKCspManager::Iterator::Iterator() = default;

TVKCspManager::Iterator::~Iterator() = default;

TVKCspManager::TVKCspManager() = default;

TVKCspManager::~TVKCspManager() = default;

TVKCAPIManager::TVKCAPIManager() = default;

TVKCAPIManager::~TVKCAPIManager() = default;

bool TVKCAPIManager::isKindOf(TVKString const& name) const { return name.compare("TVKCAPIManager") == 0; }
