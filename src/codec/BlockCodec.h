#pragma once
#include <cstddef>
#include <cstdint>

namespace vxtrace::detail {

// Decompresses the block [begin, end) into out, which has room for blockSize bytes; *got is the
// number of bytes produced. Returns 0 or an XMatchPro error code (size mismatch when the block
// yields fewer than blockSize bytes). Callers that keep their own buffer skip the zero-filling
// a std::vector output needs.
int decompressBlock(const uint8_t* begin, const uint8_t* end, uint8_t* out, unsigned int blockSize,
                    std::size_t* got);

}  // namespace vxtrace::detail
