// The compiled half of the vxtrace Python package: records one by one, CAN frames as numpy
// columns filled without the GIL, and the CAN record encoder of the python-can writer.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <utility>
#include <system_error>

#include "Session.h"
#include "vxtrace/CANExtTraceMessage.h"
#include "vxtrace/CANTraceMessage.h"
#include "vxtrace/export/Exporter.h"
#include "vxtrace/io/CanFrame.h"
#include "vxtrace/io/Channel.h"
#include "vxtrace/io/CanScan.h"
#include "vxtrace/io/Filter.h"
#include "vxtrace/io/ParallelScan.h"

namespace py = pybind11;
using namespace vxtrace::python;
using vxtrace::CanFrame;
using vxtrace::Exporter;
using vxtrace::exportFormats;
using vxtrace::makeExporter;

namespace {

// vxtrace.FormatError, set by the package on import; kept for the life of the process.
PyObject* formatError = PyExc_ValueError;

py::list problemList(Session& session, uint64_t& dropped) {
  py::list out;
  for (const Problem& p : session.takeProblems(dropped))
    out.append(py::make_tuple(p.kind, p.offset, p.length, p.text));
  return out;
}

// ---- records -------------------------------------------------------------------------------

class Record {
 public:
  Record(std::shared_ptr<const MessageBase> msg, uint64_t offset, std::vector<uint8_t> frame)
      : msg_(std::move(msg)), offset_(offset), frame_(std::move(frame)) {
    if (vxtrace::toCanFrame(*msg_, *can_) != nullptr) can_.reset();
  }

  std::string kind() const {
    if (const char* name = getMsgIdName(msg_->msgId)) return name;
    char text[16];
    std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(msg_->msgId));
    return text;
  }
  unsigned kindId() const { return static_cast<unsigned>(msg_->msgId); }
  unsigned long long timeUs() const { return msg_->timeStamp; }
  std::string channel() const { return vxtrace::channelLabel(*msg_); }
  uint64_t offset() const { return offset_; }
  std::string text() const { return msg_->toString(); }
  py::bytes frame() const {
    if (!frame_.empty()) return py::bytes(reinterpret_cast<const char*>(frame_.data()), frame_.size());
    std::vector<unsigned char> bytes;
    msg_->createByteArray(bytes, false, false);
    return py::bytes(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  }
  std::string repr() const {
    return "<vxtrace.Record " + kind() + " " + channel() + " time_us=" +
           std::to_string(msg_->timeStamp) + ">";
  }
  const CanFrame& can() const {
    if (!can_) throw py::attribute_error(kind() + " record carries no CAN frame");
    return *can_;
  }
  bool isCan() const { return can_.has_value(); }

 private:
  std::shared_ptr<const MessageBase> msg_;
  uint64_t offset_;
  std::vector<uint8_t> frame_;  // stored bytes of a top-level record; empty for inner ones
  std::optional<CanFrame> can_{CanFrame()};
};

class RecordReader {
 public:
  RecordReader(py::handle source, Policy policy, py::function report)
      : session_(std::make_unique<Input>(source), policy), report_(std::move(report)) {}

  Record next() {
    std::shared_ptr<const MessageBase> msg;
    {
      py::gil_scoped_release unlocked;
      msg = session_.next();
    }
    flush();
    if (!msg) {
      session_.raiseIfFailed(formatError);
      throw py::stop_iteration();
    }
    return Record(msg, session_.offset(),
                  session_.lastWasTop() ? session_.frameOf(*msg) : std::vector<uint8_t>());
  }

  py::dict counts() const {
    const auto& c = session_.counts();
    py::dict d;
    d["bytes_read"] = c.bytesRead;
    d["records"] = c.records;
    d["skipped_bytes"] = c.skippedBytes;
    d["skipped_runs"] = c.skippedRuns;
    d["undecodable"] = c.undecodable;
    d["truncated_bytes"] = c.truncatedBytes;
    return d;
  }

  void flush() {
    uint64_t dropped = 0;
    py::list problems = problemList(session_, dropped);
    if (problems.size() || dropped) report_(problems, dropped);
  }

 private:
  Session session_;
  py::function report_;
};

// ---- CAN frames as columns -----------------------------------------------------------------

// The io layer's filter built from what Python passes: identifiers and channels as the filter's
// own texts, times in microseconds ([start, end)). Raises ValueError with the filter's reason.
vxtrace::Filter makeFilter(const std::vector<std::string>& ids,
                           const std::vector<std::string>& channels,
                           std::optional<uint64_t> start, std::optional<uint64_t> end) {
  vxtrace::Filter filter;
  auto check = [](const std::string& why) {
    if (!why.empty()) throw py::value_error("vxtrace: " + why);
  };
  for (const std::string& id : ids) check(filter.addCanId(id));
  for (const std::string& channel : channels) check(filter.addChannel(channel));
  check(filter.setTimeRange(start, end));
  return filter;
}

bool isCanRecord(msgid_t id) {
  return id == MSGID_CAN || id == MSGID_CAN_EXT || id == MSGID_CAN_PROXY;
}

// Columns in anonymous mappings of their own, grown with mremap: growing moves pages instead of
// copying them, so no second copy of the result is ever held. They ask for huge pages: a frame
// takes 80 bytes, and faulting a large result in 4 KiB at a time costs more than filling it.
class CanColumns {
 public:
  CanColumns() = default;
  ~CanColumns() {
    for (std::size_t c = 0; c < kColumns; ++c) unmap(columns_[c], capacity_ * kWidth[c]);
  }
  CanColumns(const CanColumns&) = delete;
  CanColumns& operator=(const CanColumns&) = delete;

  void push(const CanFrame& f) {
    if (n_ == capacity_) grow(capacity_ < 65536 ? 65536 : 2 * capacity_);
    column<int64_t>(kTime)[n_] = static_cast<int64_t>(f.timeUs);
    column<uint8_t>(kChannel)[n_] = f.channel;
    column<uint32_t>(kId)[n_] = f.id;
    column<bool>(kExtended)[n_] = f.extended;
    column<bool>(kFd)[n_] = f.fd;
    column<bool>(kBrs)[n_] = f.brs;
    column<bool>(kEsi)[n_] = f.esi;
    column<bool>(kRemote)[n_] = f.remote;
    column<bool>(kError)[n_] = f.error;
    column<bool>(kTx)[n_] = f.tx;
    column<uint8_t>(kDlc)[n_] = f.dlc;
    column<uint8_t>(kLength)[n_] = f.length;
    std::memcpy(column<uint8_t>(kData) + 64 * n_, f.data, 64);
    ++n_;
  }
  std::size_t size() const { return n_; }
  void clear() { n_ = 0; }

  // Moves other's rows after this one's; other is empty afterwards.
  void append(CanColumns& other) {
    if (n_ == 0) {
      std::swap(columns_, other.columns_);
      std::swap(n_, other.n_);
      std::swap(capacity_, other.capacity_);
      return;
    }
    if (other.n_ == 0) return;
    if (n_ + other.n_ > capacity_) grow(std::max(n_ + other.n_, capacity_ + capacity_ / 2));
    for (std::size_t c = 0; c < kColumns; ++c)
      std::memcpy(static_cast<char*>(columns_[c]) + kWidth[c] * n_, other.columns_[c],
                  kWidth[c] * other.n_);
    n_ += other.n_;
    other.n_ = 0;
  }

  // The columns as numpy arrays that own their memory; this object is empty afterwards.
  py::dict release() {
    grow(n_ ? n_ : 1);  // give back the unused tail
    static const char* const names[kColumns] = {"time_us", "channel", "can_id", "extended",
                                                "fd",      "brs",     "esi",    "remote",
                                                "error",   "tx",      "dlc",    "length", "data"};
    py::dict d;
    for (std::size_t c = 0; c < kColumns; ++c) {
      py::dtype dtype = c == kTime ? py::dtype::of<int64_t>()
                        : c == kId ? py::dtype::of<uint32_t>()
                        : c >= kExtended && c <= kTx ? py::dtype("bool")
                                                     : py::dtype::of<uint8_t>();
      std::vector<py::ssize_t> shape{static_cast<py::ssize_t>(n_)}, strides{dtype.itemsize()};
      if (c == kData) {
        shape.push_back(64);
        strides = {64, 1};
      }
      void* p = std::exchange(columns_[c], nullptr);
      auto* mapping = new std::pair<void*, std::size_t>(p, mappedBytes(capacity_ * kWidth[c]));
      py::capsule owner(mapping, [](void* m) {
        auto* q = static_cast<std::pair<void*, std::size_t>*>(m);
        unmap(q->first, q->second);
        delete q;
      });
      d[names[c]] = py::array(dtype, shape, strides, p, owner);
    }
    n_ = capacity_ = 0;
    return d;
  }

 private:
  enum Column : std::size_t {
    kTime, kChannel, kId, kExtended, kFd, kBrs, kEsi, kRemote, kError, kTx, kDlc, kLength, kData,
    kColumns
  };
  // Bytes per row.
  static constexpr std::size_t kWidth[kColumns] = {8, 1, 4, 1, 1, 1, 1, 1, 1, 1, 1, 1, 64};

  template <typename T>
  T* column(Column c) {
    return static_cast<T*>(columns_[c]);
  }
  static std::size_t mappedBytes(std::size_t bytes) {
    const std::size_t page = 4096;
    return (std::max<std::size_t>(bytes, 1) + page - 1) / page * page;
  }
  static void unmap(void* p, std::size_t bytes) {
    if (p != nullptr) ::munmap(p, mappedBytes(bytes));
  }
  void grow(std::size_t capacity) {
    for (std::size_t c = 0; c < kColumns; ++c) {
      const std::size_t to = mappedBytes(capacity * kWidth[c]);
      void* q = columns_[c] == nullptr
                    ? ::mmap(nullptr, to, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
                    : ::mremap(columns_[c], mappedBytes(capacity_ * kWidth[c]), to, MREMAP_MAYMOVE);
      if (q == MAP_FAILED) throw std::bad_alloc();
      ::madvise(q, to, MADV_HUGEPAGE);
      columns_[c] = q;
    }
    capacity_ = capacity;
  }

  std::size_t n_ = 0, capacity_ = 0;
  std::array<void*, kColumns> columns_{};
};

// Takes the CAN frames among the records next() hands out until it gives null, or until max
// frames are taken (max < 0: no limit); false when it stopped at the limit.
template <typename Next>
bool takeFrames(Next&& next, vxtrace::Filter& filter, CanColumns& columns, long long max = -1) {
  const bool filtering = !filter.empty();
  CanFrame f;
  while (max < 0 || columns.size() < static_cast<std::size_t>(max)) {
    std::unique_ptr<MessageBase> msg = next();
    if (!msg) return true;
    if (isCanRecord(msg->msgId) && vxtrace::toCanFrame(*msg, f) == nullptr &&
        (!filtering || filter.matches(*msg)))
      columns.push(f);
  }
  return false;
}

// One reader from the front, in batches: pipes, file objects, bytes and iter_can.
class CanReader {
 public:
  CanReader(py::handle source, vxtrace::Filter filter)
      : session_(std::make_unique<Input>(source), Policy{}), filter_(std::move(filter)) {}

  // Up to max frames (max < 0: to the end), as (columns, problems, dropped problems, ended).
  py::tuple read(long long max) {
    CanColumns columns;
    bool ended;
    {
      py::gil_scoped_release unlocked;
      ended = takeFrames([this] { return session_.next(); }, filter_, columns, max);
    }
    uint64_t dropped = 0;
    py::list problems = problemList(session_, dropped);
    if (ended) session_.raiseIfFailed(formatError);
    return py::make_tuple(columns.release(), problems, dropped, ended);
  }

 private:
  Session session_;
  vxtrace::Filter filter_;
};

// A seekable file on threads threads: each part's frames and problems are gathered in its
// worker thread and appended in file order. Returns what CanReader::read(-1) returns.
py::tuple readCanInParts(py::handle source, const vxtrace::Filter& filter, unsigned threads) {
  struct Chunk {
    CanColumns columns;
    ProblemList problems;
    uint64_t cleanRecords = 0;  // records taken straight from the bytes, not in the counts
  };
  Input input(source);
  vxtrace::ReadPolicy policy;
  policy.expandContainers = true;
  vxtrace::Source file = vxtrace::Source::descriptor(input.fd(), input.name());
  vxtrace::ScanOptions options;
  options.threads = threads;
  // Parts of a few MB: even a file of a few times the scan's default part keeps every thread
  // busy to the end, and a part costs one short look for its first record.
  if (file.size())
    options.partBytes = std::clamp<uint64_t>(*file.size() / (uint64_t{threads} * 4), 1u << 20, 32u << 20);
  Chunk all;
  vxtrace::ScanSummary summary;
  {
    py::gil_scoped_release unlocked;
    summary = vxtrace::scanParts(
        std::move(file), policy, options,
        [&filter](vxtrace::Part& part) -> std::shared_ptr<void> {
          // The handlers may still be called while the part is drained after this returns.
          auto chunk = std::make_shared<Chunk>();
          ProblemList* problems = &chunk->problems;
          part.setLossHandler([problems](const vxtrace::Reader::Loss& loss) {
            problems->add(lossProblem(loss));
          });
          part.setDiagnosticHandler(
              [problems](uint64_t offset, vxtrace::DiagnosticLevel level, const std::string& line) {
                problems->add(lineProblem(offset, level, line));
              });
          vxtrace::Filter own = filter;  // matches() marks values as seen: one per thread
          const bool filtering = !own.empty();
          chunk->cleanRecords = vxtrace::takeCleanCanFrames(
              part, [&](const CanFrame& f, const MessageBase* record, const uint8_t* bytes,
                        std::size_t size) {
                if (filtering) {
                  // The filter reads records: only a filtered read builds them.
                  std::unique_ptr<MessageBase> decoded;
                  if (record == nullptr) {
                    decoded.reset(MessageBase::readFromByteArray(bytes, static_cast<unsigned>(size)));
                    record = decoded.get();
                  }
                  if (record == nullptr || !own.matches(*record)) return;
                }
                chunk->columns.push(f);
              });
          if (chunk->cleanRecords == 0) {
            chunk->columns.clear();
            own = filter;
            takeFrames([&part] { return part.next(); }, own, chunk->columns);
          }
          return chunk;
        },
        [&all](std::shared_ptr<void> result, vxtrace::Part&) {
          Chunk& chunk = *std::static_pointer_cast<Chunk>(result);
          all.columns.append(chunk.columns);
          all.problems.append(std::move(chunk.problems));
          all.cleanRecords += chunk.cleanRecords;
        });
  }
  summary.counts.records += all.cleanRecords;
  py::list problems;
  for (const Problem& p : all.problems.kept)
    problems.append(py::make_tuple(p.kind, p.offset, p.length, p.text));
  raiseIfNoTrace(formatError, input.name(), summary.error, summary.notATrace, summary.counts);
  return py::make_tuple(all.columns.release(), problems, all.problems.dropped, true);
}

// ---- encoding ------------------------------------------------------------------------------

// One CAN frame as a V1 record with its marker: the classic record for 11-bit classic frames,
// the extended one for 29-bit and CAN FD frames.
py::bytes encodeCan(unsigned long long timeUs, unsigned channel, uint32_t id, bool extended,
                    bool fd, bool brs, bool esi, bool error, bool tx, py::bytes data) {
  const std::string bytes = data;
  if (channel > 255) throw py::value_error("vxtrace: channel " + std::to_string(channel) + " out of range 0..255");
  if (bytes.size() > (fd ? 64u : 8u))
    throw py::value_error("vxtrace: " + std::to_string(bytes.size()) + " data bytes in a " +
                          (fd ? "CAN FD" : "classic CAN") + " frame");
  if (id > (extended ? 0x1FFFFFFFu : 0x7FFu))
    throw py::value_error("vxtrace: CAN identifier out of range");
  const auto* p = reinterpret_cast<const uint8_t*>(bytes.data());
  const auto n = static_cast<unsigned>(bytes.size());
  const canframe_t frame = error ? CAN_FRAME_ERROR : tx ? CAN_FRAME_TXMESSAGE : CAN_FRAME_STANDARD;
  const uint8_t state = static_cast<uint8_t>((fd && brs ? 0x40 : 0) | (fd && esi ? 0x80 : 0));
  std::unique_ptr<MessageBase> msg;
  if (error || (!extended && !fd)) {
    msg = std::make_unique<CANTraceMessage>(timeUs, static_cast<uint8_t>(channel), frame, state,
                                            error ? 0 : id, p, error ? 0 : n);
  } else {
    const cantype_t type = fd ? (extended ? CAN_TYPE_FD_EXT : CAN_TYPE_FD_STD) : CAN_TYPE_EXTENDED;
    msg = std::make_unique<CANExtTraceMessage>(timeUs, static_cast<uint8_t>(channel), frame, state,
                                               type, id, p, n);
  }
  std::vector<unsigned char> out;
  msg->createByteArray(out, true, false);
  return py::bytes(reinterpret_cast<const char*>(out.data()), out.size());
}

// ---- export --------------------------------------------------------------------------------

// Every record of a trace through one of the library's exporters into a file. The file is
// written under a temporary name beside it and renamed into place only when all went well.
py::dict exportTrace(py::handle source, const std::string& path, const std::string& format,
                     bool diag, py::function report) {
  std::string temp = path + ".vxtrace-XXXXXX";
  const int fd = ::mkstemp(temp.data());
  if (fd < 0) throw std::system_error(errno, std::generic_category(), "vxtrace: cannot create " + path);
  std::FILE* file = ::fdopen(fd, "wb");
  if (file == nullptr) {
    ::close(fd);
    ::unlink(temp.c_str());
    throw std::system_error(errno, std::generic_category(), "vxtrace: cannot create " + path);
  }
  vxtrace::FileSink sink(file);
  std::unique_ptr<Exporter> exporter = makeExporter(format, sink);
  bool ok = exporter != nullptr;
  std::unique_ptr<Session> session;
  try {
    if (!exporter) throw py::value_error("vxtrace: unknown export format '" + format + "'");
    session = std::make_unique<Session>(std::make_unique<Input>(source),
                                        Policy{false, true, false, diag});
    for (;;) {
      std::unique_ptr<MessageBase> msg;
      {
        py::gil_scoped_release unlocked;
        msg = session->next();
        if (msg) exporter->add(*msg);
      }
      uint64_t dropped = 0;
      py::list problems = problemList(*session, dropped);
      if (problems.size() || dropped) report(problems, dropped);
      if (!msg) break;
    }
    session->raiseIfFailed(formatError);
    exporter->finish();
    ok = std::fflush(file) == 0 && !std::ferror(file);
  } catch (...) {
    std::fclose(file);
    ::unlink(temp.c_str());
    throw;
  }
  ok = std::fclose(file) == 0 && ok && ::rename(temp.c_str(), path.c_str()) == 0;
  if (!ok) {
    const int err = errno;
    ::unlink(temp.c_str());
    throw std::system_error(err, std::generic_category(), "vxtrace: cannot write " + path);
  }
  py::dict left;
  for (const auto& [key, n] : exporter->skipped()) {
    const std::string name = key.first + ": " + std::string(getMsgIdName(static_cast<msgid_t>(key.second)));
    left[py::str(name)] = n;
  }
  py::dict d;
  d["written"] = exporter->written();
  d["left_out"] = left;
  return d;
}

}  // namespace

PYBIND11_MODULE(_vxtrace, m) {
  m.doc() = "Compiled core of the vxtrace package; use the vxtrace module.";
  Session::setUp();

  m.def("_set_format_error", [](py::object cls) { formatError = cls.inc_ref().ptr(); });

  py::class_<Record>(m, "Record")
      .def_property_readonly("kind", &Record::kind)
      .def_property_readonly("kind_id", &Record::kindId)
      .def_property_readonly("time_us", &Record::timeUs)
      .def_property_readonly("channel", &Record::channel)
      .def_property_readonly("offset", &Record::offset)
      .def_property_readonly("is_can", &Record::isCan)
      .def_property_readonly("can_id", [](const Record& r) { return r.can().id; })
      .def_property_readonly("extended", [](const Record& r) { return r.can().extended; })
      .def_property_readonly("fd", [](const Record& r) { return r.can().fd; })
      .def_property_readonly("brs", [](const Record& r) { return r.can().brs; })
      .def_property_readonly("esi", [](const Record& r) { return r.can().esi; })
      .def_property_readonly("remote", [](const Record& r) { return r.can().remote; })
      .def_property_readonly("error", [](const Record& r) { return r.can().error; })
      .def_property_readonly("tx", [](const Record& r) { return r.can().tx; })
      .def_property_readonly("dlc", [](const Record& r) { return r.can().dlc; })
      .def_property_readonly("data",
                             [](const Record& r) {
                               const CanFrame& f = r.can();
                               return py::bytes(reinterpret_cast<const char*>(f.data), f.length);
                             })
      .def("__str__", &Record::text)
      .def("__bytes__", &Record::frame)
      .def("__repr__", &Record::repr);

  py::class_<RecordReader>(m, "_RecordReader")
      .def(py::init([](py::handle source, bool invalid, bool diag, bool expand,
                       py::function report) {
             return std::make_unique<RecordReader>(source, Policy{invalid, expand, true, diag},
                                                   std::move(report));
           }),
           py::arg("source"), py::arg("invalid"), py::arg("diag"), py::arg("expand"),
           py::arg("report"))
      .def("__iter__", [](py::object self) { return self; })
      .def("__next__", &RecordReader::next)
      .def_property_readonly("counts", &RecordReader::counts);

  py::class_<CanReader>(m, "_CanReader")
      .def(py::init([](py::handle source, std::vector<std::string> ids,
                       std::vector<std::string> channels, std::optional<uint64_t> start,
                       std::optional<uint64_t> end) {
             return std::make_unique<CanReader>(source, makeFilter(ids, channels, start, end));
           }),
           py::arg("source"), py::arg("ids"), py::arg("channels"), py::arg("start"), py::arg("end"))
      .def("read", &CanReader::read, py::arg("max") = -1);

  m.def(
      "_read_can_in_parts",
      [](py::handle source, std::vector<std::string> ids, std::vector<std::string> channels,
         std::optional<uint64_t> start, std::optional<uint64_t> end, unsigned threads) {
        return readCanInParts(source, makeFilter(ids, channels, start, end), threads);
      },
      py::arg("source"), py::arg("ids"), py::arg("channels"), py::arg("start"), py::arg("end"),
      py::arg("threads"));
  m.def("_default_threads", &vxtrace::defaultThreads);

  m.def("_export", &exportTrace, py::arg("source"), py::arg("path"), py::arg("format"),
        py::arg("diag"), py::arg("report"));
  m.def("export_formats", &exportFormats);

  m.def("_encode_can", &encodeCan, py::arg("time_us"), py::arg("channel"), py::arg("can_id"),
        py::arg("extended"), py::arg("fd"), py::arg("brs"), py::arg("esi"), py::arg("error"),
        py::arg("tx"), py::arg("data"));
}
