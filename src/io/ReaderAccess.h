#pragma once
// What the parallel scan needs of a Reader beyond its public face: reading from a given offset.
#include <cstdint>
#include <memory>

#include "stream/TraceFileReaderInternals.h"
#include "vxtrace/io/Reader.h"

namespace vxtrace::detail {

struct ReaderAccess {
  // From now on r reads input, whose first byte is stream offset base: under its policy's
  // framing without probing, or probing as a new reader would. Before any handler is set.
  static void restart(Reader& r, std::unique_ptr<Input> input, uint64_t base, bool probing);
};

}  // namespace vxtrace::detail
