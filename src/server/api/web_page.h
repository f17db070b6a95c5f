// The page for browsers: files that were put into the program when it was built, from web/dist.
#pragma once

#include <string_view>
#include <vector>

#include "http/message.h"

namespace vorlan::server {

struct WebFile {
  std::string_view name;  // "index.html"
  std::string_view content;
};
// Made by cmake/embed_files.cmake.
const std::vector<WebFile>& web_files();

// The file of this name, "" being the index; nothing when there is none. A browser that has it
// already, as its If-None-Match says, gets 304.
std::optional<Answer> web_answer(const Request& request, std::string_view name);

}  // namespace vorlan::server
