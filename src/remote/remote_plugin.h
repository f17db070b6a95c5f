// The seam between the optimizer library and its client of solver servers, libvorlan_remote.so. The
// client is a plugin, loaded by a remote solve only, since the HTTP library behind it takes ten
// times as long to load as the whole program needs to start.
//
// The plugin knows nothing of tasks: it brings a problem file to a server and a result file back.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

// Raised with every change of what stands here.
inline constexpr int32_t kRemotePluginVersion = 1;

enum class RemoteEnd : int32_t {
  kResult,    // the result file is written
  kStopped,   // stopped before there was a result; the server keeps nothing
  kNoResult,  // the job ended without one: see `response` and `message`
  kFailed,    // see `failure` and `message`
};

// The things that can go wrong between client and server.
enum class RemoteFailure : int32_t {
  kAddress,
  kUnreachable,
  kCertificate,
  kProtocol,
  kAccess,
  kBusy,
  kTooLarge,
  kLost,
  kJobGone,
  kResult,
  kMemory,
};

struct RemoteRequest {
  const char* address;
  const char* token;
  int problem;  // a descriptor, from whose start on the file is read
  uint64_t problem_bytes;
  const char* problem_name;  // its suffixes say the format
  int result;                // a descriptor, open for reading and writing, of an empty file
  void* handle;              // for the functions
  // Called at least 10 times a second with the seconds that the remote optimizer has run, 0 before
  // it begins. Not 0: stop.
  int (*beat)(void* handle, double seconds);
  // Text of the remote optimizer's log, as it comes.
  void (*log)(void* handle, const char* text, size_t length);
};

struct RemoteAnswer {
  RemoteEnd end;
  RemoteFailure failure;
  char response[128];  // the symbolic name of the job's response code
  char message[2048];
};

using RemotePluginVersion = int32_t (*)();
using RemoteSolve = void (*)(const RemoteRequest* request, RemoteAnswer* answer);
inline constexpr const char* kRemotePluginVersionName = "vorlan_remote_version";
inline constexpr const char* kRemoteSolveName = "vorlan_remote_solve";

}  // extern "C"
