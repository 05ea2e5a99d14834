#include "vxtrace/io/Stats.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "vxtrace/InvalidMessage.h"
#include "vxtrace/io/CanFrame.h"
#include "vxtrace/io/Channel.h"
#include "vxtrace/io/Filter.h"

namespace vxtrace {

namespace {

std::string jsonString(const std::string& s) {
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

template <typename Map>
void addAll(Map& into, const Map& from) {
  for (const auto& [key, n] : from) into[key] += n;
}

// {"a": 1, "b": 2} on one line.
std::string inlineObject(const std::vector<std::pair<std::string, uint64_t>>& rows) {
  std::string out = "{";
  for (const auto& [label, n] : rows)
    out += (out.size() > 1 ? ", " : "") + jsonString(label) + ": " + std::to_string(n);
  return out + "}";
}

}  // namespace

void Stats::add(const MessageBase& record, bool contained) {
  if (record.msgId == MSGID_INVALID && dynamic_cast<const InvalidMessage*>(&record) != nullptr)
    return;
  ++(contained ? contained_ : records_);
  ++kinds_[static_cast<uint16_t>(record.msgId)];
  const ChannelKey key{record.getSourceChannelID(), record.getSourceChannel()};
  ++channels_[key];
  if (!first_ || record.timeStamp < *first_) first_ = record.timeStamp;
  if (!last_ || record.timeStamp > *last_) last_ = record.timeStamp;
  CanFrame frame;
  if (toCanFrame(record, frame) != nullptr) return;
  if (frame.error)
    ++errorFrames_[key];
  else
    ++canIds_[CanId{frame.id, frame.extended}][key];
}

void Stats::setReaderCounts(const TraceFileReader::counts_t& counts, uint64_t undecodableBytes) {
  counts_ = counts;
  undecodableBytes_ = undecodableBytes;
}

void Stats::merge(const Stats& later) {
  records_ += later.records_;
  contained_ += later.contained_;
  if (later.first_ && (!first_ || *later.first_ < *first_)) first_ = later.first_;
  if (later.last_ && (!last_ || *later.last_ > *last_)) last_ = later.last_;
  counts_.bytesRead += later.counts_.bytesRead;
  counts_.records += later.counts_.records;
  counts_.skippedBytes += later.counts_.skippedBytes;
  counts_.skippedRuns += later.counts_.skippedRuns;
  counts_.undecodable += later.counts_.undecodable;
  counts_.truncatedBytes += later.counts_.truncatedBytes;
  undecodableBytes_ += later.undecodableBytes_;
  addAll(kinds_, later.kinds_);
  addAll(channels_, later.channels_);
  addAll(errorFrames_, later.errorFrames_);
  for (const auto& [id, perChannel] : later.canIds_) addAll(canIds_[id], perChannel);
}

double Stats::durationSeconds() const {
  return first_ ? static_cast<double>(*last_ - *first_) / 1e6 : 0.0;
}

double Stats::framesPerSecond() const {
  const double d = durationSeconds();
  return d > 0 ? static_cast<double>(records_) / d : 0.0;
}

std::vector<std::pair<std::string, uint64_t>> Stats::byLabel(
    const std::map<ChannelKey, uint64_t>& counts) {
  // Sources that share one label share one row, at the place of the first.
  std::vector<std::pair<std::string, uint64_t>> rows;
  for (const auto& [key, n] : counts) {
    const std::string label = channelLabel(key.second);
    auto same =
        std::find_if(rows.begin(), rows.end(), [&](const auto& row) { return row.first == label; });
    if (same == rows.end())
      rows.emplace_back(label, n);
    else
      same->second += n;
  }
  return rows;
}

std::vector<std::pair<std::string, uint64_t>> Stats::byChannel() const {
  return byLabel(channels_);
}

std::vector<std::pair<std::string, uint64_t>> Stats::errorFrames() const {
  return byLabel(errorFrames_);
}

std::map<Stats::CanId, Stats::CanIdCount> Stats::byCanId() const {
  std::map<CanId, CanIdCount> out;
  for (const auto& [id, perChannel] : canIds_) {
    CanIdCount& c = out[id];
    c.byChannel = byLabel(perChannel);
    for (const auto& row : c.byChannel) c.count += row.second;
  }
  return out;
}

std::string Stats::toJson(const std::optional<std::string>& file) const {
  std::ostringstream os;
  os << "{\n";
  if (file) os << "  \"file\": " << jsonString(*file) << ",\n";
  os << "  \"bytes\": " << counts_.bytesRead << ",\n  \"records\": " << records_
     << ",\n  \"contained_records\": " << contained_ << ",\n";
  if (first_) {
    os << "  \"first_timestamp_us\": " << *first_
       << ",\n  \"first_time\": " << jsonString(MessageBase::printTimestamp(*first_))
       << ",\n  \"last_timestamp_us\": " << *last_
       << ",\n  \"last_time\": " << jsonString(MessageBase::printTimestamp(*last_)) << ",\n";
  } else {
    os << "  \"first_timestamp_us\": null,\n  \"first_time\": null,\n"
          "  \"last_timestamp_us\": null,\n  \"last_time\": null,\n";
  }
  char numbers[128];
  std::snprintf(numbers, sizeof numbers,
                "  \"duration_s\": %.6f,\n  \"frames_per_second\": %.3f,\n", durationSeconds(),
                framesPerSecond());
  os << numbers << "  \"garbage_bytes\": " << counts_.skippedBytes
     << ",\n  \"garbage_runs\": " << counts_.skippedRuns
     << ",\n  \"truncated_bytes\": " << counts_.truncatedBytes
     << ",\n  \"undecodable_frames\": " << counts_.undecodable;
  // "name": {rows}, one row a line.
  auto object = [&](const char* name,
                    const std::vector<std::pair<std::string, std::string>>& rows) {
    os << ",\n  \"" << name << "\": {";
    const char* sep = "\n";
    for (const auto& [key, value] : rows) {
      os << sep << "    " << jsonString(key) << ": " << value;
      sep = ",\n";
    }
    os << (rows.empty() ? "" : "\n  ") << "}";
  };
  auto counted = [](const std::vector<std::pair<std::string, uint64_t>>& rows) {
    std::vector<std::pair<std::string, std::string>> out;
    for (const auto& [label, n] : rows) out.emplace_back(label, std::to_string(n));
    return out;
  };
  std::vector<std::pair<std::string, uint64_t>> kinds;
  for (const auto& [id, n] : kinds_) kinds.emplace_back(kindName(id), n);
  object("by_id", counted(kinds));
  object("by_channel", counted(byChannel()));
  std::vector<std::pair<std::string, std::string>> ids;
  for (const auto& [id, c] : byCanId()) {
    char text[16];
    std::snprintf(text, sizeof text, id.extended ? "%08X" : "%03X", id.id);
    ids.emplace_back(text, "{\"count\": " + std::to_string(c.count) +
                               ", \"by_channel\": " + inlineObject(c.byChannel) + "}");
  }
  object("by_can_id", ids);
  object("error_frames", counted(errorFrames()));
  os << "\n}\n";
  return os.str();
}

}  // namespace vxtrace
