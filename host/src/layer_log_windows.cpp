#include "layer_log.h"

namespace tvkstore {

// The platform itself stands under the module here, and keeps no log that could be relayed.
LayerLog::LayerLog() = default;

LayerLog::~LayerLog() = default;

bool LayerLog::relay() { return false; }

void LayerLog::forget() {}

} // namespace tvkstore
