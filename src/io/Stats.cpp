#include "vxtrace/io/Stats.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "util/JsonText.h"
#include "vxtrace/ContainerMessage.h"
#include "vxtrace/InvalidMessage.h"
#include "vxtrace/io/CanFrame.h"
#include "vxtrace/io/Channel.h"
#include "vxtrace/io/Filter.h"

namespace vxtrace {

namespace {

using detail::jsonQuoted;

template <typename Map>
void addAll(Map& into, const Map& from) {
  for (const auto& [key, n] : from) into[key] += n;
}

// {"a": 1, "b": 2} on one line.
std::string inlineObject(const std::vector<std::pair<std::string, uint64_t>>& rows) {
  std::string out = "{";
  for (const auto& [label, n] : rows)
    out += (out.size() > 1 ? ", " : "") + jsonQuoted(label) + ": " + std::to_string(n);
  return out + "}";
}

}  // namespace

Stats::Source& Stats::source(const MessageBase& record) {
  const uint64_t key = record.getSourceChannelID();
  if (key != ~0ULL && key == lastSource_.key) return *lastSource_.source;
  SourceKey sourceKey{key, key == ~0ULL ? record.getSourceChannel() : std::string()};
  auto it = sources_.find(sourceKey);
  if (it == sources_.end()) {
    Source s;
    s.label = channelLabel(key == ~0ULL ? sourceKey.second : record.getSourceChannel());
    s.seen = ranks_++;
    it = sources_.emplace(std::move(sourceKey), std::move(s)).first;
  }
  if (key != ~0ULL) {
    lastSource_.key = key;
    lastSource_.source = &it->second;
  }
  return it->second;
}

void Stats::add(const MessageBase& record, bool contained) {
  if (record.msgId == MSGID_INVALID && dynamic_cast<const InvalidMessage*>(&record) != nullptr)
    return;
  ++(contained ? contained_ : records_);
  ++kinds_[static_cast<uint16_t>(record.msgId)];
  if (record.msgId == MSGID_CONTAINER)
    if (auto* c = dynamic_cast<const ContainerMessage*>(&record))
      ++(c->compression ? lz4_ : plain_);
  Source& from = source(record);
  ++from.records;
  const uint64_t t = record.timeStamp;
  if (!first_ || t < *first_) first_ = t;
  if (!last_ || t > *last_) last_ = t;
  if (t < kPlausibleFrom || t >= kPlausibleTo) ++anomalies_.implausible;
  if (lastInOrder_) {
    const uint64_t before = *lastInOrder_;
    if (t < before) ++anomalies_.backwards;
    if (t > before && t - before > gapUs_ && ++anomalies_.gaps <= kMaxGapsListed)
      anomalies_.gapList.push_back(Gap{before, t - before});
  } else {
    firstInOrder_ = t;
  }
  lastInOrder_ = t;
  CanFrame frame;
  if (toCanFrame(record, frame) != nullptr) return;
  if (frame.error)
    ++from.errorFrames;
  else
    ++canIds_[CanId{frame.id, frame.extended}][SourceKey{record.getSourceChannelID(), {}}];
}

void Stats::setReaderCounts(const TraceFileReader::counts_t& counts, uint64_t undecodableBytes) {
  counts_ = counts;
  undecodableBytes_ = undecodableBytes;
}

void Stats::merge(const Stats& later) {
  records_ += later.records_;
  contained_ += later.contained_;
  plain_ += later.plain_;
  lz4_ += later.lz4_;
  if (later.first_ && (!first_ || *later.first_ < *first_)) first_ = later.first_;
  if (later.last_ && (!last_ || *later.last_ > *last_)) last_ = later.last_;
  // The later part's first record follows this part's last one.
  Anomalies& a = anomalies_;
  if (lastInOrder_ && later.firstInOrder_) {
    const uint64_t before = *lastInOrder_, t = *later.firstInOrder_;
    if (t < before) ++a.backwards;
    if (t > before && t - before > gapUs_ && ++a.gaps <= kMaxGapsListed)
      a.gapList.push_back(Gap{before, t - before});
  }
  a.backwards += later.anomalies_.backwards;
  a.gaps += later.anomalies_.gaps;
  a.implausible += later.anomalies_.implausible;
  for (const Gap& g : later.anomalies_.gapList)
    if (a.gapList.size() < kMaxGapsListed) a.gapList.push_back(g);
  if (!firstInOrder_) firstInOrder_ = later.firstInOrder_;
  if (later.lastInOrder_) lastInOrder_ = later.lastInOrder_;
  counts_.bytesRead += later.counts_.bytesRead;
  counts_.records += later.counts_.records;
  counts_.skippedBytes += later.counts_.skippedBytes;
  counts_.skippedRuns += later.counts_.skippedRuns;
  counts_.undecodable += later.counts_.undecodable;
  counts_.truncatedBytes += later.counts_.truncatedBytes;
  undecodableBytes_ += later.undecodableBytes_;
  addAll(kinds_, later.kinds_);
  // Sources new here come after every source seen before, in the later part's order.
  const uint64_t base = ranks_;
  for (const auto& [key, s] : later.sources_) {
    auto [it, added] = sources_.emplace(key, s);
    if (added) {
      it->second.seen = base + s.seen;
    } else {
      it->second.records += s.records;
      it->second.errorFrames += s.errorFrames;
    }
  }
  ranks_ = base + later.ranks_;
  lastSource_ = LastSource();
  for (const auto& [id, perSource] : later.canIds_) addAll(canIds_[id], perSource);
}

double Stats::durationSeconds() const {
  return first_ ? static_cast<double>(*last_ - *first_) / 1e6 : 0.0;
}

double Stats::framesPerSecond() const {
  const double d = durationSeconds();
  return d > 0 ? static_cast<double>(records_) / d : 0.0;
}

std::vector<std::pair<std::string, uint64_t>> Stats::byLabel(
    const std::vector<std::pair<const SourceKey*, uint64_t>>& rows) const {
  std::vector<std::pair<std::string, uint64_t>> out;
  for (const auto& [key, n] : rows) {
    auto it = sources_.find(*key);
    const std::string& label = it != sources_.end() ? it->second.label : key->second;
    auto same =
        std::find_if(out.begin(), out.end(), [&](const auto& row) { return row.first == label; });
    if (same == out.end())
      out.emplace_back(label, n);
    else
      same->second += n;
  }
  return out;
}

std::vector<std::pair<std::string, uint64_t>> Stats::byChannel() const {
  std::vector<std::pair<const SourceKey*, uint64_t>> rows;
  for (const auto& [key, s] : sources_) rows.emplace_back(&key, s.records);
  return byLabel(rows);
}

std::vector<std::pair<std::string, uint64_t>> Stats::byChannelInOrder() const {
  std::vector<std::pair<const SourceKey*, uint64_t>> rows;
  for (const auto& [key, s] : sources_) rows.emplace_back(&key, s.records);
  std::sort(rows.begin(), rows.end(), [this](const auto& a, const auto& b) {
    return sources_.at(*a.first).seen < sources_.at(*b.first).seen;
  });
  return byLabel(rows);
}

std::vector<std::pair<std::string, uint64_t>> Stats::errorFrames() const {
  std::vector<std::pair<const SourceKey*, uint64_t>> rows;
  for (const auto& [key, s] : sources_)
    if (s.errorFrames != 0) rows.emplace_back(&key, s.errorFrames);
  return byLabel(rows);
}

std::map<Stats::CanId, Stats::CanIdCount> Stats::byCanId() const {
  std::map<CanId, CanIdCount> out;
  for (const auto& [id, perSource] : canIds_) {
    std::vector<std::pair<const SourceKey*, uint64_t>> rows;
    for (const auto& [key, n] : perSource) rows.emplace_back(&key, n);
    CanIdCount& c = out[id];
    c.byChannel = byLabel(rows);
    for (const auto& row : c.byChannel) c.count += row.second;
  }
  return out;
}

std::string Stats::toJson(const std::optional<std::string>& file, bool canIds) const {
  std::ostringstream os;
  os << "{\n";
  if (file) os << "  \"file\": " << jsonQuoted(*file) << ",\n";
  os << "  \"bytes\": " << counts_.bytesRead << ",\n  \"records\": " << records_
     << ",\n  \"contained_records\": " << contained_ << ",\n";
  if (first_) {
    os << "  \"first_timestamp_us\": " << *first_
       << ",\n  \"first_time\": " << jsonQuoted(MessageBase::printTimestamp(*first_))
       << ",\n  \"last_timestamp_us\": " << *last_
       << ",\n  \"last_time\": " << jsonQuoted(MessageBase::printTimestamp(*last_)) << ",\n";
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
      os << sep << "    " << jsonQuoted(key) << ": " << value;
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
  if (!canIds) {
    os << "\n}\n";
    return os.str();
  }
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
