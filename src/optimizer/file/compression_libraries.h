// zlib and libzstd as tables of functions. They are loaded when a compressed file is opened: most
// runs have none, and mapping both takes a tenth of the time that the program needs to start.
#pragma once

#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include "task/status.h"

namespace vorlan {

struct Zlib {
  decltype(&::inflateInit2_) inflate_init = nullptr;
  decltype(&::inflateReset) inflate_reset = nullptr;
  decltype(&::inflate) inflate = nullptr;
  decltype(&::inflateEnd) inflate_end = nullptr;
  decltype(&::deflateInit2_) deflate_init = nullptr;
  decltype(&::deflate) deflate = nullptr;
  decltype(&::deflateEnd) deflate_end = nullptr;
};

struct Zstd {
  decltype(&::ZSTD_createDCtx) create_decoder = nullptr;
  decltype(&::ZSTD_DCtx_setParameter) set_decoder = nullptr;
  decltype(&::ZSTD_decompressStream) decompress = nullptr;
  decltype(&::ZSTD_freeDCtx) free_decoder = nullptr;
  decltype(&::ZSTD_createCCtx) create_encoder = nullptr;
  decltype(&::ZSTD_CCtx_setParameter) set_encoder = nullptr;
  decltype(&::ZSTD_compressStream2) compress = nullptr;
  decltype(&::ZSTD_freeCCtx) free_encoder = nullptr;
  decltype(&::ZSTD_isError) is_error = nullptr;
  decltype(&::ZSTD_getErrorCode) error_code = nullptr;
  decltype(&::ZSTD_getErrorString) error_text = nullptr;
};

// Fill the table. kErrNotAvailable where the system has no such library or another one of its name.
// A library stays loaded to the end of the process.
Status load_zlib(Zlib* zlib);
Status load_zstd(Zstd* zstd);

}  // namespace vorlan
