#pragma once
// Shared pieces of the fuzz targets: quiet standard streams and the checks run on every record
// a target obtains.
#include <cstddef>
#include <cstdint>
#include <memory>

class MessageBase;

namespace vxfuzz {

// Sends std::cout and std::cerr to a sink for the rest of the process: the library's
// diagnostics would otherwise cost more than the decoding being fuzzed.
void silenceStandardStreams();

// Every target's start: quiet streams, all creators registered. Returns invalidHandling as the
// library set it, for the targets to restore after each input.
int init();

// The decoder's result, or null when it threw one of the exceptions a bad frame may raise at
// the caller (InvalidMessageException is left to the caller: only some creators may raise it).
MessageBase* decodeOrNull(MessageBase* (*creator)(const uint8_t*, unsigned int),
                          const uint8_t* data, unsigned int length);

// A heap copy of exactly n bytes (one byte when n is 0), so that AddressSanitizer sees any
// access past them.
std::unique_ptr<uint8_t[]> exactCopy(const uint8_t* data, std::size_t n);

// A memfd holding the bytes, its offset at the start.
int memfdWith(const uint8_t* data, std::size_t n);

// Runs every read-only operation of a record and its writers, and aborts with a report on
// std::fprintf(stderr) when one of the invariants every record must keep is broken. With
// redecode, the record's own encoding is decoded again and must encode to the same bytes.
void exercise(const MessageBase& msg, bool redecode);

// Reports on stderr (not std::cerr, which is silenced) and aborts, so that libFuzzer keeps the
// input.
[[noreturn]] void fail(const char* what, const MessageBase* msg);

}  // namespace vxfuzz
