#include "vxtrace/XMatchPro.h"

#include <lz4.h>

#include <limits>

#include "codec/BlockCodec.h"

const char* XMatchPro::getErrorString(int code) {
  switch (code) {
    case XMP_OK:
      return "success";
    case XMP_OUTPUT_TOO_SMALL:
      return "output buffer too small";
    case XMP_CORRUPT_INPUT:
      return "corrupt or truncated input";
    case XMP_SIZE_MISMATCH:
      return "size mismatch";
    default:
      return nullptr;
  }
}

int XMatchProCompressor::run(const uint8_t* begin, const uint8_t* end, std::vector<uint8_t>* out) {
  const std::size_t n = static_cast<std::size_t>(end - begin);
  out->clear();
  if (n > static_cast<std::size_t>(LZ4_MAX_INPUT_SIZE)) return XMatchPro::XMP_OUTPUT_TOO_SMALL;
  const int bound = LZ4_compressBound(static_cast<int>(n));
  out->resize(static_cast<std::size_t>(bound));
  const int written =
      LZ4_compress_default(reinterpret_cast<const char*>(begin),
                           reinterpret_cast<char*>(out->data()), static_cast<int>(n), bound);
  if (written <= 0) {
    out->clear();
    return XMatchPro::XMP_OUTPUT_TOO_SMALL;
  }
  out->resize(static_cast<std::size_t>(written));
  return XMatchPro::XMP_OK;
}

XMatchProDecompressor::XMatchProDecompressor(unsigned int blockSize) : blockSize_(blockSize) {}

int vxtrace::detail::decompressBlock(const uint8_t* begin, const uint8_t* end, uint8_t* out,
                                     unsigned int blockSize, std::size_t* got) {
  *got = 0;
  const std::size_t n = static_cast<std::size_t>(end - begin);
  if (n == 0 || n > static_cast<std::size_t>(std::numeric_limits<int>::max()) ||
      blockSize > static_cast<unsigned int>(std::numeric_limits<int>::max()))
    return XMatchPro::XMP_CORRUPT_INPUT;
  char scratch = 0;
  char* dst = blockSize != 0 ? reinterpret_cast<char*>(out) : &scratch;
  const int produced = LZ4_decompress_safe(reinterpret_cast<const char*>(begin), dst,
                                           static_cast<int>(n), static_cast<int>(blockSize));
  if (produced < 0) return XMatchPro::XMP_CORRUPT_INPUT;
  *got = static_cast<std::size_t>(produced);
  return *got == blockSize ? XMatchPro::XMP_OK : XMatchPro::XMP_SIZE_MISMATCH;
}

int XMatchProDecompressor::run(const uint8_t* begin, const uint8_t* end,
                               std::vector<uint8_t>* out) {
  // The container's own block size bounds the output: nothing in the block can ask for more.
  // Not cleared first: a reused vector is zero-filled only where it grows.
  out->resize(blockSize_);
  std::size_t got = 0;
  const int rc = vxtrace::detail::decompressBlock(begin, end, out->data(), blockSize_, &got);
  out->resize(got);
  return rc;
}
