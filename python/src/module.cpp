// The compiled half of the vxtrace Python package: records one by one, CAN frames as numpy
// columns filled without the GIL, and the CAN record encoder of the python-can writer.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include "FastCan.h"
#include "Session.h"
#include "vxtrace/CANExtTraceMessage.h"
#include "vxtrace/CANTraceMessage.h"
#include "vxtrace/io/CanFrame.h"
#include "vxtrace/io/Channel.h"

namespace py = pybind11;
using namespace vxtrace::python;
using vxtrace::CanFrame;

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

struct CanFilter {
  std::vector<std::pair<uint32_t, uint32_t>> ids;  // (value, mask) on the identifier
  std::vector<uint8_t> channels;                   // zero-based; empty: all
  uint64_t start = 0;
  uint64_t end = UINT64_MAX;  // inclusive

  bool wants(const CanFrame& f) const {
    if (f.timeUs < start || f.timeUs > end) return false;
    if (!channels.empty() &&
        std::find(channels.begin(), channels.end(), f.channel) == channels.end())
      return false;
    if (ids.empty()) return true;
    for (const auto& [value, mask] : ids)
      if ((f.id & mask) == (value & mask)) return true;
    return false;
  }
};

// malloc'd columns grown with realloc: the large ones move by remapping pages, so growing costs
// no copy and no second copy of the result is ever held.
class CanColumns {
 public:
  static constexpr std::size_t kFlags = 7;  // extended fd brs esi remote error tx

  CanColumns() = default;
  ~CanColumns() {
    for (void* p : all()) std::free(p);
  }
  CanColumns(const CanColumns&) = delete;
  CanColumns& operator=(const CanColumns&) = delete;

  void push(const CanFrame& f) {
    if (n_ == capacity_) grow(capacity_ < 65536 ? 65536 : capacity_ + capacity_ / 2);
    time_[n_] = static_cast<int64_t>(f.timeUs);
    channel_[n_] = f.channel;
    id_[n_] = f.id;
    const bool flags[kFlags] = {f.extended, f.fd, f.brs, f.esi, f.remote, f.error, f.tx};
    for (std::size_t i = 0; i < kFlags; ++i) flags_[i][n_] = flags[i];
    dlc_[n_] = f.dlc;
    length_[n_] = f.length;
    std::memcpy(data_ + 64 * n_, f.data, 64);
    ++n_;
  }
  std::size_t size() const { return n_; }
  void clear() {
    for (void* p : all()) std::free(p);
    time_ = nullptr;
    channel_ = dlc_ = length_ = data_ = nullptr;
    id_ = nullptr;
    for (auto& f : flags_) f = nullptr;
    n_ = capacity_ = 0;
  }

  // The columns as numpy arrays that own their memory; this object is empty afterwards.
  py::dict release() {
    grow(n_ ? n_ : 1);  // give back the unused tail
    py::dict d;
    d["time_us"] = wrap(time_, py::dtype::of<int64_t>(), {n_});
    d["channel"] = wrap(channel_, py::dtype::of<uint8_t>(), {n_});
    d["can_id"] = wrap(id_, py::dtype::of<uint32_t>(), {n_});
    static const char* const names[kFlags] = {"extended", "fd", "brs", "esi", "remote", "error", "tx"};
    for (std::size_t i = 0; i < kFlags; ++i) d[names[i]] = wrap(flags_[i], py::dtype("bool"), {n_});
    d["dlc"] = wrap(dlc_, py::dtype::of<uint8_t>(), {n_});
    d["length"] = wrap(length_, py::dtype::of<uint8_t>(), {n_});
    d["data"] = wrap(data_, py::dtype::of<uint8_t>(), {n_, std::size_t{64}});
    n_ = capacity_ = 0;
    return d;
  }

 private:
  template <typename T>
  static void resize(T*& p, std::size_t count) {
    void* q = std::realloc(p, count * sizeof(T));
    if (q == nullptr) throw std::bad_alloc();
    p = static_cast<T*>(q);
  }
  void grow(std::size_t capacity) {
    resize(time_, capacity);
    resize(channel_, capacity);
    resize(id_, capacity);
    for (auto& f : flags_) resize(f, capacity);
    resize(dlc_, capacity);
    resize(length_, capacity);
    resize(data_, capacity * 64);
    capacity_ = capacity;
  }
  template <typename T>
  static py::array wrap(T*& p, py::dtype dtype, std::vector<std::size_t> shape) {
    py::capsule owner(p, [](void* q) { std::free(q); });
    std::vector<std::size_t> strides{dtype.itemsize() * (shape.size() == 2 ? shape[1] : 1)};
    if (shape.size() == 2) strides.push_back(dtype.itemsize());
    py::array a(dtype, shape, strides, p, owner);
    p = nullptr;
    return a;
  }
  std::array<void*, 13> all() {
    return {time_, channel_, id_, flags_[0], flags_[1], flags_[2], flags_[3], flags_[4],
            flags_[5], flags_[6], dlc_, length_, data_};
  }

  std::size_t n_ = 0, capacity_ = 0;
  int64_t* time_ = nullptr;
  uint8_t* channel_ = nullptr;
  uint32_t* id_ = nullptr;
  bool* flags_[kFlags] = {};
  uint8_t* dlc_ = nullptr;
  uint8_t* length_ = nullptr;
  uint8_t* data_ = nullptr;
};

class CanReader {
 public:
  CanReader(py::handle source, CanFilter filter)
      : session_(std::make_unique<Input>(source), Policy{}), filter_(std::move(filter)) {}

  // Up to about max frames (all of a container's are taken), as
  // (columns, problems, dropped problems, ended); max < 0 reads to the end.
  py::tuple read(long long max) {
    CanColumns columns;
    bool ended = false, fast = false;
    {
      py::gil_scoped_release unlocked;
      if (max < 0 && !started_ && !session_.input().fed()) {
        // A clean file needs no validation record by record.
        const bool clean = scanCleanCan(session_.input().fd(), [&](const CanFrame& f) {
          if (filter_.wants(f)) columns.push(f);
        });
        ended = fast = clean;
        if (!clean) columns.clear();
      }
      started_ = true;
      CanFrame f;
      while (!ended && (max < 0 || columns.size() < static_cast<std::size_t>(max))) {
        std::unique_ptr<MessageBase> msg = session_.next();
        if (!msg) {
          ended = true;
          break;
        }
        if (msg->msgId != MSGID_CAN && msg->msgId != MSGID_CAN_EXT && msg->msgId != MSGID_CAN_PROXY)
          continue;
        if (vxtrace::toCanFrame(*msg, f) == nullptr && filter_.wants(f)) columns.push(f);
      }
    }
    uint64_t dropped = 0;
    py::list problems = problemList(session_, dropped);
    if (ended && !fast) session_.raiseIfFailed(formatError);
    return py::make_tuple(columns.release(), problems, dropped, ended);
  }

 private:
  Session session_;
  CanFilter filter_;
  bool started_ = false;
};

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
      .def(py::init([](py::handle source, std::vector<std::pair<uint32_t, uint32_t>> ids,
                       std::vector<uint8_t> channels, uint64_t start, uint64_t end) {
             return std::make_unique<CanReader>(source, CanFilter{std::move(ids), std::move(channels),
                                                                  start, end});
           }),
           py::arg("source"), py::arg("ids"), py::arg("channels"), py::arg("start"), py::arg("end"))
      .def("read", &CanReader::read, py::arg("max") = -1);

  m.def("_encode_can", &encodeCan, py::arg("time_us"), py::arg("channel"), py::arg("can_id"),
        py::arg("extended"), py::arg("fd"), py::arg("brs"), py::arg("esi"), py::arg("error"),
        py::arg("tx"), py::arg("data"));
}
