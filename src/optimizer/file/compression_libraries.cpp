// Loading by dlopen; see compression_libraries.h. Both names are those of an interface that has
// been stable for many years, and zlib is asked for its version when a stream begins.
#include "file/compression_libraries.h"

#include <dlfcn.h>

#include <string>

namespace vorlan {
namespace {

class Library {
 public:
  Library(const char* name, const char* content)
      : name_(name), content_(content), handle_(::dlopen(name, RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) reason_ = ::dlerror();
  }

  template <class Function>
  void find(const char* name, Function* function) {
    if (handle_ == nullptr) return;
    *function = reinterpret_cast<Function>(::dlsym(handle_, name));
    if (*function == nullptr && reason_.empty()) reason_ = std::string("it lacks ") + name;
  }

  // Whether the library and all that was looked for in it were found.
  Status status() const {
    if (reason_.empty()) return {};
    return {Code::kErrNotAvailable,
            std::string(content_) + " data need the library " + name_ + ": " + reason_};
  }

 private:
  const char* name_;
  const char* content_;
  void* handle_;
  std::string reason_;
};

}  // namespace

Status load_zlib(Zlib* zlib) {
  Library library("libz.so.1", "gzip");
  library.find("inflateInit2_", &zlib->inflate_init);
  library.find("inflateReset", &zlib->inflate_reset);
  library.find("inflate", &zlib->inflate);
  library.find("inflateEnd", &zlib->inflate_end);
  library.find("deflateInit2_", &zlib->deflate_init);
  library.find("deflate", &zlib->deflate);
  library.find("deflateEnd", &zlib->deflate_end);
  return library.status();
}

Status load_zstd(Zstd* zstd) {
  Library library("libzstd.so.1", "Zstandard");
  library.find("ZSTD_createDCtx", &zstd->create_decoder);
  library.find("ZSTD_DCtx_setParameter", &zstd->set_decoder);
  library.find("ZSTD_decompressStream", &zstd->decompress);
  library.find("ZSTD_freeDCtx", &zstd->free_decoder);
  library.find("ZSTD_createCCtx", &zstd->create_encoder);
  library.find("ZSTD_CCtx_setParameter", &zstd->set_encoder);
  library.find("ZSTD_compressStream2", &zstd->compress);
  library.find("ZSTD_freeCCtx", &zstd->free_encoder);
  library.find("ZSTD_isError", &zstd->is_error);
  library.find("ZSTD_getErrorCode", &zstd->error_code);
  library.find("ZSTD_getErrorString", &zstd->error_text);
  return library.status();
}

}  // namespace vorlan
