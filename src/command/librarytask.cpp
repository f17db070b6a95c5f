// These are the operations of the task that need more than one call, or a buffer.
#include "librarytask.h"

#include <array>
#include <cstring>
#include <limits>
#include <vector>

#include "vlnexception.h"

namespace {

constexpr std::size_t kDescriptionSize = 1024;  // the library's size for both texts of a code

}  // namespace

LibraryTask::LibraryTask() {
  const VLNrescode_enum code = VLN_makeemptytask(nullptr, &handle_);
  if (code != VLN_RES_OK) throw VLNException{code, kDriverSource, 105};
}

std::string LibraryTask::codename(VLNrescode_enum code) {
  std::array<char, kDescriptionSize> name{};
  std::array<char, kDescriptionSize> description{};
  VLN_getcodedesc(code, name.data(), description.data());
  return {name.data(), strnlen(name.data(), name.size())};
}

std::string LibraryTask::lasterror() {
  VLNrescode_enum code = VLN_RES_OK;
  std::int32_t length = 0;
  VLN_getlasterror(handle_, &code, 0, &length, nullptr);
  if (length <= 0) return {};

  // The size is a 32-bit number: the longest of all messages loses its last byte.
  const std::int32_t size = length < std::numeric_limits<std::int32_t>::max() ? length + 1 : length;
  std::vector<char> message(static_cast<std::size_t>(size), '\0');
  VLN_getlasterror(handle_, &code, size, &length, message.data());
  return {message.data(), strnlen(message.data(), message.size())};
}
