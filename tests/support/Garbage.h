#pragma once
// Garbage to splice between frames, for the reader's tests and the tool's. Header-only: the tool
// tests link no other test support.
#include <cstdint>
#include <random>
#include <vector>

#include "vxtrace/MessageBase.h"

namespace vxtest {

enum class Garbage {
  Plain,      // bytes that hold no marker
  AnySize,    // a false marker (V2: with its prefix), any size and random bytes
  CanHeader,  // a false marker and a CAN header whose size runs past the garbage
};

// Too short to hold a whole frame after its marker, so a run never decodes on its own; never
// begins or ends with a zero byte, which a reader may take for padding.
inline std::vector<uint8_t> garbage(Garbage form, bool v2, std::mt19937& rng) {
  auto byte = [&] { return static_cast<uint8_t>(rng()); };
  std::vector<uint8_t> junk;
  switch (form) {
    case Garbage::Plain:
      for (int n = 1 + rng() % 30; n > 0; --n)
        junk.push_back(static_cast<uint8_t>(0x60 + rng() % 0x20));
      break;
    case Garbage::AnySize: {
      const unsigned size = rng() % 0x10000;
      junk = v2 ? std::vector<uint8_t>{'Z', 0, static_cast<uint8_t>((size + 2) >> 8),
                                       static_cast<uint8_t>(size + 2)}
                : std::vector<uint8_t>{0x55, 0xAA};
      junk.insert(junk.end(), {static_cast<uint8_t>(size >> 8), static_cast<uint8_t>(size)});
      for (int n = rng() % 9; n > 0; --n) junk.push_back(byte());
      break;
    }
    case Garbage::CanHeader: {
      const unsigned tail = rng() % 20;
      // From one byte past the garbage's end to a few records beyond.
      const unsigned size = 12 + tail + 1 + rng() % 300;
      junk = v2 ? std::vector<uint8_t>{'Z', 0, static_cast<uint8_t>((size + 2) >> 8),
                                       static_cast<uint8_t>(size + 2)}
                : std::vector<uint8_t>{0x55, 0xAA};
      junk.insert(junk.end(), {static_cast<uint8_t>(size >> 8), static_cast<uint8_t>(size),
                               static_cast<uint8_t>(MSGID_CAN >> 8), static_cast<uint8_t>(MSGID_CAN),
                               0, 0});
      for (int i = 0; i < 8; ++i) junk.push_back(i < 3 ? 0 : byte());  // a time stamp
      for (unsigned n = tail; n > 0; --n) junk.push_back(byte());
    }
  }
  if (junk.back() == 0) junk.back() = 0x13;
  return junk;
}

}  // namespace vxtest
