# Writes OUTPUT, a C++ file that holds all files of FOLDER as web_files() of src/server/api/web_page.h:
#   cmake -DFOLDER=web/dist -DOUTPUT=web_files.cpp -P embed_files.cmake
file(GLOB files RELATIVE ${FOLDER} ${FOLDER}/*)
list(SORT files)
set(arrays "")
set(rows "")
set(number 0)
foreach(name IN LISTS files)
  file(READ ${FOLDER}/${name} content HEX)
  file(SIZE ${FOLDER}/${name} size)
  string(REGEX REPLACE "(..)" "0x\\1," content "${content}")
  string(APPEND arrays "constexpr unsigned char kFile${number}[] = {${content}0};\n")
  string(APPEND rows "      {\"${name}\", {reinterpret_cast<const char*>(kFile${number}), ${size}}},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${OUTPUT} "// Made from web/dist.
#include \"api/web_page.h\"
namespace vorlan::server {
namespace {
${arrays}}  // namespace
const std::vector<WebFile>& web_files() {
  static const std::vector<WebFile> files = {
${rows}  };
  return files;
}
}  // namespace vorlan::server
")
