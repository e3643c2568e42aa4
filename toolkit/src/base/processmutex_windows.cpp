#include <tvkcore/base/tvkprocessmutex.h>

TVKProcessMutex::TVKProcessMutex() = default;
TVKProcessMutex::~TVKProcessMutex() = default;
