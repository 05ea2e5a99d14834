#pragma once
// A text as a JSON string, quotes included. Header-only: the tool uses it too.
#include <cstdio>
#include <string>

namespace vxtrace::detail {

inline std::string jsonQuoted(const std::string& s) {
  std::string out = "\"";
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') {
      out.push_back('\\');
      out.push_back(static_cast<char>(c));
    } else if (c < 0x20) {
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\u%04x", c);
      out += esc;
    } else {
      out.push_back(static_cast<char>(c));
    }
  }
  return out + "\"";
}

}  // namespace vxtrace::detail
