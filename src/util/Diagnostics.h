#pragma once
// Short names for the record code's diagnostic streams; every "[ERROR] ..." and its kin goes
// through these, never straight to std::cerr or std::cout. Also the pieces readers build on:
// a reusable line collector and a cheap scope that makes it the thread's door.
#include <functional>
#include <ostream>
#include <streambuf>
#include <string>

#include "vxtrace/io/Diagnostics.h"

namespace vxtrace::detail {

inline std::ostream& errorLog() { return diagnosticStream(DiagnosticLevel::Error); }
inline std::ostream& warningLog() { return diagnosticStream(DiagnosticLevel::Warning); }
inline std::ostream& debugLog() { return diagnosticStream(DiagnosticLevel::Debug); }
inline std::ostream& infoLog() { return diagnosticStream(DiagnosticLevel::Info); }

// Splits what is written to it into lines and hands each finished one to its handler. Without a
// handler it is a mute: its stream stays failed, so nothing is even formatted.
class LineCollector : private std::streambuf {
 public:
  using Handler = std::function<void(DiagnosticLevel level, const std::string& line)>;
  explicit LineCollector(Handler handler);
  LineCollector(const LineCollector&) = delete;
  LineCollector& operator=(const LineCollector&) = delete;

  // The stream for a line of this level (the level of a line is that of its first write).
  std::ostream& stream(DiagnosticLevel level);
  // Hands on an unfinished line.
  void flush();

 private:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* s, std::streamsize n) override;
  void put(char c);

  Handler handler_;
  std::string line_;
  DiagnosticLevel level_ = DiagnosticLevel::Error;
  std::ostream stream_;
};

// While alive, the calling thread's diagnostic lines go to collector; at its end the collector
// is flushed and the previous door is back. Scopes nest.
class DiagnosticScope {
 public:
  explicit DiagnosticScope(LineCollector& collector);
  ~DiagnosticScope();
  DiagnosticScope(const DiagnosticScope&) = delete;
  DiagnosticScope& operator=(const DiagnosticScope&) = delete;

 private:
  LineCollector& collector_;
  LineCollector* previous_;
};

}  // namespace vxtrace::detail
