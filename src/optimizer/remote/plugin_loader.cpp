// The plugin is loaded by dlopen when a solve first asks for it. So the library itself needs
// neither an HTTP client nor a TLS library.
#include "remote/plugin_loader.h"

#include <dlfcn.h>

#include <string>

#include "vorlan.h"

namespace vorlan {
namespace {

constexpr const char* kFileName = "libvorlan_remote.so";

// The plugin stands beside this library, wherever that was found.
std::string plugin_path() {
  Dl_info info = {};
  if (dladdr(reinterpret_cast<const void*>(&load_remote_plugin), &info) == 0) return kFileName;
  const std::string library = info.dli_fname;
  const size_t slash = library.rfind('/');
  return slash == std::string::npos ? kFileName : library.substr(0, slash + 1) + kFileName;
}

Status not_available(const std::string& reason) {
  return {Code::kErrNotAvailable,
          "solving on a server needs the plugin libvorlan_remote.so beside the library: " + reason};
}

}  // namespace

Status load_remote_plugin(RemoteSolve* solve) {
  void* plugin = dlopen(plugin_path().c_str(), RTLD_NOW | RTLD_LOCAL);
  if (plugin == nullptr) return not_available(dlerror());
  const auto version =
      reinterpret_cast<RemotePluginVersion>(dlsym(plugin, kRemotePluginVersionName));
  *solve = reinterpret_cast<RemoteSolve>(dlsym(plugin, kRemoteSolveName));
  if (version == nullptr || *solve == nullptr || version() != kRemotePluginVersion) {
    return not_available("it is of another version");
  }
  return {};
}

}  // namespace vorlan
