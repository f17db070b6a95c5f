// This file reads formats and compressions out of file names and "format=" values.
//
// The results are views into the caller's text: nothing is copied.
#pragma once

#include <vorlan.h>

#include <cstdint>
#include <optional>
#include <string_view>

/// The library's compression selectors.
enum class CompressionCode : std::uint32_t {
  none = VLN_COMPRESSION_NONE,
  gzip = VLN_COMPRESSION_GZIP,
  zstd = VLN_COMPRESSION_ZSTD
};

/// Extensions include their leading '.'.
struct FilenameParts {
  std::string_view stem;
  std::string_view format_extension;
  std::string_view compression_extension;
};

/// Splits a file name; never fails. The last extension is the format's, so prob.task.gz has the
/// format extension ".gz". A compression extension is recognised only where an earlier '.' stands
/// at or before the start of the last path component and no further than the distance from there to
/// the last '.', as in .task.gz; the format extension then begins at that earlier '.' and is as
/// long as everything before the last one, or ends with the name.
FilenameParts split_filename(std::string_view name);

struct FormatParts {
  std::string_view word;
  std::string_view compression_suffix;  // with its '+'
};

/// Splits a "format=" value at its last '+'. Throws std::out_of_range when it has none.
FormatParts split_format(std::string_view text);

/// "", ".gz" or ".zst" of a solution file's name; none for any other.
std::optional<CompressionCode> compressionofextension(std::string_view extension);

/// "+gzip" or "+zstd" of a solution command; none for any other. ("-read" has words of its own.)
std::optional<CompressionCode> compressionofsuffix(std::string_view suffix);
