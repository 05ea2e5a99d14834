#pragma once
#include <cstdint>
#include <vector>

#include "vxtrace/Export.h"

// The container block codec. Blocks are single LZ4 blocks; blocks written by other codecs fail
// to decompress with an error code, never a crash.
class VXTRACE_API XMatchPro {
 public:
  enum errorCode_t : int {
    XMP_OK = 0,
    XMP_OUTPUT_TOO_SMALL = 1,
    XMP_CORRUPT_INPUT = 2,
    XMP_SIZE_MISMATCH = 3
  };
  // Text of an error code; null for codes without one.
  static const char* getErrorString(int code);
};

class VXTRACE_API XMatchProCompressor {
 public:
  // Compresses [begin, end) into *out, replacing its contents. Returns 0 or an error code.
  int run(const uint8_t* begin, const uint8_t* end, std::vector<uint8_t>* out);
};

class VXTRACE_API XMatchProDecompressor {
 public:
  // blockSize: the uncompressed length the block must yield; no more is ever allocated.
  explicit XMatchProDecompressor(unsigned int blockSize);
  // Decompresses [begin, end) into *out, replacing its contents. Returns 0, or an error code
  // with *out empty (corrupt input) or holding what was decompressed (size mismatch).
  int run(const uint8_t* begin, const uint8_t* end, std::vector<uint8_t>* out);

 private:
  unsigned int blockSize_;
};
