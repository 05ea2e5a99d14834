#include "Selection.h"

#include <cstdio>

namespace vxtrace::cli {

std::string escapeControls(const std::string& text) {
  std::size_t i = 0;
  while (i < text.size() && static_cast<unsigned char>(text[i]) >= 0x20 && text[i] != 0x7F) ++i;
  if (i == text.size()) return text;
  std::string out = text.substr(0, i);
  for (; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c != 0x7F) {
      out.push_back(static_cast<char>(c));
    } else {
      char esc[5];
      std::snprintf(esc, sizeof esc, "\\x%02x", c);
      out += esc;
    }
  }
  return out;
}

Selection::Selection(const FilterFlags& flags) {
  for (const auto& t : flags.ids)
    if (!filter_.addKind(t).empty()) throw Failure{"unknown record kind " + inQuotes(t)};
  for (const auto& t : flags.channels)
    if (std::string why = filter_.addChannel(t); !why.empty())
      throw Failure{"invalid value for --channel: " + why};
  for (const auto& t : flags.canIds)
    if (!filter_.addCanId(t).empty())
      throw Failure{"invalid value for --can-id: " + inQuotes(t) +
                    " (ID or ID/MASK, each up to 0x1FFFFFFF, hex with 0x or decimal)"};
  auto time = [&](const char* option, const std::string& text) -> std::optional<uint64_t> {
    if (text.empty()) return std::nullopt;
    uint64_t us = 0;
    const std::string why = vxtrace::parseTime(text, flags.localTime, us);
    // "invalid time 'x' (...)" becomes "invalid time for --from: 'x' (...)".
    const std::string lead = "invalid time ";
    if (!why.empty())
      throw Failure{why.compare(0, lead.size(), lead) == 0
                        ? lead + "for " + option + ": " + why.substr(lead.size())
                        : why};
    return us;
  };
  const std::optional<uint64_t> from = time("--from", flags.from), to = time("--to", flags.to);
  if (from && to && *from > *to) throw Failure{"--from is later than --to"};
  // --to includes its instant; the filter's end is exclusive.
  const std::optional<uint64_t> end =
      to && *to < UINT64_MAX ? std::optional<uint64_t>(*to + 1) : std::nullopt;
  filter_.setTimeRange(from, end);
  if (!flags.count.empty()) count_ = numberOption("--count", flags.count, UINT64_MAX);
}

bool Selection::take(const MessageBase& msg) {
  if (!filter_.matches(msg)) return false;
  ++taken_;
  return true;
}

void Selection::warnUnmatched(const std::string& inputName) const {
  for (const Filter::Value& v : filter_.unmatched()) {
    const char* option = v.field == Filter::Field::Kind    ? "--id"
                         : v.field == Filter::Field::CanId ? "--can-id"
                                                           : "--channel";
    report(nullptr, std::string("warning: ") + option + " " + inQuotes(v.text) +
                        " matches no record in " + inputName);
  }
}

}  // namespace vxtrace::cli
