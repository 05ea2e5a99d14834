#pragma once
// CAN frames of a clean trace in a seekable input, without a heap record per frame: the usual
// case of a file the logger wrote, V1 records with markers one after the other. The validating
// reader would take every record of such a chain as it stands, so the CAN records are read
// straight from their bytes (vxtrace::toCanFrame on bytes) and only the other records go
// through the registry. Whenever the input is anything else (garbage, padding, a cut end, a
// frame that does not decode, a diagnostic line, a marker inside a record that might start a
// record of its own), scan() gives up and the caller reads the input with the validating
// reader instead, which then reports exactly what it finds.
#include <cstdint>
#include <functional>

#include "vxtrace/io/CanFrame.h"

namespace vxtrace::python {

// Calls take(frame) for every CAN frame of the input at fd, from its current offset, which it
// leaves unchanged (pread). False as soon as the input is not a clean chain; frames already
// given must then be discarded.
bool scanCleanCan(int fd, const std::function<void(const CanFrame&)>& take);

}  // namespace vxtrace::python
