// Finding and loading the client of solver servers.
#pragma once

#include "remote_plugin.h"
#include "task/status.h"

namespace vorlan {

// Loads libvorlan_remote.so from this library's own folder, once; it stays loaded.
Status load_remote_plugin(RemoteSolve* solve);

}  // namespace vorlan
