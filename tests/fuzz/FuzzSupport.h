#pragma once
// Shared pieces of the fuzz targets: quiet standard streams and the checks run on every record
// a target obtains.
#include <cstddef>
#include <cstdint>

class MessageBase;

namespace vxfuzz {

// Sends std::cout and std::cerr to a sink for the rest of the process: the library's
// diagnostics would otherwise cost more than the decoding being fuzzed.
void silenceStandardStreams();

// Runs every read-only operation of a record and its writers, and aborts with a report on
// std::fprintf(stderr) when one of the invariants every record must keep is broken. With
// redecode, the record's own encoding is decoded again and must encode to the same bytes.
void exercise(const MessageBase& msg, bool redecode);

// Reports on stderr (not std::cerr, which is silenced) and aborts, so that libFuzzer keeps the
// input.
[[noreturn]] void fail(const char* what, const MessageBase* msg);

}  // namespace vxfuzz
