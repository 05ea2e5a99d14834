#pragma once
#include <cstdio>
#include <string>

#include "vxtrace/MessageBase.h"

// A record's text as the tool prints it: control characters as \xNN.
inline std::string shown(const MessageBase& m) {
  std::string out;
  for (char c : m.toString()) {
    const auto b = static_cast<unsigned char>(c);
    char esc[8];
    if (b < 0x20 || b == 0x7F) out.append(esc, std::snprintf(esc, sizeof esc, "\\x%02x", b));
    else out.push_back(c);
  }
  return out;
}
