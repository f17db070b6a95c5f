// A reason to end a remote solve early, thrown where it is known and caught at the plugin's border.
#pragma once

#include <string>

#include "remote_plugin.h"

namespace vorlan::remote {

struct Failure {
  RemoteFailure kind;
  std::string message;
};

}  // namespace vorlan::remote
