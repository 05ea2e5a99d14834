#include "vxtrace/export/HtmlReport.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <unordered_map>
#include <vector>

#include "vxtrace/BusLoadExtMessage.h"
#include "vxtrace/BusLoadMessage.h"
#include "vxtrace/BusStatusNotificationMessage.h"
#include "vxtrace/ContainerMessage.h"
#include "vxtrace/InvalidMessage.h"
#include "vxtrace/LostExtMessage.h"
#include "vxtrace/LostMessage.h"
#include "vxtrace/MarkerMessage.h"
#include "vxtrace/MessageIds.h"
#include "vxtrace/io/CanFrame.h"
#include "vxtrace/io/Channel.h"
#include "vxtrace/io/Stats.h"

namespace vxtrace {

namespace {

// Time stamps outside 1990..2100 are not drawn: one record dated 1970 would squeeze the whole
// trace into one column.
constexpr uint64_t kPlausibleFrom = 631152000ULL * 1000000ULL;  // 1990-01-01 UTC
constexpr uint64_t kPlausibleTo = 4102444800ULL * 1000000ULL;   // 2100-01-01 UTC
constexpr uint64_t kFirstBinUs = 1000;                          // 1 ms

// One colour per channel label, the same in every chart.
const char* const kPalette[] = {"#1f77b4", "#ff7f0e", "#2ca02c", "#d62728", "#9467bd", "#8c564b",
                                "#e377c2", "#7f7f7f", "#bcbd22", "#17becf", "#393b79", "#ad494a",
                                "#aec7e8", "#ffbb78", "#98df8a", "#ff9896", "#c5b0d5", "#c49c94",
                                "#f7b6d2", "#dbdb8d", "#9edae5", "#637939", "#8c6d31", "#7b4173"};

bool plausible(uint64_t t) { return t >= kPlausibleFrom && t < kPlausibleTo; }

std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
std::string format(const char* fmt, ...) {
  char text[256];
  va_list args;
  va_start(args, fmt);
  std::vsnprintf(text, sizeof text, fmt, args);
  va_end(args);
  return text;
}

std::string html(const std::string& s) {
  std::string out;
  out.reserve(s.size());
  for (unsigned char c : s) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        // Control bytes would make the page invalid; file names may hold anything.
        if (c < 0x20)
          out += format("\\x%02x", c);
        else
          out.push_back(static_cast<char>(c));
    }
  }
  return out;
}

// As `stats` names a kind.
std::string kindName(uint16_t id) {
  if (const char* name = getMsgIdName(static_cast<msgid_t>(id))) return name;
  return format("0x%04X", id);
}

std::string utc(uint64_t us) { return MessageBase::printTimestamp(us); }

std::string local(uint64_t us) {
  const time_t seconds = static_cast<time_t>(us / 1000000);
  struct tm t {};
  if (localtime_r(&seconds, &t) == nullptr) return "-";
  char text[64];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &t);
  char zone[32];
  std::strftime(zone, sizeof zone, "%Z (UTC%z)", &t);
  return format("%s.%06u %s", text, static_cast<unsigned>(us % 1000000), zone);
}

std::string seconds(double s) {
  if (s >= 86400) return format("%.2f d", s / 86400);
  if (s >= 3600) return format("%.2f h", s / 3600);
  if (s >= 60) return format("%.2f min", s / 60);
  if (s >= 1) return format("%.3f s", s);
  if (s >= 1e-3) return format("%.3f ms", s * 1e3);
  return format("%.0f µs", s * 1e6);
}

std::string number(double v) {
  if (v >= 1e9) return format("%.1fG", v / 1e9);
  if (v >= 1e6) return format("%.1fM", v / 1e6);
  if (v >= 1e4) return format("%.0fk", v / 1e3);
  if (v >= 1e3) return format("%.1fk", v / 1e3);
  if (v >= 10 || v == std::floor(v)) return format("%.0f", v);
  return format("%.2g", v);
}

// Running median of a stream (the P-square algorithm: five markers, no samples kept), so each
// CAN identifier's period costs a few dozen bytes however many frames it has.
class MedianEstimator {
 public:
  void add(double x) {
    if (n_ < 5) {
      q_[n_++] = x;
      if (n_ == 5) {
        std::sort(q_, q_ + 5);
        for (int i = 0; i < 5; ++i) pos_[i] = i + 1;
      }
      return;
    }
    int k;
    if (x < q_[0]) {
      q_[0] = x;
      k = 0;
    } else if (x >= q_[4]) {
      q_[4] = std::max(q_[4], x);
      k = 3;
    } else {
      k = 0;
      while (k < 3 && x >= q_[k + 1]) ++k;
    }
    for (int i = k + 1; i < 5; ++i) ++pos_[i];
    ++n_;
    static const double kIncrement[5] = {0, 0.25, 0.5, 0.75, 1};
    for (int i = 0; i < 5; ++i) want_[i] += kIncrement[i];
    for (int i = 1; i < 4; ++i) {
      const double d = want_[i] - pos_[i];
      if ((d >= 1 && pos_[i + 1] - pos_[i] > 1) || (d <= -1 && pos_[i - 1] - pos_[i] < -1)) {
        const int s = d >= 0 ? 1 : -1;
        const double p = parabolic(i, s);
        q_[i] = (q_[i - 1] < p && p < q_[i + 1]) ? p : linear(i, s);
        pos_[i] += s;
      }
    }
  }
  bool empty() const { return n_ == 0; }
  double median() const {
    if (n_ >= 5) return q_[2];
    double sorted[5];
    std::copy(q_, q_ + n_, sorted);
    std::sort(sorted, sorted + n_);
    return n_ % 2 ? sorted[n_ / 2] : (sorted[n_ / 2 - 1] + sorted[n_ / 2]) / 2;
  }

 private:
  double parabolic(int i, int s) const {
    const double a = pos_[i] - pos_[i - 1], b = pos_[i + 1] - pos_[i],
                 c = pos_[i + 1] - pos_[i - 1];
    return q_[i] + s / c * ((a + s) * (q_[i + 1] - q_[i]) / b + (b - s) * (q_[i] - q_[i - 1]) / a);
  }
  double linear(int i, int s) const {
    return q_[i] + s * (q_[i + s] - q_[i]) / (pos_[i + s] - pos_[i]);
  }

  double q_[5] = {};
  double pos_[5] = {};
  double want_[5] = {1, 2, 3, 4, 5};
  unsigned n_ = 0;
};

struct Identifier {
  uint64_t frames = 0;
  uint64_t last = 0;  // time of the latest frame, microseconds
  MedianEstimator period;
  // Welford's running mean and sum of squares of the intervals, for the standard deviation.
  uint64_t intervals = 0;
  double mean = 0, m2 = 0;
};

// One channel label: its counts, and its rows of the binned time axis.
struct Channel {
  std::string label;
  uint64_t frames = 0;  // bus records
  uint64_t errorFrames = 0;
  int canChannel = -1;      // the logger's zero-based CAN channel, for CAN labels
  bool loggerLoad = false;  // the logger reported its load in percent
  uint64_t untracked = 0;   // CAN frames of identifiers past kMaxIdentifiers
  std::vector<double> framesBin, bitsBin, loadSum, loadCount, errorsBin;
};

struct FileInfo {
  std::string name, framing;
  uint64_t size = 0;
  TraceFileReader::counts_t counts;
  Stats stats;  // the page's counts are those of `stats`, by the same code
  uint64_t gaps = 0, backwards = 0, implausible = 0;
  bool ended = false;
};

struct Gap {
  uint64_t from, to;
};

struct Marker {
  uint64_t time;
  unsigned number;
};

// Nominal bits of a CAN frame on the wire, stuff bits left out (so loads come out a little
// low), interframe space included. A CAN FD data phase counts at the nominal rate: the page
// knows one rate per channel.
double frameBits(const CanFrame& f) {
  if (f.error) return 20;
  return (f.extended ? 67.0 : 47.0) + 8.0 * f.length;
}

constexpr double kWidth = 960, kLeft = 70, kRight = 20, kTop = 12;
constexpr double kPlotWidth = kWidth - kLeft - kRight;

// The drawn part of the time axis: the bins that hold the trace.
struct View {
  uint64_t from = 0, width = 1;
  std::size_t first = 0, count = 0;  // bins
  double left = kLeft, plotWidth = kPlotWidth;
  double x(uint64_t t) const {
    const double span = static_cast<double>(width) * static_cast<double>(count);
    return left + plotWidth * (static_cast<double>(t) - static_cast<double>(from)) / span;
  }
  double xBin(std::size_t b) const { return x(from + (b - first) * width); }
  double binSeconds() const { return static_cast<double>(width) / 1e6; }
};

// What the charts share: the drawn bins and each bus channel's colour.
struct Frame {
  View view;
  bool any = false;
  std::vector<std::pair<const Channel*, std::size_t>> bus;  // with colour index, by label
};

}  // namespace

struct HtmlReport::Impl {
  HtmlReportOptions options;
  unsigned bins;

  // The binned time axis: bin i covers [origin + i*width, origin + (i+1)*width).
  uint64_t width = kFirstBinUs, origin = 0;
  bool axisStarted = false;
  uint64_t binnedLo = 0, binnedHi = 0;  // earliest and latest time put in a bin

  std::vector<Channel> channels;  // bounded by kMaxChannels, then "other"
  std::map<std::string, std::size_t> channelIndex;
  // Labels by source id: building the label text for every record would cost more than the rest
  // of the record's accounting. Records without a source id (all ones) are looked up by text.
  std::unordered_map<uint64_t, std::size_t> channelById;
  // Event rows that belong to no channel.
  std::vector<double> lostBin, statusBin, lossBin, backwardsBin, markerBin;
  uint64_t lostRecords = 0, lostMessages = 0, statusRecords = 0, markers = 0;

  std::vector<Marker> markerList;
  std::vector<Gap> gaps;  // the longest kMaxGaps
  uint64_t gapCount = 0;

  std::unordered_map<uint64_t, Identifier> identifiers;  // (CAN channel, extended, id)

  std::vector<FileInfo> files;
  // Per file: neighbour times for gaps and steps back, and where losses go.
  uint64_t previous = 0, latest = 0;
  bool havePrevious = false;
  uint64_t pendingLosses = 0;  // losses before the file's first plausible time

  explicit Impl(const HtmlReportOptions& o) : options(o), bins(o.bins) {
    if (bins < HtmlReportOptions::kMinBins || bins > HtmlReportOptions::kMaxBins)
      throw std::invalid_argument("bins must be from " +
                                  std::to_string(HtmlReportOptions::kMinBins) + " to " +
                                  std::to_string(HtmlReportOptions::kMaxBins));
    for (auto* row : {&lostBin, &statusBin, &lossBin, &backwardsBin, &markerBin})
      row->assign(bins, 0);
  }

  void forEachRow(const std::function<void(std::vector<double>&)>& fn) {
    for (auto& c : channels)
      for (auto* row : {&c.framesBin, &c.bitsBin, &c.loadSum, &c.loadCount, &c.errorsBin}) fn(*row);
    for (auto* row : {&lostBin, &statusBin, &lossBin, &backwardsBin, &markerBin}) fn(*row);
  }

  // The bin of a plausible time; widens the axis (merging neighbouring bins) when t lies
  // outside it. Widths stay multiples of 1 ms by powers of two and origins multiples of the
  // width, so every old bin falls whole into one new bin.
  std::size_t bin(uint64_t t) {
    if (!axisStarted) {
      axisStarted = true;
      origin = t / width * width;
      binnedLo = binnedHi = t;
    }
    const uint64_t lo = std::min(binnedLo, t), hi = std::max(binnedHi, t);
    if (lo < origin || hi >= origin + bins * width) {
      uint64_t w = width, o = origin;
      do {
        w *= 2;
        o = lo / w * w;
      } while (hi >= o + bins * w);
      forEachRow([&](std::vector<double>& row) {
        std::vector<double> merged(bins, 0);
        for (std::size_t i = 0; i < bins; ++i)
          if (row[i] != 0) merged[(origin + i * width - o) / w] += row[i];
        row.swap(merged);
      });
      width = w;
      origin = o;
    }
    binnedLo = lo;
    binnedHi = hi;
    return static_cast<std::size_t>((t - origin) / width);
  }

  Channel& channel(const std::string& label) {
    auto it = channelIndex.find(label);
    if (it != channelIndex.end()) return channels[it->second];
    if (channels.size() + 1 >= HtmlReport::kMaxChannels) {
      // Past the bound every new label shares one row.
      auto other = channelIndex.find("other");
      if (other != channelIndex.end()) return channels[other->second];
      return newChannel("other");
    }
    return newChannel(label);
  }

  Channel& newChannel(const std::string& label) {
    channelIndex[label] = channels.size();
    channels.emplace_back();
    Channel& c = channels.back();
    c.label = label;
    for (auto* row : {&c.framesBin, &c.bitsBin, &c.loadSum, &c.loadCount, &c.errorsBin})
      row->assign(bins, 0);
    return c;
  }

  FileInfo& file() {
    if (files.empty() || files.back().ended) beginFile("input", "", 0);
    return files.back();
  }

  void beginFile(const std::string& name, const std::string& framing, uint64_t size) {
    files.emplace_back();
    files.back().name = name;
    files.back().framing = framing;
    files.back().size = size;
    havePrevious = false;
    pendingLosses = 0;
  }

  // The time events without a plausible time of their own are drawn at.
  bool anchor(uint64_t& t) const {
    if (!havePrevious) return false;
    t = previous;
    return true;
  }

  void noteLoad(const std::string& label, double percent, uint64_t t) {
    if (!plausible(t)) return;
    const std::size_t b = bin(t);
    Channel& c = channel(label);
    c.loggerLoad = true;
    c.loadSum[b] += percent;
    c.loadCount[b] += 1;
  }

  void add(const MessageBase& record, unsigned depth) {
    if (record.msgId == MSGID_INVALID && dynamic_cast<const InvalidMessage*>(&record)) return;
    FileInfo& f = file();
    const uint64_t t = record.timeStamp;
    f.stats.add(record, depth > 0);

    const uint64_t source = record.getSourceChannelID();
    std::size_t index;
    if (source == ~0ULL) {
      index = static_cast<std::size_t>(&channel(channelLabel(record)) - channels.data());
    } else {
      auto known = channelById.find(source);
      if (known == channelById.end()) {
        index = static_cast<std::size_t>(&channel(channelLabel(record)) - channels.data());
        channelById.emplace(source, index);
      } else {
        index = known->second;
      }
    }
    Channel& c = channels[index];
    const bool container = record.msgId == MSGID_CONTAINER &&
                           dynamic_cast<const ContainerMessage*>(&record) != nullptr;
    if (!plausible(t)) {
      ++f.implausible;
    } else if (!container) {
      // A container's own stamp may lie anywhere among its records': only records count.
      if (havePrevious && t < previous) {
        ++f.backwards;
        backwardsBin[bin(previous)] += 1;
      }
      if (havePrevious && t > latest && t - latest > options.gapUs) {
        ++f.gaps;
        ++gapCount;
        gaps.push_back({latest, t});
        if (gaps.size() > HtmlReport::kMaxGaps) {
          auto shortest = std::min_element(
              gaps.begin(), gaps.end(),
              [](const Gap& a, const Gap& b) { return a.to - a.from < b.to - b.from; });
          gaps.erase(shortest);
        }
      }
      if (!havePrevious || t > latest) latest = t;
      previous = t;
      havePrevious = true;
      if (pendingLosses) {
        lossBin[bin(t)] += static_cast<double>(pendingLosses);
        pendingLosses = 0;
      }
    }

    const bool busRecord = source != ~0ULL && !container;
    if (busRecord && plausible(t)) {
      ++c.frames;
      c.framesBin[bin(t)] += 1;
    }
    CanFrame frame;
    // Every record that carries a CAN frame names a CAN source.
    if (busRecord && ((source >> 8) & 0xFF) == BUSID_CAN && toCanFrame(record, frame) == nullptr) {
      c.canChannel = frame.channel;
      if (plausible(t)) c.bitsBin[bin(t)] += frameBits(frame);
      if (frame.error) {
        ++c.errorFrames;
        if (plausible(t)) c.errorsBin[bin(t)] += 1;
      } else {
        countIdentifier(c, frame);
      }
      return;
    }
    uint64_t at = t;
    switch (record.msgId) {
      case MSGID_BUSLOAD:
        if (auto* m = dynamic_cast<const BusLoadMessage*>(&record)) loadOf(*m);
        break;
      case MSGID_BUSLOADEXT:
        if (auto* m = dynamic_cast<const BusLoadExtMessage*>(&record)) loadOf(*m);
        break;
      case MSGID_LOST:
      case MSGID_LOST_EXT: {
        ++lostRecords;
        if (auto* m = dynamic_cast<const LostExtMessage*>(&record)) lostMessages += m->numLost;
        if (auto* m = dynamic_cast<const LostMessage*>(&record)) lostMessages += m->numFailed;
        if (plausible(at) || anchor(at)) lostBin[bin(at)] += 1;
        break;
      }
      case MSGID_NOTIFICATION:
        // Its decoded time stamp is only the top of the stored one: drawn where it was read.
        if (auto* m = dynamic_cast<const BusStatusNotificationMessage*>(&record)) {
          if (m->getState() == BusStatusNotificationMessage::BS_OK) break;
          ++statusRecords;
          if (plausible(at) || anchor(at)) statusBin[bin(at)] += 1;
        }
        break;
      case MSGID_MARKER:
        if (auto* m = dynamic_cast<const MarkerMessage*>(&record)) {
          ++markers;
          if (!plausible(at) && !anchor(at)) break;
          markerBin[bin(at)] += 1;
          if (markerList.size() < HtmlReport::kMaxMarkers)
            markerList.push_back({at, m->markerNumber});
        }
        break;
      default:
        break;
    }
  }

  void loadOf(const BusLoadMessage& m) {
    if (m.source == BusLoadMessage::SRC_MOST150 || m.source == BusLoadMessage::SRC_MOST50 ||
        m.load > 251)
      return;
    std::string bus;
    switch (m.source) {
      case BusLoadMessage::SRC_CAN:
      case BusLoadMessage::SRC_LSCAN:
      case BusLoadMessage::SRC_HSCAN:
        bus = "CAN";
        break;
      case BusLoadMessage::SRC_LIN:
        bus = "LIN";
        break;
      case BusLoadMessage::SRC_FLEXRAY:
        bus = "FlexRay";
        break;
      case BusLoadMessage::SRC_ETHERNET:
        bus = "Ethernet";
        break;
      default:
        return;
    }
    noteLoad(bus + " #" + std::to_string(m.bus + 1u), m.load, m.timeStamp);
  }

  void loadOf(const BusLoadExtMessage& m) {
    // Only loads in percent share the chart's axis; type [EXT] carries no unit.
    if (m.type == BusLoadExtMessage::BL_EXT || m.type == BusLoadExtMessage::BL_MOST ||
        m.unit != 1 || m.values[0] >= 0xFFFFFFFCu || m.type > BusLoadExtMessage::BL_XCP_ON_ETH)
      return;
    std::string bus = m.bus == BUSID_CAN ? "CAN" : getBusIdName(m.bus);
    noteLoad(bus + " #" + std::to_string(m.channel + 1u), m.values[0], m.timeStamp);
  }

  void countIdentifier(Channel& c, const CanFrame& f) {
    const uint64_t key = (uint64_t{f.channel} << 32) | (f.extended ? 0x80000000u : 0) | f.id;
    auto it = identifiers.find(key);
    if (it == identifiers.end()) {
      if (identifiers.size() >= HtmlReport::kMaxIdentifiers) {
        ++c.untracked;
        return;
      }
      it = identifiers.emplace(key, Identifier()).first;
      it->second.frames = 1;
      it->second.last = f.timeUs;
      return;
    }
    Identifier& id = it->second;
    ++id.frames;
    // A step back in time, or a gap in the recording, is no period.
    if (f.timeUs >= id.last && f.timeUs - id.last <= options.gapUs) {
      const double interval = static_cast<double>(f.timeUs - id.last);
      id.period.add(interval);
      ++id.intervals;
      const double delta = interval - id.mean;
      id.mean += delta / static_cast<double>(id.intervals);
      id.m2 += delta * (interval - id.mean);
    }
    id.last = f.timeUs;
  }

  void addLoss() {
    uint64_t at = 0;
    if (anchor(at))
      lossBin[bin(at)] += 1;
    else
      ++pendingLosses;
  }

  void endFile(const TraceFileReader::counts_t& counts) {
    FileInfo& f = file();
    f.counts = counts;
    f.stats.setReaderCounts(counts);
    f.ended = true;
    uint64_t at = 0;
    if (pendingLosses && anchor(at)) lossBin[bin(at)] += static_cast<double>(pendingLosses);
    pendingLosses = 0;
  }

  // The drawn bins, and the bus channels in label order with their colours.
  Frame frame() const {
    Frame fr;
    if (axisStarted) {
      fr.any = true;
      fr.view.first = static_cast<std::size_t>((binnedLo - origin) / width);
      fr.view.count = static_cast<std::size_t>((binnedHi - origin) / width) - fr.view.first + 1;
      fr.view.from = origin + fr.view.first * width;
      fr.view.width = width;
    }
    std::vector<const Channel*> sorted;
    for (const Channel& c : channels)
      if (c.frames || c.loggerLoad) sorted.push_back(&c);
    std::sort(sorted.begin(), sorted.end(),
              [](const Channel* a, const Channel* b) { return a->label < b->label; });
    for (std::size_t i = 0; i < sorted.size(); ++i) fr.bus.emplace_back(sorted[i], i);
    return fr;
  }

  // Every file's counts together.
  Stats total() const;
  void write(std::ostream& os) const;
  void writeHeader(std::ostream& os, const Stats& all) const;
  void writeLoad(std::ostream& os) const;
  void writeFrames(std::ostream& os) const;
  void writeEvents(std::ostream& os) const;
  void writeIdentifiers(std::ostream& os) const;
  void writeKinds(std::ostream& os, const Stats& all) const;
};

// ---- drawing --------------------------------------------------------------------------------

namespace {

const char* colour(std::size_t i) { return kPalette[i % (sizeof kPalette / sizeof kPalette[0])]; }

// Ticks on a round step, labelled in UTC; the axis title names the date and the bin width.
void timeAxis(std::ostream& os, const View& v, double y) {
  static const uint64_t kSteps[] = {
      1000,        2000,        5000,        10000,        20000,        50000,
      100000,      200000,      500000,      1000000,      2000000,      5000000,
      10000000,    15000000,    30000000,    60000000,     120000000,    300000000,
      600000000,   900000000,   1800000000,  3600000000,   7200000000,   10800000000,
      21600000000, 43200000000, 86400000000, 172800000000, 604800000000, 2592000000000};
  const uint64_t span = v.width * v.count;
  uint64_t step = kSteps[sizeof kSteps / sizeof kSteps[0] - 1];
  for (uint64_t s : kSteps)
    if (span / s <= 8) {
      step = s;
      break;
    }
  os << "<line class=\"axis\" x1=\"" << v.left << "\" y1=\"" << y << "\" x2=\""
     << v.left + v.plotWidth << "\" y2=\"" << y << "\"/>\n";
  for (uint64_t t = (v.from + step - 1) / step * step; t <= v.from + span; t += step) {
    const double x = v.x(t);
    const std::string full = utc(t);  // YYYY-MM-DD HH:MM:SS.ffffff
    std::string label = step >= 86400000000ULL ? full.substr(5, 5)
                        : step >= 1000000      ? full.substr(11, 8)
                                               : full.substr(11, 12);
    os << format("<line class=\"tick\" x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\"/>", x, y, x,
                 y + 4)
       << format("<text class=\"tl\" x=\"%.1f\" y=\"%.1f\">", x, y + 16) << label << "</text>\n";
  }
  os << format("<text class=\"at\" x=\"%.1f\" y=\"%.1f\">", v.left + v.plotWidth / 2, y + 32)
     << "Time (UTC) from " << html(utc(v.from).substr(0, 19)) << ", one column "
     << seconds(v.binSeconds()) << "</text>\n";
}

// A value axis from 0 to top, with a title.
void valueAxis(std::ostream& os, double top, double y0, double height, const std::string& title) {
  os << format("<line class=\"axis\" x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\"/>\n", kLeft,
               y0, kLeft, y0 - height);
  for (int i = 0; i <= 4; ++i) {
    const double y = y0 - height * i / 4;
    os << format("<line class=\"grid\" x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\"/>", kLeft, y,
                 kLeft + kPlotWidth, y)
       << format("<text class=\"vl\" x=\"%.1f\" y=\"%.1f\">", kLeft - 4, y + 4)
       << number(top * i / 4) << "</text>\n";
  }
  os << format("<text class=\"at\" transform=\"translate(14 %.1f) rotate(-90)\">", y0 - height / 2)
     << html(title) << "</text>\n";
}

// A round upper end for a value axis.
double niceTop(double max) {
  if (max <= 0) return 1;
  const double p = std::pow(10.0, std::floor(std::log10(max)));
  for (double m : {1.0, 2.0, 2.5, 5.0, 10.0})
    if (max <= m * p) return m * p;
  return 10 * p;
}

void legend(std::ostream& os, const std::vector<std::pair<std::string, std::size_t>>& entries) {
  os << "<div class=\"legend\">";
  for (const auto& [label, index] : entries)
    os << "<span><i style=\"background:" << colour(index) << "\"></i>" << html(label) << "</span>";
  os << "</div>\n";
}

}  // namespace

void HtmlReport::Impl::write(std::ostream& os) const {
  os << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n<title>"
     << html(options.title)
     << "</title>\n<style>\n"
        "body{font-family:sans-serif;margin:16px;color:#222;max-width:1000px}\n"
        "h1{font-size:20px}h2{font-size:16px;margin-top:28px;border-bottom:1px solid #ccc}"
        "h3{font-size:14px}\n"
        "table{border-collapse:collapse;font-size:13px}td,th{padding:2px 8px;text-align:left}"
        "td.n{text-align:right;font-variant-numeric:tabular-nums}tr:nth-child(even){background:#"
        "f4f4f4}\n"
        ".bar{height:10px;display:inline-block;vertical-align:middle}\n"
        ".legend span{margin-right:14px;font-size:13px;white-space:nowrap}"
        ".legend "
        "i{display:inline-block;width:12px;height:12px;margin-right:4px;vertical-align:-1px}\n"
        "svg{display:block;margin:6px 0}svg text{font-size:11px;fill:#333}\n"
        ".axis{stroke:#444}.tick{stroke:#444}.grid{stroke:#ddd}\n"
        ".tl{text-anchor:middle}.vl{text-anchor:end}.at{text-anchor:middle;font-size:12px}\n"
        ".note{font-size:13px;color:#555}.cols{display:flex;flex-wrap:wrap;column-gap:40px}\n"
        "</style></head><body>\n<h1>"
     << html(options.title) << "</h1>\n";
  const Stats all = total();
  writeHeader(os, all);
  writeLoad(os);
  writeFrames(os);
  writeEvents(os);
  writeIdentifiers(os);
  writeKinds(os, all);
  os << "</body></html>\n";
}

Stats HtmlReport::Impl::total() const {
  Stats all;
  for (const FileInfo& f : files) all.merge(f.stats);
  return all;
}

void HtmlReport::Impl::writeHeader(std::ostream& os, const Stats& all) const {
  uint64_t backwards = 0, implausible = 0;
  os << "<h2>Files</h2>\n<table id=\"files\"><tr><th>File</th><th>Bytes</th><th>Framing</th>"
        "<th>Records</th><th>Lost bytes</th></tr>\n";
  for (const FileInfo& f : files) {
    const auto& c = f.counts;
    os << "<tr><td>" << html(f.name) << "</td><td class=\"n\">" << c.bytesRead << "</td><td>"
       << html(f.framing) << "</td><td class=\"n\">" << f.stats.records() << "</td><td class=\"n\">"
       << c.skippedBytes + c.truncatedBytes << "</td></tr>\n";
    backwards += f.backwards;
    implausible += f.implausible;
  }
  os << "</table>\n<div class=\"cols\"><div><h2>Summary</h2>\n<table id=\"summary\">\n";
  auto row = [&](const char* key, const char* name, const std::string& value) {
    os << "<tr><th>" << name << "</th><td data-key=\"" << key << "\">" << html(value)
       << "</td></tr>\n";
  };
  const TraceFileReader::counts_t& c = all.readerCounts();
  row("records", "Records", std::to_string(all.records()));
  row("contained_records", "Records inside containers", std::to_string(all.contained()));
  if (all.firstTime()) {
    const uint64_t first = *all.firstTime(), last = *all.lastTime();
    row("first_time", "First time (UTC)", utc(first));
    row("last_time", "Last time (UTC)", utc(last));
    row("first_local", "First time (local)", local(first));
    row("last_local", "Last time (local)", local(last));
    row("duration_s", "Duration", format("%.6f", all.durationSeconds()) + " s");
  }
  row("garbage_bytes", "Invalid data skipped (bytes)", std::to_string(c.skippedBytes));
  row("garbage_runs", "Invalid data runs", std::to_string(c.skippedRuns));
  row("undecodable_frames", "Undecodable frames", std::to_string(c.undecodable));
  row("truncated_bytes", "Truncated at end (bytes)", std::to_string(c.truncatedBytes));
  row("lost_records", "Lost-data records (messages lost)",
      std::to_string(lostRecords) + " (" + std::to_string(lostMessages) + ")");
  row("gaps", ("Gaps longer than " + seconds(options.gapUs / 1e6)).c_str(),
      std::to_string(gapCount));
  row("time_backwards", "Steps back in time", std::to_string(backwards));
  row("implausible_times", "Times outside 1990-2100 (not drawn)", std::to_string(implausible));
  os << "</table></div>\n";

  os << "<div><h2>Channels</h2>\n<table id=\"channels\"><tr><th>Channel</th><th>Records</th>"
        "<th>Error frames</th></tr>\n";
  std::map<std::string, uint64_t> errors;
  for (const auto& [label, n] : all.errorFrames()) errors[label] += n;
  for (const auto& [label, n] : all.byChannel())
    os << "<tr><td>" << html(label) << "</td><td class=\"n\" data-channel=\"" << html(label)
       << "\">" << n << "</td><td class=\"n\">" << errors[label] << "</td></tr>\n";
  os << "</table></div></div>\n";
}

// ---- charts ---------------------------------------------------------------------------------

void HtmlReport::Impl::writeLoad(std::ostream& os) const {
  const Frame fr = frame();
  os << "<h2>Bus load</h2>\n";
  // Per channel: the logger's own load records, else its frames against a given bit rate.
  struct Line {
    const Channel* c;
    std::size_t colour;
    std::vector<double> values;  // percent, NAN where unknown
    const char* source;
  };
  std::vector<Line> lines;
  std::vector<std::string> unknown;
  double max = 0;
  for (const auto& [c, index] : fr.bus) {
    Line line{c, index, std::vector<double>(fr.view.count, NAN), ""};
    const auto rate = options.bitRates.find(c->label);
    if (c->loggerLoad) {
      line.source = "logger";
      for (std::size_t i = 0; i < fr.view.count; ++i) {
        const std::size_t b = fr.view.first + i;
        if (c->loadCount[b] > 0) line.values[i] = c->loadSum[b] / c->loadCount[b];
      }
    } else if (rate != options.bitRates.end() && rate->second > 0 && c->canChannel >= 0) {
      line.source = "frames";
      for (std::size_t i = 0; i < fr.view.count; ++i)
        line.values[i] = 100.0 * c->bitsBin[fr.view.first + i] / fr.view.binSeconds() /
                         static_cast<double>(rate->second);
    } else {
      if (c->frames) unknown.push_back(c->label);
      continue;
    }
    for (double v : line.values)
      if (!std::isnan(v)) max = std::max(max, v);
    lines.push_back(std::move(line));
  }
  const double h = 220, y0 = kTop + h, top = std::max(100.0, niceTop(max));
  std::vector<std::pair<std::string, std::size_t>> entries;
  for (const Line& l : lines)
    entries.emplace_back(l.c->label + (l.source[0] == 'f' ? " (from frames)" : ""), l.colour);
  legend(os, entries);
  os << format(
      "<svg id=\"chart-load\" width=\"%.0f\" height=\"%.0f\" viewBox=\"0 0 %.0f %.0f\" "
      "role=\"img\"><title>Bus load in percent over time</title>\n",
      kWidth, y0 + 40, kWidth, y0 + 40);
  valueAxis(os, top, y0, h, "Bus load (%)");
  if (fr.any) timeAxis(os, fr.view, y0);
  const double half =
      fr.any ? (fr.view.xBin(fr.view.first + 1) - fr.view.xBin(fr.view.first)) / 2 : 0;
  for (const Line& l : lines) {
    // Load records come once a second or so, far sparser than the columns: the line joins the
    // columns that have a value, with a dot on each when there are few.
    std::string d, dots;
    std::size_t points = 0;
    for (double value : l.values) points += !std::isnan(value);
    std::size_t known = 0;
    for (std::size_t i = 0; i < l.values.size(); ++i) {
      if (std::isnan(l.values[i])) continue;
      const double x = fr.view.xBin(fr.view.first + i) + half, y = y0 - h * l.values[i] / top;
      // No line across a gap in the recording.
      const uint64_t after = fr.view.from + (known + 1) * fr.view.width,
                     before = fr.view.from + i * fr.view.width;
      const bool broken = std::any_of(gaps.begin(), gaps.end(), [&](const Gap& g) {
        return g.from <= after && g.to >= before;
      });
      d += format("%s%.1f %.1f", d.empty() || broken ? " M" : " L", x, y);
      known = i;
      if (points <= 60) dots += format("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"2.5\"/>", x, y);
    }
    if (d.empty()) continue;
    os << "<g fill=\"" << colour(l.colour)
       << "\"><path fill=\"none\" stroke-width=\"1.5\" stroke=\"" << colour(l.colour) << "\" d=\""
       << d.substr(1) << "\"><title>" << html(l.c->label) << "</title></path>" << dots << "</g>\n";
  }
  if (lines.empty())
    os << format("<text x=\"%.0f\" y=\"%.0f\" class=\"at\">", kLeft + kPlotWidth / 2, y0 - h / 2)
       << "No load records, and no bit rate given for a CAN channel</text>\n";
  os << "</svg>\n";
  if (!unknown.empty()) {
    os << "<p class=\"note\">No load known for ";
    for (std::size_t i = 0; i < unknown.size(); ++i) os << (i ? ", " : "") << html(unknown[i]);
    os << " (no load records of the logger's and no bit rate given): see their frames per "
          "second below.</p>\n";
  }
}

void HtmlReport::Impl::writeFrames(std::ostream& os) const {
  const Frame fr = frame();
  os << "<h2>Frames per second</h2>\n";
  std::vector<std::pair<const Channel*, std::size_t>> drawn;
  for (const auto& entry : fr.bus)
    if (entry.first->frames) drawn.push_back(entry);
  std::vector<double> sum(fr.view.count, 0);
  for (const auto& [c, index] : drawn)
    for (std::size_t i = 0; i < fr.view.count; ++i) sum[i] += c->framesBin[fr.view.first + i];
  double max = 0;
  for (double v : sum) max = std::max(max, v / fr.view.binSeconds());
  const double h = 220, y0 = kTop + h, top = niceTop(max);
  std::vector<std::pair<std::string, std::size_t>> entries;
  for (const auto& [c, index] : drawn) entries.emplace_back(c->label, index);
  legend(os, entries);
  os << format(
      "<svg id=\"chart-frames\" width=\"%.0f\" height=\"%.0f\" viewBox=\"0 0 %.0f %.0f\" "
      "role=\"img\"><title>Frames per second per channel, stacked</title>\n",
      kWidth, y0 + 40, kWidth, y0 + 40);
  valueAxis(os, top, y0, h, "Frames per second");
  if (fr.any) timeAxis(os, fr.view, y0);
  // Each layer is drawn from the axis up to the sum of its own and the layers below it, the
  // highest sum first, so that each band shows in its own colour and each outline is drawn once.
  std::vector<std::vector<double>> tops;
  std::vector<double> sumSoFar(fr.view.count, 0);
  for (const auto& entry : drawn) {
    for (std::size_t i = 0; i < fr.view.count; ++i)
      sumSoFar[i] += entry.first->framesBin[fr.view.first + i];
    tops.push_back(sumSoFar);
  }
  for (std::size_t layer = drawn.size(); layer-- > 0;) {
    const auto& [c, index] = drawn[layer];
    std::string d = format("M%.1f %.1f", fr.view.xBin(fr.view.first), y0);
    for (std::size_t i = 0; i < fr.view.count; ++i)
      d += format("V%.1fH%.1f", y0 - h * tops[layer][i] / fr.view.binSeconds() / top,
                  fr.view.xBin(fr.view.first + i + 1));
    os << "<path fill=\"" << colour(index) << "\" d=\"" << d << "V" << format("%.1f", y0)
       << "Z\"><title>" << html(c->label) << ": " << c->frames << " frames</title></path>\n";
  }
  if (drawn.empty())
    os << format("<text x=\"%.0f\" y=\"%.0f\" class=\"at\">", kLeft + kPlotWidth / 2, y0 - h / 2)
       << "No bus frames</text>\n";
  os << "</svg>\n";
}

void HtmlReport::Impl::writeEvents(std::ostream& os) const {
  const Frame fr = frame();
  // Room on the left for the lane names, on the right for their totals.
  View v = fr.view;
  v.left = 150;
  v.plotWidth = kWidth - v.left - 50;
  os << "<h2>Events</h2>\n";
  struct Lane {
    std::string name;
    const std::vector<double>* row;
    std::string colour;
    uint64_t total;
    const char* what;
  };
  std::vector<Lane> lanes;
  for (const auto& [c, index] : fr.bus)
    if (c->errorFrames)
      lanes.push_back({"Error frames " + c->label, &c->errorsBin, colour(index), c->errorFrames,
                       "error frames"});
  uint64_t losses = 0, backwards = 0;
  for (const FileInfo& f : files) {
    losses += f.counts.skippedRuns + f.counts.undecodable + (f.counts.truncatedBytes ? 1 : 0);
    backwards += f.backwards;
  }
  lanes.push_back({"Lost data", &lostBin, "#d62728", lostRecords, "lost-data records"});
  lanes.push_back({"Bus status", &statusBin, "#ff7f0e", statusRecords, "bus-status changes"});
  lanes.push_back({"Reader losses", &lossBin, "#8c564b", losses, "losses"});
  lanes.push_back({"Time steps back", &backwardsBin, "#9467bd", backwards, "steps back"});
  lanes.push_back({"Markers", &markerBin, "#2ca02c", markers, "markers"});

  const double laneHeight = 22, y0 = kTop + laneHeight * static_cast<double>(lanes.size());
  os << format(
            "<svg id=\"chart-events\" width=\"%.0f\" height=\"%.0f\" viewBox=\"0 0 %.0f %.0f\" "
            "role=\"img\"><title>Events on the time line</title>\n",
            kWidth, y0 + 40, kWidth, y0 + 40)
     << "<defs><pattern id=\"hatch\" width=\"6\" height=\"6\" patternUnits=\"userSpaceOnUse\" "
        "patternTransform=\"rotate(45)\"><rect width=\"3\" height=\"6\" fill=\"#bbb\"/>"
        "</pattern></defs>\n";
  if (fr.any) {
    for (const Gap& g : gaps) {
      const double x0 = v.x(g.from), x1 = v.x(g.to);
      os << format(
                "<rect fill=\"url(#hatch)\" x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\">",
                x0, kTop, std::max(1.0, x1 - x0), y0 - kTop)
         << "<title>Gap of " << seconds((g.to - g.from) / 1e6) << " from " << utc(g.from) << " to "
         << utc(g.to) << " UTC</title></rect>\n";
    }
  }
  const double binWidth = fr.any ? v.xBin(v.first + 1) - v.xBin(v.first) : 0;
  for (std::size_t l = 0; l < lanes.size(); ++l) {
    const Lane& lane = lanes[l];
    const double y = kTop + laneHeight * static_cast<double>(l);
    os << format("<line class=\"grid\" x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\"/>", v.left,
                 y + laneHeight, v.left + v.plotWidth, y + laneHeight)
       << format("<text x=\"%.1f\" y=\"%.1f\" class=\"vl\">", kWidth - 4, y + 15) << lane.total
       << "</text>\n";
    if (!fr.any) continue;
    double max = 0;
    for (std::size_t i = 0; i < v.count; ++i) max = std::max(max, (*lane.row)[v.first + i]);
    for (std::size_t i = 0; i < v.count; ++i) {
      const double n = (*lane.row)[v.first + i];
      if (n <= 0) continue;
      // Darker for more: the count is in the tooltip.
      const double opacity = 0.35 + 0.65 * std::log1p(n) / std::log1p(max);
      const uint64_t from = v.from + i * v.width;
      os << format(
                "<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" fill=\"%s\" "
                "fill-opacity=\"%.2f\">",
                v.xBin(v.first + i), y + 3, std::max(2.0, binWidth), laneHeight - 6,
                lane.colour.c_str(), opacity)
         << "<title>" << number(n) << " " << lane.what << " from " << utc(from)
         << " UTC</title></rect>\n";
    }
  }
  if (fr.any)
    for (const Marker& m : markerList) {
      const double x = v.x(m.time), y = kTop + laneHeight * static_cast<double>(lanes.size() - 1);
      os << format("<path d=\"M%.1f %.1f l-4 -7 h8 z\" fill=\"#1b5e20\"><title>", x,
                   y + laneHeight - 3)
         << "Marker " << m.number << " at " << utc(m.time) << " UTC</title></path>\n";
    }
  for (std::size_t l = 0; l < lanes.size(); ++l)
    os << format("<text x=\"4\" y=\"%.1f\">", kTop + laneHeight * static_cast<double>(l) + 15)
       << html(lanes[l].name) << "</text>\n";
  if (fr.any) timeAxis(os, v, y0);
  os << "</svg>\n<p class=\"note\">Darker columns hold more events; hatched spans are gaps "
        "longer than "
     << seconds(options.gapUs / 1e6) << " between neighbouring records";
  if (gapCount > gaps.size()) os << " (the " << gaps.size() << " longest of " << gapCount << ")";
  if (markers > markerList.size())
    os << "; the first " << markerList.size() << " of " << markers << " markers are named";
  os << ". Events without a time of their own (reader losses, bus-status records) stand at the "
        "record before them.</p>\n";
}

void HtmlReport::Impl::writeIdentifiers(std::ostream& os) const {
  const Frame fr = frame();
  os << "<h2>Top identifiers per CAN channel</h2>\n";
  os << "<p class=\"note\">Period: the median interval between frames of one identifier "
        "(a running P-square estimate); jitter: the standard deviation of the intervals; intervals "
        "across a gap do not count.</p>\n";
  // Rows grouped by CAN channel, the largest counts first; keeps topIdentifiers per channel.
  std::map<unsigned, std::vector<std::pair<uint64_t, const Identifier*>>> byChannel;
  for (const auto& [key, id] : identifiers)
    byChannel[static_cast<unsigned>(key >> 32)].emplace_back(key, &id);
  bool any = false;
  for (auto& [can, rows] : byChannel) {
    const std::size_t keep = std::min<std::size_t>(options.topIdentifiers, rows.size());
    std::partial_sort(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(keep), rows.end(),
                      [](const auto& a, const auto& b) {
                        return a.second->frames != b.second->frames
                                   ? a.second->frames > b.second->frames
                                   : a.first < b.first;
                      });
    const std::string label = "CAN #" + std::to_string(can + 1);
    std::size_t colourIndex = 0;
    uint64_t frames = 0, untracked = 0;
    for (const auto& [c, index] : fr.bus)
      if (c->label == label) {
        colourIndex = index;
        untracked = c->untracked;
      }
    for (const auto& row : rows) frames += row.second->frames;
    frames += untracked;
    const double maxCount = static_cast<double>(rows.front().second->frames);
    os << "<h3>" << html(label) << ": " << frames << " frames, " << rows.size() << " identifiers"
       << (untracked ? " (" + std::to_string(untracked) + " frames of identifiers not followed)"
                     : "")
       << "</h3>\n<table class=\"ids\"><tr><th>Identifier</th><th>Frames</th><th></th>"
          "<th>Period</th><th>Jitter</th></tr>\n";
    for (std::size_t i = 0; i < keep; ++i) {
      const uint64_t key = rows[i].first;
      const Identifier& id = *rows[i].second;
      const bool extended = key & 0x80000000u;
      const uint32_t value = static_cast<uint32_t>(key & 0x1FFFFFFFu);
      os << "<tr><td>" << format(extended ? "0x%08X (ext)" : "0x%03X", value)
         << "</td><td class=\"n\">" << id.frames << "</td><td><span class=\"bar\" style=\"width:"
         << format("%.0f", 1 + 240.0 * static_cast<double>(id.frames) / maxCount)
         << "px;background:" << colour(colourIndex) << "\"></span></td><td class=\"n\">"
         << (id.period.empty() ? "-" : seconds(id.period.median() / 1e6)) << "</td><td class=\"n\">"
         << (id.intervals > 1
                 ? seconds(std::sqrt(id.m2 / static_cast<double>(id.intervals - 1)) / 1e6)
                 : "-")
         << "</td></tr>\n";
    }
    os << "</table>\n";
    any = true;
  }
  if (!any) os << "<p class=\"note\">No CAN frames.</p>\n";
}

void HtmlReport::Impl::writeKinds(std::ostream& os, const Stats& all) const {
  os << "<h2>Record kinds</h2>\n";
  std::vector<std::pair<uint16_t, uint64_t>> rows(all.byKind().begin(), all.byKind().end());
  std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
    return a.second != b.second ? a.second > b.second : a.first < b.first;
  });
  const double rowHeight = 16, nameWidth = 260, barLeft = nameWidth + 8,
               barWidth = kWidth - barLeft - 80;
  const double height = kTop + rowHeight * static_cast<double>(rows.size()) + 40;
  const double maxLog = rows.empty() ? 1 : std::log10(static_cast<double>(rows.front().second)) + 1;
  os << format(
      "<svg id=\"chart-kinds\" width=\"%.0f\" height=\"%.0f\" viewBox=\"0 0 %.0f %.0f\" "
      "role=\"img\"><title>Records per kind</title>\n",
      kWidth, height, kWidth, height);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const auto& [id, n] = rows[i];
    const double y = kTop + rowHeight * static_cast<double>(i);
    // Logarithmic: a trace holds millions of frames and a handful of markers.
    const double w = barWidth * (std::log10(static_cast<double>(n)) + 1) / maxLog;
    const std::string name = kindName(id);
    os << "<g data-kind=\"" << html(name) << "\" data-count=\"" << n << "\">"
       << format("<text x=\"%.1f\" y=\"%.1f\" class=\"vl\">", nameWidth, y + 12) << html(name)
       << "</text>"
       << format("<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" fill=\"#4e79a7\"/>",
                 barLeft, y + 2, std::max(1.0, w), rowHeight - 4)
       << format("<text x=\"%.1f\" y=\"%.1f\">", barLeft + w + 4, y + 12) << n << "</text></g>\n";
  }
  const double yAxis = kTop + rowHeight * static_cast<double>(rows.size()) + 2;
  os << format("<line class=\"axis\" x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\"/>\n", barLeft,
               yAxis, barLeft + barWidth, yAxis);
  for (int p = 0; p < maxLog; ++p) {
    const double x = barLeft + barWidth * (p + 1) / maxLog;
    os << format("<line class=\"tick\" x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\"/>", x, yAxis,
                 x, yAxis + 4)
       << format("<text class=\"tl\" x=\"%.1f\" y=\"%.1f\">", x, yAxis + 16)
       << number(std::pow(10.0, p)) << "</text>\n";
  }
  os << format("<text class=\"at\" x=\"%.1f\" y=\"%.1f\">", barLeft + barWidth / 2, yAxis + 32)
     << "Records (logarithmic scale)</text>\n</svg>\n";
}

// ---- public ---------------------------------------------------------------------------------

HtmlReport::HtmlReport(HtmlReportOptions options) : impl_(std::make_unique<Impl>(options)) {}
HtmlReport::~HtmlReport() = default;

void HtmlReport::beginFile(const std::string& name, const std::string& framing, uint64_t size) {
  impl_->beginFile(name, framing, size);
}

void HtmlReport::add(const MessageBase& record, uint64_t /*offset*/, unsigned depth) {
  impl_->add(record, depth);
}

void HtmlReport::addLoss(const TraceFileReader::loss_t& /*loss*/) { impl_->addLoss(); }

void HtmlReport::endFile(const TraceFileReader::counts_t& counts) { impl_->endFile(counts); }

void HtmlReport::write(std::ostream& os) const { impl_->write(os); }

uint64_t HtmlReport::records() const {
  uint64_t n = 0;
  for (const FileInfo& f : impl_->files) n += f.stats.records();
  return n;
}

uint64_t HtmlReport::containedRecords() const {
  uint64_t n = 0;
  for (const FileInfo& f : impl_->files) n += f.stats.contained();
  return n;
}

}  // namespace vxtrace
